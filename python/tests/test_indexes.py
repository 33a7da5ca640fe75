"""Named indexes as mappings: catalogue, entries, lookups, ranges, pulling."""

import pytest

import qmdb


@pytest.fixture
def species(db):
    top = db.root.append("list")
    made = {key: top.append("species") for key in ["s1", "s10", "s12", "s2", "t1", "sa"]}
    idx = db.indexes.create("id")
    for key, node in made.items():
        node.attrs["id"] = key
        idx.add(node, key)
    return made


def ids(objects):
    return [o.attrs["id"] for o in objects]


def test_catalogue(db, species):
    assert list(db.indexes) == ["id"] and "id" in db.indexes and "nope" not in db.indexes
    db.indexes.create("other").rename("renamed")
    assert list(db.indexes) == ["id", "renamed"] and len(db.indexes) == 2
    del db.indexes["renamed"]
    assert list(db.indexes) == ["id"]
    for refused, error in ((lambda: db.indexes["nope"], KeyError),
                           (lambda: db.indexes.__delitem__("renamed"), KeyError),
                           (lambda: db.indexes.create("id"), qmdb.Error)):
        with pytest.raises(error):
            refused()


def test_lookups_ranges_and_pulls(db, species):
    idx = db.indexes["id"]
    assert list(idx) == ["s1", "s10", "s12", "s2", "sa", "t1"] and len(idx) == 6
    assert idx["s10"] == [species["s10"]] and idx.get("s3") is None
    assert "s12" in idx and "s" not in idx
    with pytest.raises(KeyError):
        idx["s3"]
    # a range runs up to the stop key and every key beginning with it
    for start, stop, expected in (("s1", "s1", ["s1", "s10", "s12"]),
                                  ("s10", "s2", ["s10", "s12", "s2"]),
                                  ("s2", None, ["s2", "sa", "t1"]), (None, "s10", ["s1", "s10"]),
                                  (None, None, ["s1", "s10", "s12", "s2", "sa", "t1"])):
        assert ids(idx.range(start, stop)) == expected, (start, stop)
    assert idx.pull("s12") == [species["s12"]] and "s12" not in idx
    assert ids(idx.pull("s2", "t")) == ["s2", "sa", "t1"] and list(idx) == ["s1", "s10"]
    del idx["s1"]
    assert list(idx) == ["s10"]
    with pytest.raises(KeyError):
        del idx["s1"]
    assert len(db.find("list/species")) == 6  # pulled objects stay in the document


def test_several_entries_and_other_databases(db, species):
    idx = db.indexes.create("names")
    idx["x"] = [species["s1"], species["s2"]]
    idx["x"] = species["t1"]
    idx.add(species["sa"], "x", unique=True)  # a key with entries is left alone
    assert ids(idx["x"]) == ["s1", "s2", "t1"]
    idx.add(db.find("list")[0])  # no key: the object's gid
    assert list(idx) == ["list", "x"]
    with qmdb.memory() as other:
        foreign = other.root.append("far")
        idx.add(foreign, "far")
        assert idx["far"] == [foreign] and idx["far"][0].db == other
    assert "far" not in idx  # entries of a closed database are skipped


def test_indexes_persist(tmp_path):
    with qmdb.open(tmp_path / "i.qmb", "w") as db:
        db.indexes.create("k").add(db.root.append("a"), "key")
    with qmdb.open(tmp_path / "i.qmb") as db:
        assert db.indexes["k"]["key"] == db.find("a")
        with pytest.raises(qmdb.Error):
            db.indexes["k"].pull("key")
