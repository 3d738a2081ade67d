# SPDX-License-Identifier: Apache-2.0
import gc

import pytest

from varnel.xml import Document, XmlError

TEXT = "<board name='demo'><psu>ok &amp; warm</psu><fan speed='1'/><!-- kept --></board>"


def board():
    return Document.parse(TEXT).root.find("board")


def test_text_becomes_nodes_with_names_values_and_attributes():
    psu, fan, comment = board()
    assert (psu.name, psu.value, psu.kind) == ("psu", "ok & warm", "element")
    assert fan.attributes == {"speed": "1"} and fan.get("speed") == "1" and fan.get("other") is None
    assert comment.kind == "comment"
    assert fan.path == "/board/fan" and fan.parent == board_of(fan)


def board_of(node):
    return node.document.root.find("board")


def test_written_document_is_read_again():
    document = Document.parse(TEXT)
    again = Document.parse(document.text())
    assert [node.name for node in again.root.walk()] == [node.name for node in document.root.walk()]
    assert document.text().startswith(b'<board name="demo">\n<psu>ok &amp; warm</psu>\n')


def test_values_and_attributes_are_replaced():
    node = board()
    node.find("psu").value = "off"
    node.set("name", "<other>")
    node.set("serial", "7")
    assert b'<board name="&lt;other&gt;" serial="7">\n<psu>off</psu>' in node.document.text()


def test_nodes_are_added_at_the_end():
    document = Document()
    root = document.root.add("a")
    root.add("b", "text", x="1").add("c")
    root.add("d")
    assert document.text() == b'<a>\n<b x="1">\n<c/>\ntext</b>\n<d/>\n</a>\n\n'
    assert [node.path for node in document.root.walk()] == ["", "/a", "/a/b", "/a/b/c", "/a/d"]


def test_removed_node_outlives_what_becomes_of_its_document():
    node = board()
    for name in ("fan", "psu"):
        removed = node.find(name)
        removed.remove()
        assert node.find(name) is None and removed.name == name and removed.parent is None
    node.add("last")
    assert [each.name for each in node if each.name] == ["last"]
    del node
    gc.collect()
    assert removed.value == "ok & warm"


def test_node_keeps_its_document_alive():
    node = Document.parse(TEXT).root.find("board").find("psu")
    gc.collect()
    assert node.value == "ok & warm"


def test_root_is_not_removed():
    with pytest.raises(ValueError):
        Document().root.remove()


@pytest.mark.parametrize(
    "text, line, words",
    [("<a>\n</b>", 2, "unmatched end tag"), ("<a x=1>", 1, "bad attribute")],
)
def test_bad_text_is_refused_with_its_line(text, line, words):
    with pytest.raises(XmlError) as caught:
        Document.parse(text)
    assert (caught.value.line, str(caught.value)) == (line, f"line {line}: {words}")


def test_values_with_nuls_are_refused():
    with pytest.raises(ValueError):
        board().value = "a\0b"


def test_bytes_that_are_no_utf8_come_back_unchanged():
    assert b"<a>\xff</a>" in Document.parse(b"<a>\xff</a>").text()


def test_files_are_read_and_written(tmp_path):
    file = tmp_path / "board.xml"
    Document.parse(TEXT).write(file)
    assert Document.read(file).root.find("board").get("name") == "demo"
    with pytest.raises(FileNotFoundError):
        Document.read(tmp_path / "missing.xml")
