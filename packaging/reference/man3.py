#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""man3.py XML OUTPUT: writes manual pages of section 3 into the folder OUTPUT from Doxygen's XML output of the headers.

A function or variable has a page of its own, NAME.3; a header has varnel_HEADER.3 with what holds for all of it and its
types.
"""

import pathlib
import re
import sys
import xml.etree.ElementTree as ElementTree

FONTS = {"computeroutput": "B", "bold": "B", "emphasis": "I", "verbatim": "B"}
CHARACTERS = {"sp": " ", "nonbreakablespace": " ", "ndash": "\\(en", "mdash": "\\(em", "linebreak": " "}


def escaped(text):
    return text.replace("\\", "\\e").replace("-", "\\-")


def inline(node):
    """Text of a node without its blocks, which are given to `blocks`."""
    parts = [escaped(node.text or "")]
    for child in node:
        if child.tag in CHARACTERS:
            parts.append(CHARACTERS[child.tag])
        elif child.tag in FONTS:
            parts.append(f"\\f{FONTS[child.tag]}{inline(child)}\\fR")
        elif child.tag not in BLOCKS:
            parts.append(inline(child))
        parts.append(escaped(child.tail or ""))
    return "".join(parts)


def lines_of(text):
    """Words as lines of a page: a line for each sentence, none that the formatter takes for a macro."""
    words = " ".join(text.split())
    sentences = re.split(r"(?<=[^.]\.) (?=[A-Z\\(])|(?<=[^.]\.\\fR) (?=[A-Z\\(])", words) if words else []
    return [re.sub(r"^([.'])", r"\\&\1", sentence) for sentence in sentences]


def paragraph(node):
    """A paragraph: text, and blocks in it."""
    piece = ElementTree.Element("para")
    piece.text = node.text
    for child in node:
        if child.tag in BLOCKS:
            yield from text_lines(piece)
            yield from BLOCKS[child.tag](child)
            piece = ElementTree.Element("para")
            piece.text = child.tail
        else:
            piece.append(child)
    yield from text_lines(piece)


def text_lines(piece):
    found = lines_of(inline(piece))
    if found:
        yield from [".Pp", *found]


def bullets(node):
    yield ".Bl -bullet -compact"
    for item in node.iterfind("listitem"):
        yield ".It"
        yield from without_first_break(description(item))
    yield ".El"


def section(node):
    title = node.findtext("title")
    if node.get("kind") in ("return", "see"):
        return
    if title:
        yield ".Pp"
        yield f"\\fB{escaped(title)}.\\fR"
    for para in node.iterfind("para"):
        yield from without_first_break(paragraph(para)) if title and para is node.find("para") else paragraph(para)


def oddity(node):
    for para in node.iterfind("xrefdescription/para"):
        yield from paragraph(para)


def literal(node):
    yield ".Bd -literal -offset indent"
    text = "\n".join("".join(line.itertext()) for line in node.iterfind("codeline")) or "".join(node.itertext())
    yield from (re.sub(r"^([.'])", r"\\&\1", escaped(line)) for line in text.strip("\n").split("\n"))
    yield ".Ed"


def rows(node):
    for row in node.iterfind("row"):
        cells = [" ".join(inline(entry.find("para")).split()) for entry in row.iterfind("entry")]
        yield ".Pp"
        yield re.sub(r"^([.'])", r"\\&\1", ": ".join(cells))


BLOCKS = {"itemizedlist": bullets, "orderedlist": bullets, "simplesect": section, "xrefsect": oddity,
          "programlisting": literal, "preformatted": literal, "table": rows, "parameterlist": lambda node: (), "anchor": lambda node: ()}


def description(node):
    if node is not None:
        for para in node.iterfind("para"):
            yield from paragraph(para)


def without_first_break(found):
    found = list(found)
    return found[1:] if found[:1] == [".Pp"] else found


def brief(member):
    return " ".join(inline(member.find("briefdescription/para")).split()).rstrip(".") if len(member.find("briefdescription")) else ""


def whatis(text):
    """One line for apropos(1): the first sentence, or its part before a colon."""
    return re.split(r"[:;]|\. ", re.sub(r"\\f[BIR]", "", text))[0] or "function of varnel"


def parameters(sources):
    for source in sources:
        for item in source.iterfind(".//parameteritem"):
            yield [name.text for name in item.iterfind("parameternamelist/parametername")], item.find("parameterdescription")


def results(sources):
    return [para for source in sources for part in source.iterfind(".//simplesect[@kind='return']") for para in part.iterfind("para")]


def quoted(text):
    return '"' + text.replace('"', '\\(dq') + '"'


def plain(node):
    return "".join(node.itertext()) if node is not None else ""


def synopsis(member, header):
    yield f".In varnel/{header}"
    kind = plain(member.find("type")).strip()
    if member.get("kind") == "variable":
        yield f".Vt {quoted(kind + ' ' + member.findtext('name') + member.findtext('argsstring', ''))}"
        return
    yield f".Ft {quoted(kind)}"
    yield f".Fo {member.findtext('name')}"
    for parameter in member.iterfind("param"):
        spelled = f"{plain(parameter.find('type'))} {parameter.findtext('declname', '')}{parameter.findtext('array', '')}"
        yield f".Fa {quoted(spelled.strip().replace('* ', '*'))}"
    if not member.findall("param"):
        yield ".Fa void"
    yield ".Fc"


def parameter_list(member, sources):
    wanted = [parameter.findtext("declname") for parameter in member.iterfind("param")]
    found = {name: text for names, text in parameters(sources) for name in names}
    described = [name for name in wanted if name in found]
    if described:
        yield ".Sh PARAMETERS\n.Bl -tag -width Ds"
        for name in described:
            yield f".It Fa {name}"
            yield from without_first_break(description(found[name]))
        yield ".El"


def member_page(member, heading, header):
    sources = [member.find("detaileddescription")] + ([heading] if heading is not None else [])
    name = member.findtext("name")
    first = brief(member)
    yield from head(name, whatis(first))
    yield ".Sh SYNOPSIS"
    yield from synopsis(member, header)
    yield ".Sh DESCRIPTION"
    yield from lines_of(first + "." if first else "")
    yield from description(member.find("detaileddescription"))
    if heading is not None:
        yield from description(heading)
    yield from parameter_list(member, sources)
    told = results(sources)
    if told:
        yield ".Sh RETURN VALUES"
        yield from without_first_break(line for para in told for line in paragraph(para))
    yield ".Sh SEE ALSO"
    yield from references([page_of(header)])


def references(names):
    """As mdoc(7) wants it: in alphabetical order, upper and lower case alike."""
    yield " ,\n".join(f".Xr {name} 3" for name in sorted([*names, "varnel_common"], key=str.lower))


def head(name, summary):
    yield '.\\" SPDX-License-Identifier: Apache-2.0'
    yield f".Dd {DATE}\n.Dt {name.upper()} 3\n.Os\n.Sh NAME\n.Nm {name}\n.Nd {summary}"


def page_of(header):
    return "varnel_" + header.removesuffix(".h")


def types(folder, compound):
    for enumeration in compound.iterfind("sectiondef/memberdef[@kind='enum']"):
        yield from one_type(f"enum {enumeration.findtext('name')}", enumeration, enumeration.iterfind("enumvalue"))
    for inner in compound.iterfind("innerclass"):
        record = ElementTree.parse(folder / f"{inner.get('refid')}.xml").getroot().find("compounddef")
        yield from one_type(f"struct {record.findtext('compoundname')}", record, record.iterfind("sectiondef/memberdef"))


def one_type(name, node, members):
    yield f".Ss {name}"
    yield from lines_of(brief(node))
    yield from description(node.find("detaileddescription"))
    yield ".Bl -tag -width Ds -compact"
    for member in members:
        spelled = plain(member.find("type")) + " " + member.findtext("name") + member.findtext("argsstring", "") + \
            " " + plain(member.find("initializer"))
        yield f".It Li {quoted(escaped(' '.join(spelled.split())))}"
        yield from lines_of(brief(member))
        yield from description(member.find("detaileddescription"))
    yield ".El"


def header_page(folder, compound, members):
    header = compound.findtext("compoundname")
    first = brief(compound)
    yield from head(page_of(header), whatis(first))
    yield f".Sh SYNOPSIS\n.In varnel/{header}"
    yield ".Sh DESCRIPTION"
    yield from lines_of(first + "." if first else "")
    yield from description(compound.find("detaileddescription"))
    declared = list(types(folder, compound))
    if declared:
        yield ".Sh TYPES"
        yield from declared
    yield ".Sh SEE ALSO"
    yield from references(members)


def main():
    folder, output = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    output.mkdir(parents=True, exist_ok=True)
    for file in sorted(folder.glob("*_8h.xml")):
        compound = ElementTree.parse(file).getroot().find("compounddef")
        members = []
        for part in compound.iterfind("sectiondef"):
            for member in part.iterfind("memberdef"):
                if member.get("kind") in ("function", "variable"):
                    members.append(member.findtext("name"))
                    write(output, members[-1], member_page(member, part.find("description"), compound.findtext("compoundname")))
        write(output, page_of(compound.findtext("compoundname")), header_page(folder, compound, members))


def write(output, name, lines):
    kept = []
    for line in "\n".join(lines).split("\n"):
        if not (line == ".Pp" and kept[-1].startswith((".Pp", ".Sh", ".Ss", ".It", ".Bl", ".Bd"))):
            kept.append(line)
    (output / f"{name}.3").write_text("\n".join(kept) + "\n", encoding="utf-8")


DATE = re.search(r"^\.Dd (.*)$", (pathlib.Path(__file__).parents[2] / "docs/man/varnel_common.3").read_text(), re.M)[1]
main()
