"""XML in and out: paths and file objects, options, encodings and failures."""

import io
import os
import subprocess
import sys

import pytest

import qmdb
from conftest import document

SOURCE = (b'<?xml version="1.0" encoding="UTF-8"?>\n<!-- head -->\n'
          b'<doc a="1" b="x&amp;y"><title>T\xc3\xa9st</title><?pi data?>'
          b'<p>one <b>two</b> three</p><!-- inner --></doc>\n')
LOADED = "doc[a=1][b=x&y](title('Tést'),?pi,p('one ',b('two'),' three'),?#comment)"


def test_paths_round_trip_and_failures(tmp_path):
    (tmp_path / "in.xml").write_bytes(SOURCE)
    with qmdb.load_xml(tmp_path / "in.xml", tmp_path / "d.qmb") as db:
        assert document(db) == "?#comment," + LOADED
        db.write_xml(tmp_path / "out.xml")
        first = db.find("doc")[0]
        first.write_xml(tmp_path / "title.xml", next(first.children), declaration=False)
    assert (tmp_path / "title.xml").read_text(encoding="utf-8").strip() == "<title>Tést</title>"
    with qmdb.load_xml(tmp_path / "out.xml") as again, qmdb.open(tmp_path / "d.qmb") as db:
        assert document(again) == document(db)
    bad = tmp_path / "bad.xml"
    bad.write_bytes(b"<doc>\n  <a></b>\n</doc>\n")
    with pytest.raises(qmdb.XmlError) as caught:
        qmdb.load_xml(bad, tmp_path / "bad.qmb")
    assert caught.value.message.startswith(f"{bad}:2:")
    assert not os.path.exists(tmp_path / "bad.qmb")
    with pytest.raises(qmdb.XmlError):
        qmdb.load_xml(tmp_path / "missing.xml")
    with pytest.raises(TypeError):
        qmdb.load_xml(bad, no_such_option=True)


def test_file_objects_options_and_entities():
    with qmdb.load_xml(io.BytesIO(SOURCE), comments=False) as db:
        assert document(db) == LOADED.replace(",?#comment", "")
        out, text = io.BytesIO(), io.StringIO()
        db.write_xml(out, encoding="ISO-8859-1")
        assert b"T\xe9st" in out.getvalue() and b"ISO-8859-1" in out.getvalue().split(b"?>")[0]
        db.write_xml(text, declaration=False)
        assert text.getvalue().startswith("<doc") and "Tést" in text.getvalue()
        # Loading into an existing node: the document's content goes below it.
        db.load_xml(io.BytesIO(b"<x>1</x>"), db.root.append("holder"))
        assert document(db).endswith(",holder(x('1'))")
    source = b'<!DOCTYPE d SYSTEM "nowhere.dtd" [<!ENTITY me "Ada">]>\n<d>Hi &me; and &unknown;</d>'
    with pytest.warns(qmdb.XmlWarning, match="unknown"):
        db = qmdb.load_xml(io.BytesIO(source))
    with db:
        d = db.find("d")[0]
        assert [(e.gid, e.value) for e in d.children if isinstance(e, qmdb.Entity)] == [
            ("me", "Ada"), ("unknown", None)]
        assert d.text == "Hi Ada and "
    with pytest.raises(qmdb.XmlError):
        qmdb.load_xml(io.BytesIO(source), unresolved_entity_is_error=True)


def test_query_edit_example(tmp_path):
    example = os.path.join(os.path.dirname(__file__), "..", "..", "examples", "python",
                           "query_edit.py")
    done = subprocess.run([sys.executable, example], cwd=tmp_path, capture_output=True,
                          text=True, timeout=120)
    assert done.returncode == 0, done.stderr
    lines = done.stdout.splitlines()
    assert lines[0].startswith("guide: 24 species")
    assert lines[-1].startswith("vesterdal.qmb: ") and "6 sightings, the first of s04" in lines[-1]
    edited = (tmp_path / "vesterdal-edited.xml").read_text(encoding="utf-8")
    assert 'protected="yes"' in edited and "map:regions" not in edited


def test_file_object_failures_reach_python():
    class Broken(io.RawIOBase):
        def read(self, n=-1):
            raise OSError("disk on fire")

    class Refusing:
        def write(self, data):
            raise ValueError("full")

    class Peeking(io.RawIOBase):  # uses the database while it is busy writing itself
        def write(self, data):
            return db.size

    class Feeding(io.RawIOBase):  # uses the database while it is busy reading
        left = [b"<x/>"]

        def read(self, n=-1):
            db.root.append("sneaked")
            return self.left.pop() if self.left else b""

    with pytest.raises(OSError, match="disk on fire"):
        qmdb.load_xml(Broken())
    with qmdb.load_xml(io.BytesIO(SOURCE)) as db:
        with pytest.raises(ValueError, match="full"):
            db.write_xml(Refusing())
        for busy in (lambda: db.write_xml(Peeking()), lambda: db.load_xml(Feeding())):
            with pytest.raises(qmdb.Error, match="busy"):
                busy()
        assert "sneaked" not in [o.gid for o in db.root.children] and db.size > 0
