// The evaluator against libxml2's XPath on generated documents: for a few
// hundred expressions over every axis, node test and function, the same
// nodes in the same order (kind, name and string-value of each) or the same
// value.
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/xpath.h>

#include <cmath>
#include <cstdint>

#include <Qmdb/QmdbXPath>

#include "XmlFixture.h"

namespace qmdb::test {
namespace {

// A small deterministic generator, so that a failure can be replayed.
class Random {
 public:
  explicit Random(uint32_t seed) : state_(seed) {}
  uint32_t below(uint32_t n) {
    state_ = state_ * 1664525u + 1013904223u;
    return (state_ >> 8) % n;
  }

 private:
  uint32_t state_;
};

const char* const kNames[] = {"item", "name", "group", "note", "a", "b"};
const char* const kWords[] = {"alpha", " beta ", "12", "3.5", "gamma delta", "-7", "x"};

void element(Random& rnd, std::string& out, int depth, int& counter) {
  const char* name = kNames[rnd.below(6)];
  out += "<" + std::string(name) + " id='i" + std::to_string(counter++) + "'";
  if (rnd.below(2) == 0)
    out += " type='" + std::string(1, static_cast<char>('x' + rnd.below(3))) + "'";
  if (rnd.below(3) == 0) out += " n='" + std::to_string(rnd.below(20)) + "'";
  out += ">";
  int children = depth > 4 ? 0 : static_cast<int>(rnd.below(5));
  for (int i = 0; i < children; ++i) {
    switch (rnd.below(8)) {
      case 0:
        out += kWords[rnd.below(7)];
        break;
      case 1:
        out += "<!--c" + std::to_string(rnd.below(5)) + "-->";
        break;
      case 2:
        out += "<?p" + std::to_string(rnd.below(2)) + " d?>";
        break;
      case 3:
        out += "\n  ";
        break;
      default:
        element(rnd, out, depth + 1, counter);
        break;
    }
  }
  out += "</" + std::string(name) + ">";
}

std::string generate(uint32_t seed) {
  Random rnd(seed);
  std::string out = "<?xml version='1.0'?><!--head--><doc>";
  int counter = 0;
  while (counter < 300) element(rnd, out, 0, counter);
  out += "text<?tail t?></doc>";
  return out;
}

std::string describeLibxml(xmlNode* n) {
  std::string kind;
  std::string name;
  switch (n->type) {
    case XML_ELEMENT_NODE:
      kind = "E";
      name = (const char*)n->name;
      break;
    case XML_ATTRIBUTE_NODE:
      kind = "A";
      name = (const char*)n->name;
      break;
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
      kind = "T";
      break;
    case XML_COMMENT_NODE:
      kind = "C";
      break;
    case XML_PI_NODE:
      kind = "P";
      name = (const char*)n->name;
      break;
    case XML_DOCUMENT_NODE:
      kind = "R";
      break;
    default:
      kind = "?";
      break;
  }
  xmlChar* value = xmlXPathCastNodeToString(n);
  std::string out = kind + name + "=" + (const char*)value;
  xmlFree(value);
  return out;
}

std::string describeQmdb(Qmdb& db, const QmdbXPath::Node& n) {
  std::string kind;
  std::string name = QmdbXPath::name(db, n);
  if (n.attribute != 0) {
    kind = "A";
  } else if (n.object == 1) {
    kind = "R";
  } else {
    switch (db.objectType(n.object)) {
      case QmdbNode:
        kind = "E";
        break;
      case QmdbString:
      case QmdbEntity:
        kind = "T";
        break;
      default:
        kind = std::string(db.getGid(n.object)) == "#comment" ? "C" : "P";
        break;
    }
  }
  if (kind == "C") name.clear();
  return kind + name + "=" + QmdbXPath::stringValue(db, n);
}

std::vector<std::string> expressions() {
  std::vector<std::string> out;
  const char* axes[] = {"child",     "descendant",       "descendant-or-self", "parent",
                        "ancestor",  "ancestor-or-self", "following-sibling",  "preceding-sibling",
                        "following", "preceding",        "attribute",          "self"};
  const char* tests[] = {"*", "node()", "text()", "item", "comment()", "processing-instruction()"};
  for (const char* axis : axes) {
    for (const char* test : tests) {
      std::string step =
          std::string(axis) +
          "::" + (std::string(axis) == "attribute" && std::string(test) == "item" ? "type" : test);
      out.push_back("//group/" + step);
      out.push_back("count(//item/" + step + ")");
      out.push_back("//b[2]/" + step + "[1]");
      out.push_back("(//a)[3]/" + step + "[last()]");
    }
  }
  const char* more[] = {
      "//item/name",
      "//item[@type='x']",
      "//item[@type='x']/name",
      "count(//node())",
      "count(//@*)",
      "//*[@n > 10]/@n",
      "//*[@n = 3 or @n = 4]",
      "sum(//@n)",
      "//group[count(*) > 2]",
      "//a[position() mod 2 = 0]",
      "//b[last()]",
      "//item[1]",
      "(//item)[1]",
      "(//item)[last()]",
      "//item[not(*)]",
      "//*[text()][1]",
      "//text()[normalize-space()]",
      "//*[contains(., 'gamma')]",
      "//*[starts-with(@id, 'i1')]",
      "string(//group)",
      "string(//note[2])",
      "string-length(string(/doc))",
      "//processing-instruction('p1')",
      "//node()[self::comment() or self::processing-instruction()]",
      "//item/..",
      "//item/../..",
      "//@type/..",
      "//item//b",
      "//item/descendant::*[2]",
      "//group/*[1]/following-sibling::*[1]",
      "//b/ancestor::*[2]",
      "//*[name() = 'note']/@id",
      "//*[local-name() = 'a'][@type]",
      "//item | //note",
      "(//item | //note)[5]",
      "//item[@type = //note/@type]",
      "//item[@n < //b/@n]",
      "//*[number(text()) = 12]",
      "//*[text() = '12']",
      "//*[. = 'x']",
      "//*[@id = 'i42']",
      "//*[@id = 'i42']/following::*[3]",
      "//*[@id = 'i99']/preceding::node()[4]",
      "//*[@id = 'i7']/ancestor-or-self::*/@id",
      "count(//item[@type='y']/preceding-sibling::*)",
      "//group[.//b]/@id",
      "//group[not(.//b)]/@id",
      "/doc/*[last()]/@id",
      "/doc/node()[last()]",
      "/descendant::item[3]",
      "/descendant::*[position() > 295]",
      "//item[@n][@type='z']",
      "//item[@type='z'][2]",
      "//*[count(ancestor::*) = 4]",
      "//*[count(ancestor::*) > 5]",
      "round(sum(//@n) div count(//@n))",
      "floor(count(//*) div 7)",
      "//*[@n mod 3 = 0][1]",
      "//text()[. = '12']/..",
      "//text()[contains(., 'beta')]",
      "translate(string(//note), 'abc', 'ABC')",
      "substring(string(//item), 2, 5)",
      "concat(//item/@id, '-', //note/@id)",
      "normalize-space(string(//group))",
      "boolean(//item[@n > 19])",
      "//item[@id][@type][@n]",
      "//*[@*[. = 'x']]",
      "//@*[. = 'y']/..",
      "//*[not(@type)]/@id",
      "count(//*[@type != 'x'])",
      "//group/node()[2]",
      "//*[following-sibling::*[1][self::item]]",
      "//*[preceding-sibling::*[1][self::group]]/@id",
      "//note//text()",
      "/*",
      "/node()",
      "/",
      "//b/@id = //a/@id",
      "//b/@n < //a/@n",
      "//b/@n >= //a/@n",
  };
  for (const char* e : more) out.push_back(e);
  return out;
}

TEST(XPathReference, SameAnswersAsLibxml2) {
  for (uint32_t seed : {7u, 1234u}) {
    std::string xml = generate(seed);
    xmlDoc* doc = xmlReadMemory(xml.data(), static_cast<int>(xml.size()), "gen.xml", nullptr, 0);
    ASSERT_NE(doc, nullptr);
    xmlXPathContext* ctx = xmlXPathNewContext(doc);
    Qmdb db;
    ASSERT_TRUE(loadXml(db, xml, seed == 1234u));
    int compared = 0;
    for (const std::string& e : expressions()) {
      xmlXPathObject* expected = xmlXPathEvalExpression((const xmlChar*)e.c_str(), ctx);
      ASSERT_NE(expected, nullptr) << e;
      QmdbXPath::Result got = QmdbXPath::evaluate(db, e);
      ASSERT_TRUE(got) << e << ": " << got.message;
      if (expected->type == XPATH_NODESET) {
        ASSERT_EQ(got.value.kind, QmdbXPath::Value::NodeSet) << e;
        std::vector<std::string> want, have;
        xmlNodeSet* set = expected->nodesetval;
        for (int i = 0; set != nullptr && i < set->nodeNr; ++i) {
          want.push_back(describeLibxml(set->nodeTab[i]));
        }
        for (const QmdbXPath::Node& n : got.value.nodes) have.push_back(describeQmdb(db, n));
        EXPECT_EQ(have, want) << e << " (seed " << seed << ")";
      } else if (expected->type == XPATH_NUMBER) {
        ASSERT_EQ(got.value.kind, QmdbXPath::Value::Number) << e;
        if (std::isnan(expected->floatval)) {
          EXPECT_TRUE(std::isnan(got.value.number)) << e;
        } else {
          EXPECT_EQ(got.value.number, expected->floatval) << e;
        }
      } else if (expected->type == XPATH_STRING) {
        ASSERT_EQ(got.value.kind, QmdbXPath::Value::String) << e;
        EXPECT_EQ(got.value.string, (const char*)expected->stringval) << e;
      } else {
        ASSERT_EQ(got.value.kind, QmdbXPath::Value::Boolean) << e;
        EXPECT_EQ(got.value.boolean, expected->boolval != 0) << e;
      }
      ++compared;
      xmlXPathFreeObject(expected);
    }
    EXPECT_GT(compared, 350);
    xmlXPathFreeContext(ctx);
    xmlFreeDoc(doc);
  }
}

}  // namespace
}  // namespace qmdb::test
