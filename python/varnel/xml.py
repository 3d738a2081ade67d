# SPDX-License-Identifier: Apache-2.0
"""XML documents (xml.h). A document owns its nodes: what is taken out of it is freed with it, so that no Node ever points to
freed memory."""
import os
import pathlib
from collections.abc import Iterator
from typing import Any

from varnel._calls import c_text, text_of
from varnel.raw import ffi, lib

_STATUS: dict[int, str] = ffi.typeof("enum xml_status").elements


class XmlError(ValueError):
    """Text that the reader does not accept. `status` is one of enum xml_status."""

    def __init__(self, status: int, line: int) -> None:
        name = _STATUS.get(status, str(status)).removeprefix("xml_status_").replace("_", " ")
        super().__init__(f"line {line}: {name}")
        self.status = status
        self.line = line


def _new(made: Any) -> Any:
    if made == ffi.NULL:
        raise MemoryError
    return made


def _optional(pointer: Any, length: int = 0) -> str | None:
    return None if pointer == ffi.NULL else text_of(pointer, length)


def _attribute(name: str, value: str) -> Any:
    """An attribute in memory of the library's."""
    held = [ffi.new("char[]", c_text(each)) for each in (name, value)]
    return _new(lib.xml_attribute_clone(ffi.new("xml_attribute *", {"name": held[0], "value": held[1]})))


class Node:
    """A node of a document."""

    def __init__(self, document: "Document", pointer: Any) -> None:
        self.document = document
        self._c = pointer

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Node) and bool(self._c == other._c)

    def __hash__(self) -> int:
        return hash(self._c)

    def __repr__(self) -> str:
        return f"<{self.kind} {self.name or self.value!r}>"

    def _at(self, pointer: Any) -> "Node | None":
        return None if pointer == ffi.NULL else Node(self.document, pointer)

    @property
    def kind(self) -> str:
        """As in enum xml_kind: "element", "text", "comment" and so on."""
        name: str = ffi.typeof("enum xml_kind").elements[self._c.kind]
        return name.removeprefix("xml_kind_")

    @property
    def name(self) -> str | None:
        return _optional(self._c.name)

    @property
    def value(self) -> str | None:
        return _optional(self._c.value, self._c.value_length)

    @value.setter
    def value(self, text: str) -> None:
        replaced = _attribute("", text)
        self._c.value, replaced.value = replaced.value, self._c.value
        self._c.value_length = 0
        lib.xml_attribute_delete(replaced)

    @property
    def parent(self) -> "Node | None":
        return self._at(self._c.parent)

    def __iter__(self) -> Iterator["Node"]:
        child = self._c.first_child
        while child != ffi.NULL:
            yield Node(self.document, child)
            child = child.next

    def walk(self) -> Iterator["Node"]:
        """This node and all below it, in the order of the text."""
        waiting = [self]
        while waiting:
            node = waiting.pop()
            yield node
            waiting.extend(reversed(list(node)))

    def find(self, name: str) -> "Node | None":
        """The first child of that name."""
        return next((each for each in self if each.name == name), None)

    @property
    def attributes(self) -> dict[str, str]:
        """A copy; set() changes one. Of equal names the first counts."""
        found: dict[str, str] = {}
        each = self._c.attributes
        while each != ffi.NULL:
            if each.name != ffi.NULL:
                found.setdefault(text_of(each.name), _optional(each.value) or "")
            each = each.next
        return found

    def get(self, name: str) -> str | None:
        """The value of an attribute."""
        return _optional(lib.xml_node_get_attribute_value(self._c, c_text(name)))

    def set(self, name: str, value: str) -> None:
        """Gives an attribute a value, and adds it if need be."""
        made = _attribute(name, value)
        each, last = self._c.attributes, ffi.NULL
        while each != ffi.NULL and _optional(each.name) != name:
            each, last = each.next, each
        if each != ffi.NULL:
            each.value, made.value = made.value, each.value
            lib.xml_attribute_delete(made)
        elif last != ffi.NULL:
            last.next = made
        else:
            self._c.attributes = made

    def add(self, name: str, value: str | None = None, /, **attributes: str) -> "Node":
        """Appends an element, and returns it."""
        held = ffi.new("char[]", c_text(name))
        made = Node(self.document, _new(lib.xml_node_clone(ffi.new("xml_node *", {"name": held}))))
        lib.xml_node_add_child(self._c, made._c)
        if value is not None:
            made.value = value
        for each, text in attributes.items():
            made.set(each, text)
        return made

    def remove(self) -> None:
        """Takes the node, with all below it, out of its document. It can still be read."""
        parent = self._c.parent
        if parent == ffi.NULL:
            raise ValueError("the root of a document cannot be removed")
        before = ffi.NULL
        for each in Node(self.document, parent):
            if each == self:
                break
            before = each._c
        if parent.last_child == self._c:
            parent.last_child = before
        lib.xml_node_unlink(self._c)
        self._c.parent = self._c.next = self._c.previous = ffi.NULL
        self.document._keep(self._c)

    @property
    def path(self) -> str:
        """Such as "/a/b"."""
        holder = _new(lib.xml_attribute_new())
        holder.value = lib.xml_node_get_path_new(self._c)
        path = _optional(holder.value) or ""
        lib.xml_attribute_delete(holder)
        return path


def _delete(document: Any) -> None:
    lib.xml_node_delete(document.root)
    lib.xml_document_delete(document)


class Document:
    """A document, empty at first."""

    def __init__(self) -> None:
        self._c = ffi.gc(_new(lib.xml_document_new()), _delete)
        self._removed: list[Any] = []

    def _keep(self, node: Any) -> None:
        self._removed.append(ffi.gc(node, lib.xml_node_delete))

    @classmethod
    def parse(cls, text: bytes | str, raw: bool = False) -> "Document":
        """Throws XmlError. With `raw`, "&" is a character like others."""
        held = text.encode(errors="surrogateescape") if isinstance(text, str) else text
        document = cls()
        buffer = ffi.new("char[]", held)
        source = ffi.new("xml_refiller *")
        lib.xml_refiller_setup(source, ffi.NULL, buffer, len(held), len(held))
        document._c.line = 1
        lib.xml_node_read(source, document._c.root, document._c, lib.xml_flag_raw if raw else 0)
        if document._c.status != 0:
            raise XmlError(document._c.status, document._c.line)
        return document

    @classmethod
    def read(cls, path: str | os.PathLike[str], raw: bool = False) -> "Document":
        return cls.parse(pathlib.Path(path).read_bytes(), raw)

    @property
    def root(self) -> Node:
        """The node of kind "document" above the top-level elements."""
        return Node(self, self._c.root)

    def text(self, indent: bool = False, raw: bool = False) -> bytes:
        """The document as XML."""
        written = ffi.gc(_new(lib.xml_sgs_new()), lib.xml_sgs_delete)
        sink = ffi.new("xml_output *")
        lib.xml_output_setup(sink, ffi.addressof(lib, "xml_output_function_to_sgs"))
        sink.target.sgs = written
        flags = (lib.xml_flag_indent if indent else 0) | (lib.xml_flag_raw if raw else 0)
        lib.xml_node_write(sink, self._c.root, flags)
        if sink.error != 0:
            raise MemoryError
        return bytes(ffi.buffer(written.buffer, written.length))

    def write(self, path: str | os.PathLike[str], indent: bool = False, raw: bool = False) -> None:
        pathlib.Path(path).write_bytes(self.text(indent, raw))
