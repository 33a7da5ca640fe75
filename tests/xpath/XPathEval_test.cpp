// Location paths, node tests, predicates, operators, variables, errors, index
// use and the C function, on small documents with known answers. Every axis
// from element contexts is compared with libxml2 in XPathReference_test; the
// axis cases here are the ones it does not reach: attribute contexts, the
// root, namespace declarations and the nodes above the document element.
#include <gtest/gtest.h>

#include <Qmdb/QmdbXPath>
#include <Qmdb/qmdbxpath.h>

#include "XmlFixture.h"

namespace qmdb::test {
namespace {

const char* kDocument =
    "<?xml version='1.0'?><!--top--><r xmlns:p='urn:p'>"
    "<a id='1' x='u'>t1<b id='2'>t2</b><c/>t3<?pi data?><!--note--></a>"
    "<a id='3'><b id='4'><b id='5'>deep</b></b></a><p:q p:w='9'/></r>";

class XPathEval : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(loadXml(db_, kDocument)); }
  Qmdb db_;
};

TEST_F(XPathEval, AxesFromAttributesAndTheRoot) {
  expectAll(db_, {{"/r/a[1]/node()", "'t1' b c 't3' ?pi !note"},
                  {"/r/a[1]/@*", "@id=1 @x=u"},
                  {"/r/@*", ""},  // a namespace declaration is no attribute
                  {"//@x/..", "a"},
                  {"//b[@id='5']/ancestor::node()", "/ r a b"},
                  {"//c/following::node()", "'t3' ?pi !note a b b 'deep' p:q"},
                  {"//b[@id='4']/preceding::node()", "!top a 't1' b 't2' c 't3' ?pi !note"},
                  {"/r/a[1]/@id/following::b/@id", "@id=2 @id=4 @id=5"},
                  {"/r/a[1]/@id/preceding::node()", "!top"},
                  {"//c/namespace::*", ""},
                  {"/", "/"},
                  {"/..", ""},
                  {"/node()", "!top r"},
                  {"//@id/self::node()/following-sibling::node()", ""}});
}

TEST_F(XPathEval, NodeTestsAndNames) {
  expectAll(db_, {{"//comment()", "!top !note"},
                  {"//processing-instruction()", "?pi"},
                  {"//processing-instruction('pi')", "?pi"},
                  {"//processing-instruction('other')", ""},
                  {"//p:*", "p:q"},
                  {"//p:q/@p:w", "@p:w=9"},
                  {"//*[local-name()='q']", "p:q"},
                  {"count(//node())", "15"},
                  {"count(//*)", "8"},
                  {"name(//p:q)", "\"p:q\""},
                  {"local-name(//p:q/@p:w)", "\"w\""},
                  {"namespace-uri(//p:q)", "\"urn:p\""},
                  {"namespace-uri(//p:q/@p:w)", "\"urn:p\""},
                  {"namespace-uri(/r)", "\"\""},
                  {"name(//processing-instruction())", "\"pi\""},
                  {"name(//comment())", "\"\""},
                  {"name(//nothing)", "\"\""}});
}

TEST_F(XPathEval, PredicatesPositionsAndFilters) {
  expectAll(db_, {{"//a[2]//b[1]/@id", "@id=4 @id=5"},
                  {"//a[b/b]/@id", "@id=3"},
                  {"//a[1]/node()[position() = last() - 1]", "?pi"},
                  {"//a[1]/node()[self::b or self::c][2]", "c"},
                  {"//a[1]/node()[2][self::b]", "b"},
                  {"//*[@id > 2][last()]/@id", "@id=3 @id=4 @id=5"},
                  {"(//*[@id > 2])[last()]/@id", "@id=5"},
                  {"//b[@id='2'] | //b[@id='2']", "b"},
                  {"//c | //a", "a c a"},
                  {"(//c | //a)[2]", "c"},
                  {"//*/*", "a b c a b b p:q"}});
}

TEST_F(XPathEval, ComparisonsOfEveryType) {
  expectAll(db_, {{"//b/@id = 4", "true"},
                  {"//b/@id > 4", "true"},
                  {"//b/@id > 5", "false"},
                  {"//b/@id < 3", "true"},
                  {"4 < //b/@id", "true"},
                  {"5 < //b/@id", "false"},
                  {"//a/@id = //b/@id", "false"},
                  {"//a/@id != //b/@id", "true"},
                  {"//a/@id < //b/@id", "true"},
                  {"//a/@id >= //b[@id > 3]/@id", "false"},
                  {"//b[@id='5']/@id = //b/@id", "true"},
                  {"//@id = '3'", "true"},
                  {"'3' = //@id", "true"},
                  {"//nothing = //nothing", "false"},
                  {"//nothing != 1", "false"},
                  {"//b = true()", "true"},
                  {"//nothing = false()", "true"},
                  {"true() = 1", "true"},
                  {"'1' = 1", "true"},
                  {"'a' < 'b'", "false"},
                  {"2 > 1 = true()", "true"},
                  {"1 = 1 and 2 = 3 or 4 = 4", "true"},
                  {"0 div 0 = 0 div 0", "false"}});
}

