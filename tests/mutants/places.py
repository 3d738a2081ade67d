# SPDX-License-Identifier: Apache-2.0
"""Finds what can be changed in a source, in the compiler's syntax tree, and how."""

import dataclasses
import re

from clang.cindex import Cursor, CursorKind, Index, TranslationUnit, TypeKind

SWAPPED = {"+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["*"], "<<": [">>"], ">>": ["<<"], "&": ["|"], "|": ["&"],
           "^": ["&"], "&&": ["||"], "||": ["&&"], "+=": ["-="], "-=": ["+="], "*=": ["/="], "/=": ["*="], "%=": ["*="],
           "<<=": [">>="], ">>=": ["<<="], "&=": ["|="], "|=": ["&="], "^=": ["|="]}
BOUNDARY = {"<": ["<="], "<=": ["<"], ">": [">="], ">=": [">"], "==": [], "!=": []}
NEGATED = {"<": ">=", ">=": "<", ">": "<=", "<=": ">", "==": "!=", "!=": "=="}
UNARY = {"-": "", "~": "", "!": "", "++": "--", "--": "++"}

FUNCTIONS = {CursorKind.FUNCTION_DECL, CursorKind.CXX_METHOD, CursorKind.CONSTRUCTOR, CursorKind.DESTRUCTOR,
             CursorKind.FUNCTION_TEMPLATE, CursorKind.CONVERSION_FUNCTION, CursorKind.LAMBDA_EXPR}
NAMED = FUNCTIONS - {CursorKind.LAMBDA_EXPR} | {CursorKind.VAR_DECL, CursorKind.FIELD_DECL, CursorKind.ENUM_DECL}
SKIPPED = {CursorKind.STATIC_ASSERT, CursorKind.CXX_UNARY_EXPR, CursorKind.ASM_STMT, CursorKind.TEMPLATE_TYPE_PARAMETER}
LITERALS = {CursorKind.INTEGER_LITERAL, CursorKind.CHARACTER_LITERAL, CursorKind.STRING_LITERAL,
            CursorKind.CXX_BOOL_LITERAL_EXPR}
LOOPS = {CursorKind.WHILE_STMT, CursorKind.DO_STMT, CursorKind.FOR_STMT, CursorKind.CXX_FOR_RANGE_STMT}
WRAPPERS = {CursorKind.UNEXPOSED_EXPR, CursorKind.PAREN_EXPR}
INTEGERS = {TypeKind.BOOL, TypeKind.CHAR_U, TypeKind.UCHAR, TypeKind.USHORT, TypeKind.UINT, TypeKind.ULONG, TypeKind.ULONGLONG,
            TypeKind.CHAR_S, TypeKind.SCHAR, TypeKind.SHORT, TypeKind.INT, TypeKind.LONG, TypeKind.LONGLONG, TypeKind.ENUM}
REFERENCES = {TypeKind.LVALUEREFERENCE, TypeKind.RVALUEREFERENCE}

NOISE = re.compile(r'("(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])*\')|//[^\n]*|/\*.*?\*/|\s+', re.DOTALL)


def flat(text: str) -> str:
    """In one line, without comments."""
    return NOISE.sub(lambda found: found.group(1) or " ", text).strip()


@dataclasses.dataclass(frozen=True)
class Change:
    text: str
    shown: str  # to readers


def plainly(text: str) -> Change:
    return Change(text, text)


@dataclasses.dataclass
class Place:
    """Part of a source, and what it can become. A statement can only become nothing."""
    start: int
    end: int
    function: str
    is_statement: bool = False
    changes: list[Change] = dataclasses.field(default_factory=list)
    numbers: list[int] = dataclasses.field(default_factory=list)


@dataclasses.dataclass
class Around:
    """Where a cursor stands: in which function, whether statements follow in it, whether conditions there are decided already."""
    function: str = ""
    follows: bool = False
    is_decided: bool = False
    is_void: bool = False


