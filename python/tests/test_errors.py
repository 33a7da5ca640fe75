"""Errors as exceptions, closed databases, and threads."""

import threading

import pytest

import qmdb


def test_exception_hierarchy_and_codes(tmp_path):
    for cls in (qmdb.LockedError, qmdb.ClosedError, qmdb.NoObjectError, qmdb.XmlError,
                qmdb.XPathError):
        assert issubclass(cls, qmdb.Error)
    with pytest.raises(qmdb.Error) as caught:
        qmdb.open(tmp_path / "missing.qmb", "r")
    assert caught.value.code == "NOFILEOPEN"
    assert "missing.qmb" in caught.value.message
    bad = tmp_path / "bad.qmb"
    bad.write_bytes(b"not a database at all" * 10)
    with pytest.raises(qmdb.Error) as caught:
        qmdb.open(bad, "r")
    assert caught.value.code is not None and caught.value.code != "NOFILEOPEN"
    with pytest.raises(ValueError):
        qmdb.open(tmp_path / "x.qmb", "rw")
    with pytest.raises(ValueError):
        qmdb.memory(pages=0)


def test_refusals_raise(db):
    top = db.root.append("top")
    text = top.append_text("t")
    with pytest.raises(qmdb.Error) as caught:
        db.root.move(top)
    assert caught.value.code is None  # a refusal, not a storage problem
    with pytest.raises(AttributeError):
        text.append("x")  # texts have no children
    with pytest.raises(qmdb.Error):
        text.gid = "x"  # nor an id
    entity = top.append_entity("e", "v")
    with pytest.raises(qmdb.Error):
        top.append_entity("e", type=0)


def test_closed_database_is_safe(tmp_path):
    db = qmdb.open(tmp_path / "c.qmb", "w")
    top = db.root.append("top")
    top.attrs["a"] = "1"
    top.append_text("x")
    walk = iter(top)
    children = top.children
    attrs = top.attrs
    idx = db.indexes.create("i")
    db.close()
    db.close()  # twice is fine
    assert db.closed
    for action in (lambda: top.gid, lambda: top.text, lambda: len(top), lambda: next(walk),
                   lambda: next(children), lambda: attrs["a"], lambda: top.append("y"),
                   lambda: idx["k"], lambda: list(db.indexes), lambda: db.find("top"),
                   lambda: db.root.children, lambda: top.drop(), lambda: db.save()):
        with pytest.raises(qmdb.ClosedError):
            action()
    assert "closed" in repr(top) and "closed" in repr(db)
    with qmdb.open(tmp_path / "c.qmb") as again:  # the close saved it
        assert [o.gid for o in again] == ["top", None]


def test_context_manager_closes_on_error(tmp_path):
    with pytest.raises(RuntimeError):
        with qmdb.open(tmp_path / "e.qmb", "w") as db:
            db.root.append("kept")
            raise RuntimeError("boom")
    assert db.closed


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


def test_threads_share_one_database(db):
    top = db.root.append("top")
    errors = []

    def add(name):
        try:
            for _ in range(300):
                top.append(name).append_text(name)
        except Exception as e:  # pragma: no cover - reported below
            errors.append(e)

    threads = [threading.Thread(target=add, args=(f"t{i}",)) for i in range(4)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert errors == [] and len(top) == 1200 and top.count() == 2400