TEST(XPathText, AdjacentStringsAndEntitiesAreOneTextNode) {
  Qmdb db;
  ASSERT_TRUE(loadXml(db, "<!DOCTYPE r [<!ENTITY e 'ent'>]><r>x&e;y<s>abcdefgh</s>tail</r>", true));
  expectAll(db, {{"/node()", "r"},  // the doctype is invisible
                 {"count(/r/text())", "2"},
                 {"/r/text()", "'xenty' 'tail'"},
                 {"string(//s)", "\"abcdefgh\""},
                 {"string(/)", "\"xentyabcdefghtail\""},
                 {"//s/preceding-sibling::node()", "'xenty'"},
                 {"//s/following-sibling::text()", "'tail'"},
                 {"//s/preceding::text()", "'xenty'"},
                 {"/r/text()[1]/following-sibling::node()", "s 'tail'"},
                 {"/r/text()[2]/preceding-sibling::node()[1]", "s"},
                 {"/r/text()[1]/following::node()[1]", "s"}});
  // A context in the middle of a run stands for the whole text node.
  long r = db.first(1);
  while (db.objectType(r) != QmdbNode) r = db.next(r, QmdbSiblings);
  long second = db.next(db.first(r), QmdbSiblings);
  EXPECT_EQ(query(db, "string(.)", second), "\"xenty\"");
  EXPECT_EQ(query(db, "following-sibling::*", second), "s");
}

TEST_F(XPathEval, VariablesOfEachType) {
  QmdbXPath::Variables vars;
  vars["s"] = QmdbXPath::Value::ofString("4");
  vars["n"] = QmdbXPath::Value::ofNumber(2);
  vars["t"] = QmdbXPath::Value::ofBoolean(true);
  QmdbXPath::Result bs = QmdbXPath::evaluate(db_, "//b");
  ASSERT_TRUE(bs);
  std::vector<QmdbXPath::Node> reversed(bs.value.nodes.rbegin(), bs.value.nodes.rend());
  vars["ns"] = QmdbXPath::Value::ofNodes(reversed);
  EXPECT_EQ(query(db_, "//b[@id = $s]/@id", 1, vars), "@id=4");
  EXPECT_EQ(query(db_, "(//b)[$n]/@id", 1, vars), "@id=4");
  EXPECT_EQ(query(db_, "$t and $n = 2", 1, vars), "true");
  EXPECT_EQ(query(db_, "$ns/@id", 1, vars), "@id=2 @id=4 @id=5");
  EXPECT_EQ(query(db_, "$ns[1]/@id", 1, vars), "@id=2");
  EXPECT_EQ(query(db_, "count($ns/..)", 1, vars), "3");
  QmdbXPath::Result unbound = QmdbXPath::evaluate(db_, "1 + $missing", 1, vars);
  EXPECT_FALSE(unbound);
  EXPECT_EQ(unbound.offset, 4);
  EXPECT_NE(unbound.message.find("missing"), std::string::npos);
}

TEST_F(XPathEval, ContextNodeAndForEach) {
  QmdbXPath::Result a = QmdbXPath::evaluate(db_, "/r/a[2]");
  ASSERT_EQ(a.value.nodes.size(), 1u);
  long a2 = a.value.nodes[0].object;
  EXPECT_EQ(query(db_, "b/b/@id", a2), "@id=5");
  EXPECT_EQ(query(db_, "../a/@id", a2), "@id=1 @id=3");
  EXPECT_EQ(query(db_, "/r/p:q", a2), "p:q");
  EXPECT_EQ(query(db_, "string(.)", a2), "\"deep\"");
  std::vector<std::string> seen;
  QmdbXPath::Result r = QmdbXPath::forEach(db_, "//*", 1, {}, [&](const QmdbXPath::Node& n) {
    seen.push_back(renderNode(db_, n));
    return seen.size() < 3;
  });
  EXPECT_TRUE(r);
  EXPECT_TRUE(r.value.nodes.empty());
  EXPECT_EQ(seen, (std::vector<std::string>{"r", "a", "b"}));
  int calls = 0;
  r = QmdbXPath::forEach(db_, "count(//*)", 1, {}, [&](const QmdbXPath::Node&) {
    ++calls;
    return true;
  });
  EXPECT_EQ(r.value.kind, QmdbXPath::Value::Number);
  EXPECT_EQ(r.value.number, 8);
  EXPECT_EQ(calls, 0);
  EXPECT_FALSE(QmdbXPath::evaluate(db_, ".", 999999));
}

