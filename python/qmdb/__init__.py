"""qmdb: documents larger than memory, from Python.

A qmdb database is one file holding a tree of objects (nodes, texts, entities
and processing instructions, with attributes) of which only a few pages are in
memory at a time, so a document far larger than the memory of the process can
be loaded, walked, queried and edited.

    import qmdb
    with qmdb.load_xml("book.xml", "book.qmb") as db:      # saved on leaving
        for title in db.xpath("//chapter/title"):
            print(title.text)
        db.find("book")[0].append("note").append_text("read")
    with qmdb.open("book.qmb", "u") as db:
        idx = db.indexes.create("id")
        for chapter in db.find("book/chapter"):
            idx.add(chapter, chapter.attrs["id"])
        print(idx["c2"][0].text)

Objects (Node, Text, Entity, PI) are small values holding their database and
handle. Failures raise qmdb.Error or one of its subclasses.
"""

import io
import os
import warnings as _warnings
from typing import Optional

from ._errors import (ClosedError, Error, LockedError, NoObjectError, XmlError, XmlWarning,
                      XPathError)
from ._mappings import Attrs, Index, Indexes
from . import _qmdb
from ._qmdb import PI, Attr, Database, Entity, Node, Object, Text

__all__ = [
    "open", "memory", "load_xml", "Database", "Object", "Node", "Text", "Entity", "PI",
    "Attr", "Attrs", "Index", "Indexes", "Error", "LockedError", "ClosedError",
    "NoObjectError", "XmlError", "XPathError", "XmlWarning",
]

#: The version of the library's interface, such as "3.2d".
api_version: str = _qmdb.api_version


def open(path, mode: str = "r", pages: Optional[int] = None,
         page_size: Optional[int] = None) -> Database:
    """Opens the database file ``path``.

    mode "r" reads an existing file, "u" updates it, "w" makes a new one (emptying
    an existing one). ``pages`` is the most page frames kept in memory and
    ``page_size`` the page size in bytes (None: the environment's QMPAGES and
    QMPAGESIZE, else 8 frames of 256 KiB). Use the result as a context manager;
    a named updatable database is saved when it is closed. Raises LockedError
    when another opening holds the file, Error for other failures.
    """
    return _qmdb._open(os.fspath(path), mode, pages, page_size)


def memory(pages: Optional[int] = None, page_size: Optional[int] = None) -> Database:
    """A new nameless database: a working store that spills to a temporary file
    when it outgrows its page frames and vanishes when closed."""
    return _qmdb._memory(pages, page_size)


def _load_options(options):
    unknown = set(options) - {"comments", "load_dtd", "default_attributes",
                              "external_entities", "unresolved_entity_is_error"}
    if unknown:
        raise TypeError(f"unknown load option {sorted(unknown)[0]!r}")
    return {key: bool(value) for key, value in options.items()}


def _load_into(parent: Object, source, options) -> None:
    options = _load_options(options)
    if isinstance(source, (str, os.PathLike)):
        found = _qmdb._load_xml(parent, os.fspath(source), "", options)
    else:
        name = getattr(source, "name", "<stream>")
        found = _qmdb._load_xml(parent, source, name if isinstance(name, str) else "<stream>",
                                options)
    for warning in found:
        _warnings.warn(warning, XmlWarning, stacklevel=3)


def load_xml(source, db_path=None, *, pages: Optional[int] = None,
             page_size: Optional[int] = None, **options) -> Database:
    """Loads an XML document into a new database and returns it (open for updating).

    ``source`` is a path or a binary file object. ``db_path`` names the new
    database file (None: a database in memory). Options (all True unless given):
    comments (keep comments as pis with the target "#comment"), load_dtd,
    default_attributes, external_entities (local files only), and
    unresolved_entity_is_error (False). Problems that loading goes past, such as
    unresolved entities, are issued as XmlWarning; a malformed document raises
    XmlError and leaves no database file behind.
    """
    if db_path is not None:
        db = open(db_path, "w", pages, page_size)
    else:
        db = memory(pages, page_size)
    try:
        _load_into(db.root, source, options)
    except BaseException:
        db.close()
        if db_path is not None:
            for leftover in (os.fspath(db_path), os.fspath(db_path) + "-journal"):
                if os.path.exists(leftover):
                    os.remove(leftover)
        raise
    return db


def _load_xml_method(self: Database, source, parent: Optional[Object] = None, **options) -> None:
    """Loads an XML document from a path or binary file as the content of ``parent``
    (None: the top level of the database). Options as for qmdb.load_xml."""
    _load_into(self.root if parent is None else parent, source, options)


def _write_xml(self, target, node: Optional[Object] = None, *, encoding: str = "UTF-8",
               declaration: bool = True) -> None:
    """Writes ``node`` (None: the whole document) as XML to a path, a binary file or
    a text file, in ``encoding`` (any name iconv knows), with an XML declaration
    unless declaration=False. Raises XmlError."""
    if node is None:
        node = self.root if isinstance(self, Database) else self
    if isinstance(target, (str, os.PathLike)):
        _qmdb._write_xml(node, os.fspath(target), encoding, declaration)
    elif isinstance(target, io.TextIOBase):
        decoder = _TextSink(target, encoding)
        _qmdb._write_xml(node, decoder, encoding, declaration)
        decoder.close()
    else:
        _qmdb._write_xml(node, target, encoding, declaration)


class _TextSink:
    """Hands bytes written in ``encoding`` to a text file as str."""

    def __init__(self, text_file, encoding):
        import codecs
        self._file = text_file
        self._decoder = codecs.getincrementaldecoder(encoding)()

    def write(self, data: bytes) -> None:
        self._file.write(self._decoder.decode(data))

    def close(self) -> None:
        self._file.write(self._decoder.decode(b"", final=True))


def _attrs(self) -> Attrs:
    """The attributes as a mutable mapping of names to values (document order)."""
    return Attrs(self)


def _indexes(self) -> Indexes:
    """The named indexes of the database as a mapping of names to Index objects."""
    return Indexes(self)


def _iterate(self):
    """Every object of the document in document order."""
    return iter(self.root)


Node.attrs = property(_attrs)
Entity.attrs = property(_attrs)
PI.attrs = property(_attrs)
Database.indexes = property(_indexes)
Database.__iter__ = _iterate
Database.load_xml = _load_xml_method
Database.write_xml = _write_xml
Node.write_xml = _write_xml

# Everything is documented as part of qmdb itself, wherever it is defined.
for _cls in (Database, Object, Node, Text, Entity, PI, Attr, Attrs, Index, Indexes, Error,
             LockedError, ClosedError, NoObjectError, XmlError, XPathError, XmlWarning):
    _cls.__module__ = __name__
del _cls
