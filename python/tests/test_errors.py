"""Errors as exceptions, closed databases, stale objects and refused texts."""

import subprocess
import sys

import pytest

import qmdb
from conftest import raises_each


def test_exception_hierarchy_codes_and_refusals(tmp_path, db):
    assert all(issubclass(c, qmdb.Error) for c in (
        qmdb.LockedError, qmdb.ClosedError, qmdb.NoObjectError, qmdb.XmlError, qmdb.XPathError))
    with pytest.raises(qmdb.Error) as caught:
        qmdb.open(tmp_path / "missing.qmb", "r")
    assert caught.value.code == "NOFILEOPEN" and "missing.qmb" in caught.value.message
    (tmp_path / "bad.qmb").write_bytes(b"not a database at all" * 10)
    with pytest.raises(qmdb.Error) as caught:
        qmdb.open(tmp_path / "bad.qmb", "r")
    assert caught.value.code not in (None, "NOFILEOPEN")
    raises_each(ValueError, lambda: qmdb.open(tmp_path / "x.qmb", "rw"),
                lambda: qmdb.memory(pages=0))
    top = db.root.append("top")
    text = top.append_text("t")
    with pytest.raises(qmdb.Error) as caught:
        db.root.move(top)
    assert caught.value.code is None  # a refusal, not a storage problem
    with pytest.raises(AttributeError):
        text.append("x")  # texts have no children
    top.append_entity("e", "v")
    raises_each(qmdb.Error, lambda: setattr(text, "gid", "x"),
                lambda: top.append_entity("e", type=0))


def test_closed_database_is_safe(tmp_path):
    db = qmdb.open(tmp_path / "c.qmb", "w")
    top = db.root.append("top")
    top.attrs["a"] = "1"
    top.append_text("x")
    walk, children, attrs, idx = iter(top), top.children, top.attrs, db.indexes.create("i")
    db.close()
    db.close()  # twice is fine
    assert db.closed and "closed" in repr(top) and "closed" in repr(db)
    raises_each(qmdb.ClosedError, lambda: top.gid, lambda: top.text, lambda: len(top),
                lambda: next(walk), lambda: next(children), lambda: attrs["a"],
                lambda: top.append("y"), lambda: idx["k"], lambda: list(db.indexes),
                lambda: db.find("top"), lambda: db.root.children, lambda: top.drop(),
                lambda: db.save())
    with pytest.raises(RuntimeError):  # leaving on an error closes too
        with qmdb.open(tmp_path / "c.qmb", "u") as db:
            db.root.append("kept")
            raise RuntimeError("boom")
    assert db.closed
    with qmdb.open(tmp_path / "c.qmb") as again:  # and every close saved
        assert [o.gid for o in again] == ["top", None, "kept"]


FULL_DISK = r"""
import resource, signal, sys
import qmdb

signal.signal(signal.SIGXFSZ, signal.SIG_IGN)  # a write past the limit fails instead
resource.setrlimit(resource.RLIMIT_FSIZE, (200_000, 200_000))
db = qmdb.open(sys.argv[1], "w", pages=64, page_size=65536)
for i in range(20_000):
    db.root.append("item").append_text(f"text {i}")
try:
    with db:
        pass
except qmdb.Error as e:
    print(db.closed, e.code is not None, "cannot save" in e.message)
"""


def test_a_failed_save_on_closing_raises(tmp_path):
    done = subprocess.run([sys.executable, "-c", FULL_DISK, str(tmp_path / "f.qmb")],
                          capture_output=True, text=True, timeout=60)
    assert (done.returncode, done.stdout.split()) == (0, ["True", "True", "True"]), done.stderr


def test_save_keeps_the_database_open(tmp_path):
    path = tmp_path / "s.qmb"
    with qmdb.open(path, "w") as db:
        db.root.append("first")
        db.save()
        with pytest.raises(qmdb.LockedError) as caught:  # a writer holds the file
            qmdb.open(path, "r")
        assert caught.value.code == "LOCKED"
        db.updatable = False  # saves; readers may come in now
        with qmdb.open(path, "r") as reader:
            assert [o.gid for o in reader] == ["first"]
        db.updatable = True
        db.root.append("second")
    with qmdb.open(path, "u", pages=4, page_size=4096) as db:
        assert [o.gid for o in db] == ["first", "second"]
        db.updatable = False
        assert not db.updatable
        with pytest.raises(qmdb.Error):
            db.root.append("x")


def test_stale_objects_raise(db):
    top = db.root.append("top")
    top.attrs["a"] = "1"
    top.attrs["b"] = "2"
    a, b = db.xpath("//top/@*")
    del top.attrs["a"]
    for i in range(50):  # new attributes may take the deleted one's place in the heap
        top.attrs[f"x{i}"] = "v" * 40
    assert (b.name, b.value, b.parent) == ("b", "2", top) and "gone" in repr(a)
    gone = top.append("gone")
    gone.drop()
    raises_each(qmdb.NoObjectError, lambda: a.value, lambda: a.name, lambda: a.parent,
                lambda: db.xpath("count($v/*)", v=gone), lambda: gone.xpath("."),
                lambda: db.xpath("count($v)", v=[top, a]))
    db.close()
    with pytest.raises(qmdb.ClosedError):
        b.value
    assert "closed" in repr(b)


def test_texts_with_nul_are_refused(db):
    top = db.root.append("top")
    idx = db.indexes.create("i")
    idx.add(top, "k")
    raises_each(ValueError, lambda: db.root.append("a\0b"), lambda: top.append_text("x\0"),
                lambda: setattr(top, "gid", "a\0"), lambda: top.attrs.__setitem__("k", "\0"),
                lambda: top.attrs.__setitem__("k\0", "v"), lambda: db.find("top\0/x"),
                lambda: db.indexes.create("i\0"), lambda: top.append_pi("t", "d\0"),
                lambda: qmdb.open("a.qmb\0b", "w"), lambda: db.write_xml("out.xml\0b"),
                lambda: qmdb.load_xml("in.xml\0b"), lambda: idx.range("k\0"))
    assert [o.gid for o in db] == ["top"] and dict(top.attrs) == {} and idx["k"] == [top]
