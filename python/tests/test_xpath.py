"""XPath: results as Python values, variables, errors, and agreement with
xml.etree.ElementTree on the subset of paths that both understand."""

import io
import xml.etree.ElementTree as ET

import pytest

import qmdb

DOCUMENTS = [
    b"""<library><shelf id="a"><book id="b1" lang="en"><title>One</title><year>1999</year></book>
    <book id="b2"><title>Two</title></book><note/></shelf><shelf id="b"><book id="b3" lang="de">
    <title>Drei</title><year>2001</year></book><box><book id="b4" lang="en"><title>Four</title>
    </book></box></shelf></library>""",
    b"""<r><a><a><a x="1"/></a><b/></a><b><a x="2">t</a><c><a x="1">u</a></c></b><a/></r>""",
    b"""<menu><item kind="veg" price="3">Soup<extra>bread</extra></item><item kind="meat">Stew</item>
    <group><item kind="veg">Salad</item><item>Water</item></group></menu>""",
]

# (ElementTree path from the document element, XPath from the root)
PATHS = [
    ("*", "/*/*"),
    (".//book", "/*//book"),
    (".//*", "/*//*"),
    ("*/book", "/*/*/book"),
    (".//book[@lang='en']", "/*//book[@lang='en']"),
    (".//book[year]", "/*//book[year]"),
    (".//book[title='Two']", "/*//book[title='Two']"),
    (".//a[@x='1']", "/*//a[@x='1']"),
    (".//a/..", "/*//a/.."),
    (".//a[1]", "/*//a[1]"),
    (".//a[last()]", "/*//a[last()]"),
    (".//item[2]", "/*//item[2]"),
    (".//c/a", "/*//c/a"),
    (".//group/item[@kind]", "/*//group/item[@kind]"),
    ("./shelf/book/title", "/*/shelf/book/title"),
    (".", "/*"),
]


def place_in_etree(root):
    places = {root: ()}
    for parent in root.iter():
        for i, child in enumerate(parent):
            places[child] = places[parent] + (i,)
    return places


def place_in_qmdb(node):
    place = []
    while node.parent is not None and node.parent.handle != 1:
        siblings = [c for c in node.parent.children if isinstance(c, qmdb.Node)]
        place.append(siblings.index(node))
        node = node.parent
    return tuple(reversed(place))


@pytest.mark.parametrize("source", DOCUMENTS)
def test_agrees_with_elementtree(source):
    root = ET.fromstring(source)
    places = place_in_etree(root)
    with qmdb.load_xml(io.BytesIO(source)) as db:
        compared = 0
        for etree_path, xpath in PATHS:
            # ElementTree gives its results grouped by context, XPath in document
            # order without repeats; places (child numbers from the top) sort
            # in document order.
            expected = sorted(set(places[e] for e in root.findall(etree_path)))
            found = [place_in_qmdb(n) for n in db.xpath(xpath)]
            assert found == expected, (etree_path, xpath)
            compared += len(expected)
        assert compared > 10


def test_values_variables_and_errors(db):
    top = db.root.append("top")
    for i in range(1, 4):
        item = top.append("item")
        item.attrs["n"] = str(i)
        item.append_text(f"v{i}")
    assert db.xpath("count(//item)") == 3.0
    assert db.xpath("string(//item[2])") == "v2"
    assert db.xpath("//item[3] = 'v3'") is True
    attrs = db.xpath("//item/@n")
    assert [(a.name, a.value, str(a)) for a in attrs] == [("n", "1", "1"), ("n", "2", "2"),
                                                          ("n", "3", "3")]
    assert attrs[0].parent == list(top.children)[0]
    assert [i.text for i in db.xpath("//item[@n >= $low]", low=2)] == ["v2", "v3"]
    assert db.xpath("string($s)", s="hé") == "hé" and db.xpath("$b", b=True) is True
    second = list(top.children)[1]
    assert db.xpath("$x/following-sibling::item", x=second) == [list(top.children)[2]]
    assert second.xpath("string(@n)") == "2" and second.xpath("..") == [top]
    assert db.xpath("count($set)", set=list(top.children)[:2]) == 2.0
    assert [t.value for t in db.xpath("//item/text()")] == ["v1", "v2", "v3"]
    with pytest.raises(qmdb.XPathError) as caught:
        db.xpath("//item[")
    assert caught.value.offset >= 0
    with pytest.raises(qmdb.XPathError):
        db.xpath("$missing")
    with pytest.raises(TypeError):
        db.xpath("$v", v=object())
    with qmdb.memory() as other:
        with pytest.raises(qmdb.Error):
            db.xpath("$v", v=other.root)
