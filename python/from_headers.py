# SPDX-License-Identifier: Apache-2.0
"""Makes two modules from the public headers: _declarations.py, all declarations as cffi takes them, and chips.py, a class for
each chip driver."""
import dataclasses
import os
import pathlib
import re
import shlex
import subprocess

import cffi
import cffi.model
import pycparser
from pycparser import c_ast

# REUSE-IgnoreStart
LICENCE = "# SPDX-License-Identifier: Apache-2.0\n"
# REUSE-IgnoreEnd
SOURCE = '#include "varnel/platform.h"\n#include "varnel/varnel.h"\n'


# --- Declarations ---


def preprocessed(include: pathlib.Path) -> str:
    """The headers after the preprocessor, without GCC's attributes, which cffi does not know."""
    compiler = shlex.split(os.environ.get("CC", "cc"))
    return subprocess.run(
        [*compiler, "-E", "-x", "c", "-I", str(include), "-D__attribute__(x)=", "-"],
        input=SOURCE,
        capture_output=True,
        check=True,
        text=True,
    ).stdout


def split(text: str, include: pathlib.Path) -> tuple[str, str]:
    """What comes from our headers, and what comes from those of the system."""
    parts: dict[bool, list[str]] = {True: [], False: []}
    ours = False
    for line in text.splitlines():
        if marker := re.match(r'# \d+ "(.*?)"', line):
            ours = marker[1].startswith(f"{include}/")
        elif line.strip() and not line.startswith("#"):
            parts[ours].append(line)
    return "\n".join(parts[True]), "\n".join(parts[False])


def system_types(ours: str, system: str) -> list[str]:
    """Typedefs of the system that our headers need and cffi does not bring, such as time_t, each after those it needs."""
    known = {name: text for text, name in re.findall(r"^typedef ([^;{}()\[]*?)\b(\w+);", system, re.MULTILINE)}
    needed: list[str] = []

    def need(text: str) -> None:
        for word in re.findall(r"\w+", text):
            if word in known and word not in cffi.model.PrimitiveType.ALL_PRIMITIVE_TYPES and word != "FILE":
                need(known[word])
                line = f"typedef {known[word]}{word};"
                if line not in needed:
                    needed.append(line)

    need(ours)
    return needed


def declarations(include: pathlib.Path) -> str:
    ours, system = split(preprocessed(include), include)
    return "\n".join([*system_types(ours, system), ours, ""])


# --- Chips ---

# A parameter of these names receives one value; car2512_getall() and pca9555_get_high_port() fill arrays.
RESULTS = ("byte", "channel", "data", "time", "word")
FAMILIES = re.compile(r"(car|ds|pca)[0-9]+(?=_)")


@dataclasses.dataclass
class Parameter:
    name: str
    type: str
    pointer: bool
    constant: bool


def parameters_of(function: c_ast.FuncDecl) -> list[Parameter]:
    found = []
    for each in function.args.params if function.args else []:
        pointer = isinstance(each.type, c_ast.PtrDecl)
        declared = each.type.type if pointer else each.type
        if isinstance(declared, c_ast.TypeDecl) and isinstance(declared.type, c_ast.IdentifierType):
            found.append(Parameter(each.name, " ".join(declared.type.names), pointer, "const" in declared.quals))
    return found


def method(name: str, family: str, parameters: list[Parameter]) -> str | None:
    """A method that calls a driver's function; nothing for one that fills arrays."""
    given, passed = [], []
    if parameters[0].name == "device":
        passed.append("self.handle")
        parameters = parameters[1:]
    result = parameters.pop() if parameters and parameters[-1].pointer and parameters[-1].name in RESULTS else None
    if len(parameters) == 2 and parameters[0].constant and parameters[1].name == "count":
        given.append(f"{parameters[0].name}: Iterable[int]")
        passed.append(f"*counted({parameters[0].name})")
    elif any(each.pointer for each in parameters):
        return None
    else:
        given.extend(f"{each.name}: int" for each in parameters)
        passed.extend(each.name for each in parameters)
    short = name.removeprefix(f"{family}_").lower()
    call = f'read("{name}", "{result.type} *", ' if result else f'call("{name}", '
    return (
        f"\n    def {short}({', '.join(['self', *given])}) -> {'int' if result else 'None'}:\n"
        f'        """{name}(3)"""\n'
        f"        {'return ' if result else ''}{call}{', '.join(passed)})\n"
    )


def parsed(text: str) -> c_ast.FileAST:
    """Of pycparser, to which the names that cffi brings have to be declared."""
    brought = ["FILE", *(name for name in cffi.model.PrimitiveType.ALL_PRIMITIVE_TYPES if name.endswith("_t"))]
    return pycparser.CParser().parse("".join(f"typedef int {name};" for name in brought) + text)


def chips(text: str) -> str:
    methods: dict[str, list[str]] = {}
    on_any_bus: set[str] = set()
    for each in parsed(text).ext:
        family = FAMILIES.match(each.name or "") if isinstance(each, c_ast.Decl) else None
        if family and isinstance(each.type, c_ast.FuncDecl):
            parameters = parameters_of(each.type)
            if parameters[0].name == "device":
                on_any_bus.add(family[0])
            if made := method(each.name, family[0], parameters):
                methods.setdefault(family[0], []).append(made)
    return (
        f'{LICENCE}"""A class for each chip driver of the library. A method calls the function that its description names."""\n'
        "from collections.abc import Iterable\n\n"
        "from varnel._calls import call, counted, read\n"
        "from varnel.smbus import Device, FixedDevice\n"
        + "".join(
            f"\n\nclass {family.capitalize()}({'Device' if family in on_any_bus else 'FixedDevice'}):\n"
            f'    """Functions {family}_*()."""\n{"".join(methods[family])}'
            for family in sorted(methods)
        )
    )


def write_modules(include: pathlib.Path, folder: pathlib.Path) -> None:
    text = declarations(include)
    folder.mkdir(parents=True, exist_ok=True)
    builder = cffi.FFI()
    builder.cdef(text)
    builder.set_source("varnel._declarations", None)
    module = folder / "_declarations.py"
    builder.emit_python_code(str(module))
    module.write_text(f"{LICENCE}# mypy: ignore-errors\n{module.read_text()}")
    (folder / "chips.py").write_text(chips(text))
