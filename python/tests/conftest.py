"""Fixtures and helpers shared by the package's tests."""

import pytest

import qmdb


def render(obj) -> str:
    """A whole subtree as one short string: node(child,...), 'text', &entity;, ?pi."""
    if isinstance(obj, qmdb.Text):
        return repr(obj.value)
    if isinstance(obj, qmdb.Entity):
        return f"&{obj.gid};"
    if isinstance(obj, qmdb.PI):
        return f"?{obj.gid}"
    attrs = "".join(f"[{k}={v}]" for k, v in obj.attrs.items())
    children = ",".join(render(c) for c in obj.children)
    name = obj.gid or ""
    return f"{name}{attrs}({children})" if children else f"{name}{attrs}"


def document(db) -> str:
    return ",".join(render(c) for c in db.root.children)


def raises_each(error, *actions):
    for action in actions:
        with pytest.raises(error):
            action()


@pytest.fixture
def db():
    with qmdb.memory() as database:
        yield database


BOOK = ("book[id=b1](title('Notes'),chapter[id=c1](p('one')),"
        "chapter[id=c2](p('two'),p('three')))")


@pytest.fixture
def book(db):
    """A book node that renders as BOOK."""
    book = db.root.append("book")
    book.attrs["id"] = "b1"
    book.append("title").append_text("Notes")
    for cid, texts in (("c1", ["one"]), ("c2", ["two", "three"])):
        chapter = book.append("chapter")
        chapter.attrs["id"] = cid
        for t in texts:
            chapter.append("p").append_text(t)
    return book