TEST_F(XPathEval, MalformedExpressionsNameTheOffset) {
  struct Case {
    const char* expression;
    long offset;
  } cases[] = {
      {"//a[", 4},        {"1 +", 3},     {"foo()", 0},    {"//a/@", 5},   {"'abc", 0},
      {"concat('a')", 0}, {"//a ! b", 4}, {"bogus::a", 0}, {"a b", 2},     {"(1", 2},
      {"1/a", 0},         {"'x'[1]", 0},  {"", 0},         {"//a[1]]", 6}, {"a:", 1},
      {"child::", 7},     {"$", 1},       {"count()", 0},  {"-", 1},       {"a | 1", 4},
  };
  for (const Case& c : cases) {
    QmdbXPath::Result r = QmdbXPath::evaluate(db_, c.expression);
    EXPECT_FALSE(r) << c.expression;
    EXPECT_EQ(r.offset, c.offset) << c.expression << ": " << r.message;
    EXPECT_FALSE(r.message.empty());
  }
}

TEST(XPathIndex, EqualityPredicatesUseACoveringIndex) {
  Qmdb db;
  std::string xml = "<list>";
  for (int i = 0; i < 40; ++i) {
    xml +=
        "<item id='k" + std::to_string(i % 10) + "'><name>n" + std::to_string(i) + "</name></item>";
  }
  xml += "<other id='k3'/></list>";
  ASSERT_TRUE(loadXml(db, xml));
  const char* expressions[] = {"//item[@id='k3']/name",
                               "count(//item[@id='k3'])",
                               "//item[@id='k3'][2]/name",
                               "//item['k7' = @id][last()]/name",
                               "//list//item[@id='k3'][name='n13']/name",
                               "//item[.='n5']/name",
                               "//item[@id='none']"};
  std::vector<std::string> walked;
  for (const char* e : expressions) walked.push_back(query(db, e));
  EXPECT_EQ(walked[0], "name name name name");
  EXPECT_EQ(walked[1], "4");
  EXPECT_EQ(walked[2], "name");
  expectAll(db, {{"string(//item[@id='k3'][2]/name)", "\"n13\""}});

  long byId = db.addIndex("item/@id");
  long byText = db.addIndex("item/text()");
  QmdbXPath::Result items = QmdbXPath::evaluate(db, "//item");
  for (const QmdbXPath::Node& n : items.value.nodes) {
    long a = db.attribute(n.object, "id", QmdbNoAttributeType, QmdbNoAttributeClass, true);
    std::string key = db.attrValue(a);
    ASSERT_NE(db.putIndex(byId, n.object, key.c_str(), false), 0);
    std::string text = QmdbXPath::stringValue(db, n);
    ASSERT_NE(db.putIndex(byText, n.object, text.c_str(), false), 0);
  }
  // A stale entry (an item whose id is no longer k3) is checked and dropped.
  db.putIndex(byId, items.value.nodes[0].object, "k3", false);
  for (size_t i = 0; i < walked.size(); ++i) {
    EXPECT_EQ(query(db, expressions[i]), walked[i]) << expressions[i];
  }
  // The index is what answers: entries taken out of it are no longer found.
  char k3[] = "k3";
  db.pullIndex(nullptr, byId, k3, nullptr);
  expectAll(db, {{"count(//item[@id='k3'])", "0"}, {"count(//item[@id='k4'])", "4"}});
}

TEST_F(XPathEval, TheCFunction) {
  QmdbXPathResult r;
  ASSERT_EQ(QmdbXPath_evaluate(&db_, "//b/@id", 1, nullptr, nullptr, 0, &r), 1);
  EXPECT_EQ(r.kind, QmdbXPathNodeSet);
  ASSERT_EQ(r.count, 3);
  EXPECT_NE(r.nodes[0].attribute, 0);
  EXPECT_STREQ(db_.attrValue(r.nodes[2].attribute), "5");
  QmdbXPath_free(&r);
  const char* names[] = {"v"};
  const char* values[] = {"4"};
  ASSERT_EQ(QmdbXPath_evaluate(&db_, "concat('id=', //b[@id=$v]/@id)", 1, names, values, 1, &r), 1);
  EXPECT_EQ(r.kind, QmdbXPathString);
  EXPECT_STREQ(r.string, "id=4");
  QmdbXPath_free(&r);
  ASSERT_EQ(QmdbXPath_evaluate(&db_, "count(//b) * 1.5", 1, nullptr, nullptr, 0, &r), 1);
  EXPECT_EQ(r.number, 4.5);
  QmdbXPath_free(&r);
  EXPECT_EQ(QmdbXPath_evaluate(&db_, "//b[", 1, nullptr, nullptr, 0, &r), 0);
  EXPECT_EQ(r.ok, 0);
  EXPECT_EQ(r.offset, 4);
  EXPECT_NE(r.string, nullptr);
  QmdbXPath_free(&r);
  EXPECT_EQ(QmdbXPath_evaluate(nullptr, "1", 1, nullptr, nullptr, 0, &r), 0);
}

}  // namespace
}  // namespace qmdb::test
