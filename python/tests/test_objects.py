"""Objects: building, reading, walking, attributes and edits."""

import pytest

import qmdb
from conftest import BOOK, document, render


def gids(objects):
    return [o.gid or o.value for o in objects]


def ids(objects):
    return [o.attrs["id"] for o in objects]


def test_build_save_and_reopen(tmp_path):
    path = tmp_path / "book.qmb"
    with qmdb.open(path, "w", pages=4, page_size=4096) as db:
        assert (db.path, db.page_size, db.updatable) == (str(path), 4096, True)
        assert repr(db) == f"<qmdb.Database {path}>" and repr(db.root) == "<qmdb.Node root>"
        loose, unnamed = db.node("loose"), db.node()
        assert not loose.attached and loose.parent is None and unnamed.gid is None
        assert list(db) == []
        top = db.root.append("doc")
        top.attrs["lang"] = "en"
        top.append("a").append_text("héllo ✓")
        top.append_pi("style", "x=1")
        top.append_entity("amp", "&")
        top.append_text("tail")
        loose.move(top)
        assert loose.parent == top and repr(loose) == f"<qmdb.Node {loose.handle} 'loose'>"
        entity = top.append_entity("pic", None, 3)
        entity.notation = "png"
        assert (entity.type, entity.notation, entity.value) == (3, "png", None)
        entity.notation = None
        assert entity.notation is None
        entity.drop()
    with qmdb.open(path, "r") as db:
        assert document(db) == "doc[lang=en](a('héllo ✓'),?style,&amp;,'tail',loose)"
        doc = db.find("doc")[0]
        _, pi, entity, _, _ = doc.children  # render tells the kinds apart
        assert (pi.gid, pi.value) == ("style", "x=1")
        assert (entity.gid, entity.value, entity.type, entity.notation) == ("amp", "&", 1, None)
        assert doc.text == "héllo ✓&tail"
        with pytest.raises(qmdb.Error):
            doc.append("refused")
    with qmdb.memory(page_size=8192) as db:
        assert (db.path, db.page_size, repr(db)) == (None, 8192, "<qmdb.Database in memory>")
    assert qmdb.api_version[0].isdigit() and "." in qmdb.api_version


def test_walks_and_navigation(db, book):
    assert render(book) == BOOK
    assert gids(book) == ["title", "Notes", "chapter", "p", "one", "chapter", "p", "two", "p",
                          "three"]
    assert len(book) == 3 and book.count() == 10 and list(db) == [book] + list(book)
    title, c1, c2 = book.children
    assert title.next == c1 and c2.previous == c1 and c2.next is None
    assert c1.parent == book and book.parent == db.root and db.root.parent is None
    text = next(title.children)
    assert text.parent == title and list(text) == [] and list(text.children) == []
    assert book.text == "Notesonetwothree" and c2.text == "twothree"
    assert [o.gid for o in c1] == ["p", None]  # a walk ends with its subtree


def test_attrs_names_and_values(db, book):
    attrs = book.attrs
    attrs["b"] = "2"
    attrs["a"] = "1"
    assert list(attrs) == ["id", "b", "a"] and len(attrs) == 3
    assert attrs["a"] == "1" and attrs.get("zz") is None and "b" in attrs and "B" not in attrs
    attrs["b"] = "two"
    del attrs["id"]
    assert dict(attrs) == {"b": "two", "a": "1"}
    for refused in (lambda: attrs["id"], lambda: attrs.__delitem__("id")):
        with pytest.raises(KeyError):
            refused()
    attrs.update(c="3")
    assert attrs.pop("a") == "1"
    assert list(attrs.items()) == [("b", "two"), ("c", "3")] and attrs.values() == ["two", "3"]
    pi = book.append_pi("t", "d")
    pi.attrs["k"] = "v"
    assert dict(pi.attrs) == {"k": "v"}
    title = next(book.children)
    text = next(title.children)
    title.gid = "heading"
    text.value = "Other"
    assert render(title) == "heading('Other')"
    with pytest.raises(qmdb.Error):
        text.value = None  # a text must have characters
    with pytest.raises(TypeError):
        text.value = 3


