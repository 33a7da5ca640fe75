"""XPath: results as Python values, variables, errors, and agreement with
xml.etree.ElementTree on the paths that both understand."""

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

# ElementTree paths from the document element; the XPath is the same from "/*".
PATHS = ["*", ".//book", ".//*", "*/book", ".//book[@lang='en']", ".//book[year]",
         ".//book[title='Two']", ".//a[@x='1']", ".//a/..", ".//a[1]", ".//a[last()]",
         ".//item[2]", ".//c/a", ".//group/item[@kind]", "./shelf/book/title", "."]


def place(node, parent_of, children_of):
    """Child numbers from the document element down, which sort in document order."""
    steps = []
    while parent_of(node) is not None:
        steps.append(children_of(parent_of(node)).index(node))
        node = parent_of(node)
    return tuple(reversed(steps))


@pytest.mark.parametrize("source", DOCUMENTS)
def test_agrees_with_elementtree(source):
    root = ET.fromstring(source)
    parents = {child: parent for parent in root.iter() for child in parent}
    with qmdb.load_xml(io.BytesIO(source)) as db:
        top = db.xpath("/*")[0]
        compared = 0
        for path in PATHS:
            xpath = "/*" + path[1:] if path.startswith(".") else "/*/" + path
            # ElementTree groups its results by context; XPath gives document order once.
            expected = sorted({place(e, parents.get, list) for e in root.findall(path)})
            found = [place(n, lambda o: None if o == top else o.parent,
                           lambda p: [c for c in p.children if isinstance(c, qmdb.Node)])
                     for n in db.xpath(xpath)]
            assert found == expected, path
            compared += len(expected)
        assert compared > 10


def test_values_variables_and_errors(db):
    top = db.root.append("top")
    for i in range(1, 4):
        item = top.append("item")
        item.attrs["n"] = str(i)
        item.append_text(f"v{i}")
    first, second, third = top.children
    assert (db.xpath("count(//item)"), db.xpath("string(//item[2])")) == (3.0, "v2")
    assert db.xpath("//item[3] = 'v3'") is True and db.xpath("$b", b=True) is True
    attrs = db.xpath("//item/@n")
    assert [(a.name, a.value, str(a)) for a in attrs] == [("n", "1", "1"), ("n", "2", "2"),
                                                          ("n", "3", "3")]
    assert attrs[0].parent == first
    assert [i.text for i in db.xpath("//item[@n >= $low]", low=2)] == ["v2", "v3"]
    assert db.xpath("string($s)", s="hé") == "hé"
    assert db.xpath("$x/following-sibling::item", x=second) == [third]
    assert second.xpath("string(@n)") == "2" and second.xpath("..") == [top]
    assert db.xpath("count($set)", set=[first, second]) == 2.0
    assert [t.value for t in db.xpath("//item/text()")] == ["v1", "v2", "v3"]
    with pytest.raises(qmdb.XPathError) as caught:
        db.xpath("//item[")
    assert caught.value.offset >= 0
    with pytest.raises(qmdb.XPathError):
        db.xpath("$missing")
    with pytest.raises(TypeError):
        db.xpath("$v", v=object())
    with qmdb.memory() as other, pytest.raises(qmdb.Error):
        db.xpath("$v", v=other.root)