class Finder:
    """Finds the places of one file of a translation unit."""

    def __init__(self, top: list[Cursor], path: str, roots: tuple[str, ...]):
        with open(path, encoding="latin-1") as file:
            self.text = file.read()
        self.path = path
        self.roots = roots
        self.places: dict[tuple[int, int, bool], Place] = {}
        self.macros: dict[tuple[int, int], str] = {}
        self.constants: dict[int, bool] = {}
        for cursor in top:
            if cursor.kind == CursorKind.MACRO_INSTANTIATION:
                self.macros[self.extent(cursor)] = cursor.spelling
        for cursor in top:
            if not cursor.kind.is_preprocessing():
                self.visit(cursor, Around())

    def extent(self, cursor: Cursor) -> tuple[int, int]:
        return cursor.extent.start.offset, cursor.extent.end.offset

    def source(self, cursor: Cursor) -> str:
        start, end = self.extent(cursor)
        return flat(self.text[start:end])

    def add(self, cursor: Cursor, around: Around, changes: list[Change], is_statement: bool = False) -> None:
        start, end = self.extent(cursor)
        if start >= end or any(s <= start and end <= e and (s, e) != (start, end) for s, e in self.macros):
            return
        if any(s < start < e or s < end < e for s, e in self.macros):
            return
        place = self.places.setdefault((start, end, is_statement), Place(start, end, around.function, is_statement))
        place.changes += [change for change in changes if change not in place.changes]

    # --- Statements ---

    def visit(self, cursor: Cursor, around: Around) -> None:
        if cursor.kind in SKIPPED or cursor.kind.is_attribute():
            return
        if cursor.kind in NAMED and cursor.kind not in FUNCTIONS and around.function:
            pass  # a local variable: the function's name is what a reader looks for
        elif cursor.kind in NAMED:
            around = Around(function=cursor.spelling.split("<")[0])
        if cursor.kind in FUNCTIONS:
            around = Around(function=around.function, is_void=cursor.result_type.kind == TypeKind.VOID)
        handler = {CursorKind.COMPOUND_STMT: self.compound, CursorKind.IF_STMT: self.if_statement,
                   CursorKind.FOR_STMT: self.for_loop, CursorKind.WHILE_STMT: self.while_loop,
                   CursorKind.DO_STMT: self.while_loop, CursorKind.CXX_FOR_RANGE_STMT: self.range_loop,
                   CursorKind.CASE_STMT: self.label, CursorKind.DEFAULT_STMT: self.label,
                   CursorKind.SWITCH_STMT: self.switch, CursorKind.RETURN_STMT: self.return_statement}.get(cursor.kind)
        if handler:
            handler(cursor, around)
        elif cursor.kind.is_expression():
            self.expression(cursor, around)
        else:
            self.children(cursor, around)

    def children(self, cursor: Cursor, around: Around) -> None:
        for child in cursor.get_children():
            self.visit(child, dataclasses.replace(around, is_decided=False))

    def statement(self, cursor: Cursor, around: Around) -> None:
        """A statement in a block or the body of another."""
        kind = cursor.kind
        if kind.is_expression():
            self.add(cursor, around, [Change("", "nothing")], is_statement=True)
            self.visit(cursor, dataclasses.replace(around, is_decided=True))
            return
        if (kind == CursorKind.RETURN_STMT and around.follows) or (kind == CursorKind.BREAK_STMT and around.follows) \
                or kind == CursorKind.CONTINUE_STMT:
            self.add(cursor, around, [Change("", "nothing")], is_statement=True)
        self.visit(cursor, around)

    def compound(self, cursor: Cursor, around: Around) -> None:
        statements = list(cursor.get_children())
        for index, statement in enumerate(statements):
            self.statement(statement, dataclasses.replace(around, follows=around.follows or index + 1 < len(statements)))

    def after_declarations(self, cursor: Cursor, around: Around) -> list[Cursor]:
        """The parts of an if or a loop that come after the variables that its head declares."""
        parts = list(cursor.get_children())
        while parts[0].kind in (CursorKind.DECL_STMT, CursorKind.VAR_DECL):
            self.children(parts.pop(0), around)
        return parts

    def if_statement(self, cursor: Cursor, around: Around) -> None:
        parts = self.after_declarations(cursor, around)
        if len(parts) > 1 and parts[0].kind.is_expression():
            self.condition(parts.pop(0), around)
        for part in parts:
            self.statement(part, around)

    def while_loop(self, cursor: Cursor, around: Around) -> None:
        parts = self.after_declarations(cursor, around)
        body = parts.pop(0 if cursor.kind == CursorKind.DO_STMT else -1)
        for decided in parts:
            self.condition(decided, around, in_loop=True)
        self.statement(body, dataclasses.replace(around, follows=True))

    def for_loop(self, cursor: Cursor, around: Around) -> None:
        *head, body = cursor.get_children()
        for part in head:
            before = self.text[self.extent(cursor)[0]:self.extent(part)[0]].count(";")
            if before == 1 and part.kind.is_expression():
                self.condition(part, around, in_loop=True)
            else:
                self.visit(part, around)
        self.statement(body, dataclasses.replace(around, follows=True))

    def range_loop(self, cursor: Cursor, around: Around) -> None:
        *head, body = cursor.get_children()
        for part in head:
            self.visit(part, around)
        self.statement(body, dataclasses.replace(around, follows=True))

    def switch(self, cursor: Cursor, around: Around) -> None:
        *head, body = cursor.get_children()
        for part in head:
            self.visit(part, around)
        statements = list(body.get_children())
        for index, statement in enumerate(statements):
            is_last = index + 1 == len(statements)
            if not (is_last and statement.kind == CursorKind.BREAK_STMT):
                self.statement(statement, dataclasses.replace(around, follows=around.follows or not is_last))

    def label(self, cursor: Cursor, around: Around) -> None:
        *value, statement = cursor.get_children()
        for part in value:
            self.visit(part, around)
        self.statement(statement, around)

    def return_statement(self, cursor: Cursor, around: Around) -> None:
        for value in cursor.get_children():
            inner = self.unwrapped(value)
            if inner.kind in (CursorKind.DECL_REF_EXPR, CursorKind.MEMBER_REF_EXPR) and self.is_number(inner) \
                    and not self.is_constant(inner):
                self.add(value, around, [Change(f"decltype({self.source(value)}){{}}", "{}")])
            self.visit(value, around)

    # --- Expressions ---

    def unwrapped(self, cursor: Cursor) -> Cursor:
        while cursor.kind in WRAPPERS:
            inner = [child for child in cursor.get_children() if child.kind.is_expression()]
            if len(inner) != 1:
                break
            cursor = inner[0]
        return cursor

    def operator(self, cursor: Cursor) -> tuple[str, list[Cursor]]:
        """The operator of a unary or binary expression, also of an overloaded one, and its operands."""
        if cursor.kind == CursorKind.CALL_EXPR:
            if not cursor.spelling.startswith("operator"):
                return "", []
            operands = list(cursor.get_arguments())
        else:
            operands = list(cursor.get_children())
        if len(operands) == 2 and all(operand is not None for operand in operands):
            left, right = (self.extent(operand) for operand in operands)
            return flat(self.text[left[1]:right[0]]), operands
        if len(operands) == 1 and cursor.kind == CursorKind.UNARY_OPERATOR:
            outer, inner = self.extent(cursor), self.extent(operands[0])
            return flat(self.text[outer[0]:inner[0]] or self.text[inner[1]:outer[1]]), operands
        return "", []

    def condition(self, cursor: Cursor, around: Around, in_loop: bool = False) -> None:
        inner = self.unwrapped(cursor)
        sign, operands = self.operator(inner)
        if inner.kind == CursorKind.BINARY_OPERATOR and sign in ("&&", "||"):
            self.swap(inner, around, sign, operands)
            for operand in operands:
                self.condition(operand, around, in_loop)
        elif inner.kind == CursorKind.UNARY_OPERATOR and sign == "!":
            self.condition(operands[0], around, in_loop=False)
        else:
            self.add(cursor, around, [plainly("false")] if in_loop else [plainly("true"), plainly("false")])
            self.visit(inner, dataclasses.replace(around, is_decided=True))

    def swap(self, cursor: Cursor, around: Around, sign: str, operands: list[Cursor]) -> None:
        left, right = (self.source(operand) for operand in operands)
        if sign in BOUNDARY:
            signs = BOUNDARY[sign] + ([] if around.is_decided else [NEGATED[sign]])
        else:
            signs = SWAPPED.get(sign, [])
        if sign == "-" and all(self.is_pointer(operand) for operand in operands):
            self.add(cursor, around, [plainly(f"({right}) - ({left})")])
        else:
            self.add(cursor, around, [Change(f"({left}) {other} ({right})", f"{left} {other} {right}") for other in signs])

    def expression(self, cursor: Cursor, around: Around) -> None:
        extent = self.extent(cursor)
        if extent in self.macros:
            self.macro(cursor, around)
            return
        kind = cursor.kind
        if kind in LITERALS:
            self.literal(cursor, around)
        elif kind in (CursorKind.DECL_REF_EXPR, CursorKind.MEMBER_REF_EXPR):
            self.name(cursor, around)
        elif kind == CursorKind.CONDITIONAL_OPERATOR:
            decided, *values = cursor.get_children()
            self.condition(decided, around)
            for value in values:
                self.visit(value, dataclasses.replace(around, is_decided=False))
            return
        else:
            sign, operands = self.operator(cursor)
            if sign in ("&&", "||"):
                self.condition(cursor, around)
                return
            if len(operands) == 2 and (sign in SWAPPED or sign in NEGATED):
                self.binary(cursor, around, sign, operands)
                return
            if kind == CursorKind.UNARY_OPERATOR and sign in UNARY:
                self.unary(cursor, around, sign, operands[0])
                return
            if kind == CursorKind.UNARY_OPERATOR and sign == "&":
                return self.children_of_address(operands[0], around)
            if kind == CursorKind.CALL_EXPR:
                self.call(cursor, around)
        passed_on = kind in WRAPPERS or kind.name.endswith("_CAST_EXPR")
        for child in cursor.get_children():
            self.visit(child, around if passed_on else dataclasses.replace(around, is_decided=False))

    def children_of_address(self, operand: Cursor, around: Around) -> None:
        """What has its address taken stays an object; what is inside it may change."""
        self.children(operand, around)

    def binary(self, cursor: Cursor, around: Around, sign: str, operands: list[Cursor]) -> None:
        self.swap(cursor, around, sign, operands)
        for operand in operands:
            self.visit(operand, dataclasses.replace(around, is_decided=False))

    def unary(self, cursor: Cursor, around: Around, sign: str, operand: Cursor) -> None:
        text = self.source(operand)
        if sign == "!":
            if not around.is_decided:
                self.add(cursor, around, [Change(f"static_cast<bool>({text})", text)])
        elif self.source(cursor).startswith(sign):
            self.add(cursor, around, [plainly(f"{UNARY[sign]}{text}")])
        else:
            self.add(cursor, around, [plainly(f"{text}{UNARY[sign]}")])
        self.visit(operand, dataclasses.replace(around, is_decided=False))

    def is_number(self, cursor: Cursor) -> bool:
        return cursor.type.get_canonical().kind in INTEGERS

    def is_pointer(self, cursor: Cursor) -> bool:
        return cursor.type.get_canonical().kind in (TypeKind.POINTER, TypeKind.CONSTANTARRAY)

    def literal(self, cursor: Cursor, around: Around) -> None:
        text = self.source(cursor)
        if cursor.kind == CursorKind.STRING_LITERAL:
            if text.startswith('"'):
                self.add(cursor, around, [plainly('"x"' if text == '""' else '""')])
        elif cursor.kind == CursorKind.CXX_BOOL_LITERAL_EXPR:
            self.add(cursor, around, [plainly("false" if text == "true" else "true")])
        else:
            self.add(cursor, around, [Change(f"static_cast<decltype({text})>({text} + 1)", f"{text} + 1")])

    def constant(self, cursor: Cursor, around: Around) -> None:
        text = self.source(cursor)
        if cursor.type.get_canonical().kind == TypeKind.BOOL:
            self.add(cursor, around, [plainly(f"!{text}")])
        else:
            self.add(cursor, around, [Change(f"static_cast<decltype({text})>(static_cast<long long>({text}) + 1)", f"{text} + 1")])

    def name(self, cursor: Cursor, around: Around) -> None:
        """A constant by its name, wherever it is used, since the place that defines it is read by the compiler."""
        if self.is_constant(cursor) and self.is_number(cursor):
            self.constant(cursor, around)

    def is_constant(self, cursor: Cursor) -> bool:
        meant = cursor.referenced
        if meant is None:
            return False
        if meant.hash not in self.constants:
            file = meant.location.file
            self.constants[meant.hash] = file is not None and file.name.startswith(self.roots) and (
                meant.kind == CursorKind.ENUM_CONSTANT_DECL or
                meant.kind == CursorKind.VAR_DECL and any(t.spelling == "constexpr" for t in meant.get_tokens()))
        return self.constants[meant.hash]

    def macro(self, cursor: Cursor, around: Around) -> None:
        is_variable = self.source(cursor) == "errno"
        if self.is_number(cursor) and "(" not in self.source(cursor) and cursor.kind not in WRAPPERS and not is_variable:
            self.constant(cursor, around)
        elif cursor.kind in WRAPPERS:
            for child in cursor.get_children():
                self.visit(child, around)

    def call(self, cursor: Cursor, around: Around) -> None:
        """A call whose result is used: it is not made, and the result is that of no value."""
        called = cursor.referenced
        if around.is_decided or cursor.spelling.startswith("operator") and cursor.spelling != "operator()":
            return
        if called is not None and called.kind in (CursorKind.CONSTRUCTOR, CursorKind.CONVERSION_FUNCTION):
            return
        text = self.source(cursor)
        if "(" not in text or (called is not None and called.result_type.kind in REFERENCES):
            return
        kind = cursor.type.get_canonical().kind
        if kind == TypeKind.BOOL:
            self.add(cursor, around, [plainly("false"), plainly("true")])
        elif kind != TypeKind.VOID:
            self.add(cursor, around, [Change(f"decltype({text}){{}}", "{}")])


def parsed(path: str, arguments: list[str]) -> TranslationUnit:
    return Index.create().parse(path, arguments, options=TranslationUnit.PARSE_DETAILED_PROCESSING_RECORD)


def files_of(unit: TranslationUnit, roots: tuple[str, ...]) -> list[str]:
    """The source and the headers below `roots` that it includes."""
    return sorted({unit.spelling} | {i.include.name for i in unit.get_includes() if i.include.name.startswith(roots)})


def find(unit: TranslationUnit, paths: list[str], roots: tuple[str, ...]) -> dict[str, list[Place]]:
    """The places of these files, in order."""
    top: dict[str, list[Cursor]] = {path: [] for path in paths}
    for cursor in unit.cursor.get_children():
        file = cursor.location.file
        if file and file.name in top:
            top[file.name].append(cursor)
    found = {path: Finder(cursors, path, roots).places.values() for path, cursors in top.items()}
    return {path: sorted((p for p in places if p.changes), key=lambda p: (p.start, -p.end, not p.is_statement))
            for path, places in found.items()}
