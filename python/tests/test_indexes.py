"""Named indexes as mappings: create, put, lookup, ranges, pulling, keys."""

import pytest

import qmdb


@pytest.fixture
def species(db):
    top = db.root.append("list")
    made = {}
    for key in ["s1", "s10", "s12", "s2", "t1", "sa"]:
        node = top.append("species")
        node.attrs["id"] = key
        node.append_text(f"name {key}")
        made[key] = node
    idx = db.indexes.create("id")
    for key, node in made.items():
        idx.add(node, node.attrs["id"])
    return made


def ids(objects):
    return [o.attrs["id"] for o in objects]


def test_catalogue(db, species):
    assert list(db.indexes) == ["id"] and "id" in db.indexes and "nope" not in db.indexes
    with pytest.raises(KeyError):
        db.indexes["nope"]
    with pytest.raises(qmdb.Error):
        db.indexes.create("id")
    db.indexes.create("other").rename("renamed")
    assert list(db.indexes) == ["id", "renamed"] and len(db.indexes) == 2
    del db.indexes["renamed"]
    assert list(db.indexes) == ["id"]
    with pytest.raises(KeyError):
        del db.indexes["renamed"]


def test_lookups_and_ranges(db, species):
    idx = db.indexes["id"]
    assert list(idx) == ["s1", "s10", "s12", "s2", "sa", "t1"] and len(idx) == 6
    assert idx["s10"] == [species["s10"]]
    with pytest.raises(KeyError):
        idx["s3"]
    assert idx.get("s3") is None and "s12" in idx and "s" not in idx
    # a range runs up to the stop key and every key beginning with it
    assert ids(idx.range("s1", "s1")) == ["s1", "s10", "s12"]
    assert ids(idx.range("s10", "s2")) == ["s10", "s12", "s2"]
    assert ids(idx.range("s2")) == ["s2", "sa", "t1"]
    assert ids(idx.range(stop="s10")) == ["s1", "s10"]
    assert ids(idx.range()) == ["s1", "s10", "s12", "s2", "sa", "t1"]


def test_several_entries_and_keys_from_objects(db, species):
    idx = db.indexes.create("names")
    idx["x"] = [species["s1"], species["s2"]]
    idx["x"] = species["t1"]
    assert ids(idx["x"]) == ["s1", "s2", "t1"]
    idx.add(species["sa"], "x", unique=True)  # a key with entries is left alone
    assert len(idx["x"]) == 3
    idx.add(db.find("list")[0])  # no key: the object's gid
    assert list(idx) == ["list", "x"]


def test_pull(db, species):
    idx = db.indexes["id"]
    assert idx.pull("s12") == [species["s12"]] and "s12" not in idx
    assert ids(idx.pull("s2", "t")) == ["s2", "sa", "t1"] and list(idx) == ["s1", "s10"]
    del idx["s1"]
    assert list(idx) == ["s10"]
    with pytest.raises(KeyError):
        del idx["s1"]
    assert len(db.find("list/species")) == 6  # pulled objects stay in the document


def test_entries_of_another_database(db, species):
    with qmdb.memory() as other:
        foreign = other.root.append("species")
        foreign.attrs["id"] = "far"
        db.indexes["id"].add(foreign, "far")
        assert db.indexes["id"]["far"] == [foreign] and db.indexes["id"]["far"][0].db == other
    assert "far" not in db.indexes["id"]  # entries of a closed database are skipped


def test_indexes_persist(tmp_path):
    path = tmp_path / "i.qmb"
    with qmdb.open(path, "w") as db:
        node = db.root.append("a")
        db.indexes.create("k").add(node, "key")
    with qmdb.open(path) as db:
        assert db.indexes["k"]["key"] == db.find("a")
        with pytest.raises(qmdb.Error):
            db.indexes["k"].pull("key")
