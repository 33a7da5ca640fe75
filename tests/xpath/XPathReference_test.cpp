// The evaluator against libxml2's XPath on generated documents: for a few
// hundred expressions over every axis, node test and function, the same
// nodes in the same order (kind, name and string-value of each) or the same
// value.
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/xpath.h>

#include <cmath>
#include <cstdint>
#include <random>

#include <Qmdb/QmdbXPath>

#include "XmlFixture.h"

namespace qmdb::test {
namespace {

// The standard's fully specified generator, so that a failure can be replayed.
using Random = std::minstd_rand;
uint32_t below(Random& rnd, uint32_t n) {
  return static_cast<uint32_t>(rnd() % n);
}

const char* const kNames[] = {"item", "name", "group", "note", "a", "b"};
const char* const kWords[] = {"alpha", " beta ", "12", "3.5", "gamma delta", "-7", "x"};

void element(Random& rnd, std::string& out, int depth, int& counter) {
  const char* name = kNames[below(rnd, 6)];
  out += "<" + std::string(name) + " id='i" + std::to_string(counter++) + "'";
  if (below(rnd, 2) == 0)
    out += " type='" + std::string(1, static_cast<char>('x' + below(rnd, 3))) + "'";
  if (below(rnd, 3) == 0) out += " n='" + std::to_string(below(rnd, 20)) + "'";
  out += ">";
  int children = depth > 4 ? 0 : static_cast<int>(below(rnd, 5));
  for (int i = 0; i < children; ++i) {
    switch (below(rnd, 8)) {
      case 0:
        out += kWords[below(rnd, 7)];
        break;
      case 1:
        out += "<!--c" + std::to_string(below(rnd, 5)) + "-->";
        break;
      case 2:
        out += "<?p" + std::to_string(below(rnd, 2)) + " d?>";
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

// A node as kind letter, name and string-value: E element, A attribute, T text,
// C comment, P processing instruction, R root.
std::string describeLibxml(xmlNode* n) {
  bool named =
      n->type == XML_ELEMENT_NODE || n->type == XML_ATTRIBUTE_NODE || n->type == XML_PI_NODE;
  const char* kind = n->type == XML_ELEMENT_NODE     ? "E"
                     : n->type == XML_ATTRIBUTE_NODE ? "A"
                     : n->type == XML_TEXT_NODE      ? "T"
                     : n->type == XML_COMMENT_NODE   ? "C"
                     : n->type == XML_PI_NODE        ? "P"
                     : n->type == XML_DOCUMENT_NODE  ? "R"
                                                     : "?";
  xmlChar* value = xmlXPathCastNodeToString(n);
  std::string out =
      std::string(kind) + (named ? (const char*)n->name : "") + "=" + (const char*)value;
  xmlFree(value);
  return out;
}

std::string describeQmdb(Qmdb& db, const QmdbXPath::Node& n) {
  std::string kind = n.attribute != 0                                 ? "A"
                     : n.object == 1                                  ? "R"
                     : db.objectType(n.object) == QmdbNode            ? "E"
                     : db.objectType(n.object) == QmdbString          ? "T"
                     : db.objectType(n.object) == QmdbEntity          ? "T"
                     : std::string(db.getGid(n.object)) == "#comment" ? "C"
                                                                      : "P";
  std::string name = kind == "C" ? "" : QmdbXPath::name(db, n);
  return kind + name + "=" + QmdbXPath::stringValue(db, n);
}

// A result as one comparable line: its type, then its nodes or its value.
std::string answerOfLibxml(xmlXPathObject* r) {
  switch (r->type) {
    case XPATH_NODESET: {
      std::string out = "nodes:";
      for (int i = 0; r->nodesetval != nullptr && i < r->nodesetval->nodeNr; ++i) {
        out += " " + describeLibxml(r->nodesetval->nodeTab[i]);
      }
      return out;
    }
    case XPATH_NUMBER:
      return "number: " + QmdbXPath::numberToString(r->floatval);
    case XPATH_STRING:
      return std::string("string: ") + (const char*)r->stringval;
    default:
      return std::string("boolean: ") + (r->boolval ? "true" : "false");
  }
}

std::string answerOfQmdb(Qmdb& db, const QmdbXPath::Value& v) {
  switch (v.kind) {
    case QmdbXPath::Value::NodeSet: {
      std::string out = "nodes:";
      for (const QmdbXPath::Node& n : v.nodes) out += " " + describeQmdb(db, n);
      return out;
    }
    case QmdbXPath::Value::Number:
      return "number: " + QmdbXPath::numberToString(v.number);
    case QmdbXPath::Value::String:
      return "string: " + v.string;
    default:
      return std::string("boolean: ") + (v.boolean ? "true" : "false");
  }
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
  // Beyond the axis-and-test forms: predicates, functions, unions and comparisons.
  std::string more =
      "//item/name; //item[@type='x']; //item[@type='x']/name; count(//node()); count(//@*); "
      "//*[@n > 10]/@n; //*[@n = 3 or @n = 4]; sum(//@n); //group[count(*) > 2]; "
      "//a[position() mod 2 = 0]; //b[last()]; //item[1]; (//item)[1]; (//item)[last()]; "
      "//item[not(*)]; //*[text()][1]; //text()[normalize-space()]; //*[contains(., 'gamma')]; "
      "//*[starts-with(@id, 'i1')]; string(//group); string(//note[2]); "
      "string-length(string(/doc)); //processing-instruction('p1'); "
      "//node()[self::comment() or self::processing-instruction()]; //item/..; //item/../..; "
      "//@type/..; //item//b; //item/descendant::*[2]; //group/*[1]/following-sibling::*[1]; "
      "//b/ancestor::*[2]; //*[name() = 'note']/@id; //*[local-name() = 'a'][@type]; "
      "//item | //note; (//item | //note)[5]; //item[@type = //note/@type]; "
      "//item[@n < //b/@n]; //*[number(text()) = 12]; //*[text() = '12']; //*[. = 'x']; "
      "//*[@id = 'i42']; //*[@id = 'i42']/following::*[3]; "
      "//*[@id = 'i99']/preceding::node()[4]; //*[@id = 'i7']/ancestor-or-self::*/@id; "
      "count(//item[@type='y']/preceding-sibling::*); //group[.//b]/@id; "
      "//group[not(.//b)]/@id; /doc/*[last()]/@id; /doc/node()[last()]; /descendant::item[3]; "
      "/descendant::*[position() > 295]; //item[@n][@type='z']; //item[@type='z'][2]; "
      "//*[count(ancestor::*) = 4]; //*[count(ancestor::*) > 5]; "
      "round(sum(//@n) div count(//@n)); floor(count(//*) div 7); //*[@n mod 3 = 0][1]; "
      "//text()[. = '12']/..; //text()[contains(., 'beta')]; "
      "translate(string(//note), 'abc', 'ABC'); substring(string(//item), 2, 5); "
      "concat(//item/@id, '-', //note/@id); normalize-space(string(//group)); "
      "boolean(//item[@n > 19]); //item[@id][@type][@n]; //*[@*[. = 'x']]; //@*[. = 'y']/..; "
      "//*[not(@type)]/@id; count(//*[@type != 'x']); //group/node()[2]; "
      "//*[following-sibling::*[1][self::item]]; "
      "//*[preceding-sibling::*[1][self::group]]/@id; //note//text(); /*; /node(); /; "
      "//b/@id = //a/@id; //b/@n < //a/@n; //b/@n >= //a/@n;";
  for (size_t at = 0, end; at < more.size(); at = end + 2) {
    end = more.find(';', at);
    out.push_back(more.substr(at, end - at));
  }
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
      EXPECT_EQ(answerOfQmdb(db, got.value), answerOfLibxml(expected))
          << e << " (seed " << seed << ")";
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
