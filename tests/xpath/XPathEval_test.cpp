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
  expectAll(db_, {{"//p:*", "p:q"},
                  {"//p:q/@p:w", "@p:w=9"},
                  {"//*[local-name()='q']", "p:q"},
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
                  {"//*/*", "a b c a b b p:q"}});
}

TEST_F(XPathEval, ComparisonsOfEveryType) {
  expectAll(db_, {{"//b/@id = 4", "true"},
                  {"//b/@id > 4", "true"},
                  {"//b/@id > 5", "false"},
                  {"//b/@id < 3", "true"},
                  {"4 < //b/@id", "true"},
                  {"5 < //b/@id", "false"},
                  {"//b[@id='5']/@id = //b/@id", "true"},
                  {"//b[@id='5']/@id != //b/@id", "true"},
                  {"//a/@id >= //b/@id", "true"},
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
  expectAll(db, {{"string(.)", "\"xenty\""}, {"following-sibling::*", "s"}}, second);
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
  expectAll(db_,
            {{"//b[@id = $s]/@id", "@id=4"},
             {"(//b)[$n]/@id", "@id=4"},
             {"$t and $n = 2", "true"},
             {"$ns/@id", "@id=2 @id=4 @id=5"},
             {"$ns[1]/@id", "@id=2"},
             {"count($ns/..)", "3"},
             {"1 + $missing", "ERROR@4"}},
            1, vars);
  EXPECT_NE(QmdbXPath::evaluate(db_, "$missing").message.find("missing"), std::string::npos);
}

TEST_F(XPathEval, ContextNodeAndForEach) {
  QmdbXPath::Result a = QmdbXPath::evaluate(db_, "/r/a[2]");
  ASSERT_EQ(a.value.nodes.size(), 1u);
  long a2 = a.value.nodes[0].object;
  expectAll(db_,
            {{"b/b/@id", "@id=5"},
             {"../a/@id", "@id=1 @id=3"},
             {"/r/p:q", "p:q"},
             {"string(.)", "\"deep\""}},
            a2);
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
  expectAll(db_, {{"//a[", "ERROR@4"},    {"1 +", "ERROR@3"},      {"foo()", "ERROR@0"},
                  {"//a/@", "ERROR@5"},   {"'abc", "ERROR@0"},     {"concat('a')", "ERROR@0"},
                  {"//a ! b", "ERROR@4"}, {"bogus::a", "ERROR@0"}, {"a b", "ERROR@2"},
                  {"(1", "ERROR@2"},      {"1/a", "ERROR@0"},      {"'x'[1]", "ERROR@0"},
                  {"", "ERROR@0"},        {"//a[1]]", "ERROR@6"},  {"a:", "ERROR@1"},
                  {"child::", "ERROR@7"}, {"$", "ERROR@1"},        {"count()", "ERROR@0"},
                  {"-", "ERROR@1"},       {"a | 1", "ERROR@4"}});
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
  // The same answers without and with the indexes.
  const std::vector<Case> cases = {{"//item[@id='k3']/name", "name name name name"},
                                   {"count(//item[@id='k3'])", "4"},
                                   {"string(//item[@id='k3'][2]/name)", "\"n13\""},
                                   {"string(//item['k7' = @id][last()]/name)", "\"n37\""},
                                   {"string(//list//item[@id='k3'][name='n13'])", "\"n13\""},
                                   {"string(//item[.='n5']/name)", "\"n5\""},
                                   {"//item[@id='none']", ""}};
  expectAll(db, cases);
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
  expectAll(db, cases);
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