def test_remove_drop_move(db, book):
    title, c1, c2 = book.children
    c1.remove()
    assert not c1.attached and c1.parent is None and render(c1) == "chapter[id=c1](p('one'))"
    assert gids(book.children) == ["title", "chapter"]
    assert c1.move(after=c2) == c1 and c1.attached
    assert ids(book.find("chapter")) == ["c2", "c1"]
    c1.move(book, first=True)
    assert gids(book.children) == ["chapter", "title", "chapter"]
    title.move(c2)  # to the end of c2
    assert render(c2) == "chapter[id=c2](p('two'),p('three'),title('Notes'))"
    c2.remove(alone=True)  # its children take its place
    assert gids(book.children) == ["chapter", "p", "p", "title"]
    for refused in (lambda: book.move(list(book.children)[1]),  # into its own subtree
                    lambda: c1.move()):  # neither `to` nor `after`
        with pytest.raises(qmdb.Error):
            refused()
    c1.drop()
    with pytest.raises(qmdb.NoObjectError):
        c1.gid
    two, three, _ = book.children
    book.append("preface", after=two)
    book.append_text("x", after=three)
    assert render(book) == "book[id=b1](p('two'),preface,p('three'),'x',title('Notes'))"
    with pytest.raises(qmdb.Error, match="not a child"):
        two.append("p", after=title)


def test_copy_within_and_across(db, book):
    title, c1, c2 = book.children
    detached = c2.copy()
    assert not detached.attached and render(detached) == render(c2) and detached != c2
    shallow = c2.copy(book, deep=False, attributes=False)
    assert render(shallow) == "chapter"
    early = c1.copy(after=title)
    first = title.copy(book, first=True)
    assert list(book.children) == [first, title, early, c1, c2, shallow]
    with pytest.raises(qmdb.Error, match="not a child"):
        c1.copy(c2, after=title)  # `after` must be a child of `to`
    for made in (early, first, shallow):
        made.drop()
    with qmdb.memory() as other:
        top = other.root.append("archive")
        assert c1.copy(to=top).db == other and render(top) == "archive(chapter[id=c1](p('one')))"
        assert c2.move(top).db == other  # across databases: a new handle there, gone here
        assert render(top) == "archive(chapter[id=c1](p('one')),chapter[id=c2](p('two'),p('three')))"
    assert render(book) == "book[id=b1](title('Notes'),chapter[id=c1](p('one')))"


def test_links_equality_and_find(db, book):
    title, c1, c2 = book.children
    assert ids(db.find("book/chapter")) == ["c1", "c2"]
    assert gids(db.find("book/chapter/p/*")) == ["one", "two", "three"]
    assert db.find("BOOK") == [] and db.find("BOOK", case_sensitive=False) == [book]
    assert gids(c2.find("..."))[:2] == ["chapter", "p"] and c2.find("../title") == [title]
    assert c1.link is None
    c1.link = c2
    assert c1.link == c2 and c2.copy(book, link_to_source=True).link == c2
    with qmdb.memory() as other:
        for target in (other.root.append("t"), other.root):
            c1.link = target
            assert c1.link == target and other.root != db.root
    assert c1.link is None  # its database is closed
    c1.link = c2
    c1.link = None
    assert c1.link is None
    again = db.find("book")[0]
    assert again == book and hash(again) == hash(book) and again is not book
    assert len({book, again, db.root}) == 2 and book != title and book != "book"
    assert db == book.db and hash(db) == hash(book.db)


def test_walk_while_editing(db, book):
    seen = []
    for obj in book:
        seen.append(obj.gid or obj.value)
        if obj.gid == "chapter" and obj.attrs["id"] == "c1":
            obj.append("added").append_text("new")
    assert seen == ["title", "Notes", "chapter", "p", "one", "added", "new", "chapter", "p",
                    "two", "p", "three"]
    walk = iter(book)
    next(walk).drop()
    with pytest.raises(qmdb.NoObjectError):
        next(walk)
    # Removing (not dropping) the current object: the walk goes on in the detached subtree.
    walk = iter(book)
    next(walk).remove()
    assert gids(walk) == ["p", "one", "added", "new"]
