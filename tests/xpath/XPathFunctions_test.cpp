// The core function library and the number and string conversions, with the
// recommendation's edge cases: NaN, infinities, negative zero, rounding,
// whitespace around numbers, characters beyond ASCII.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>

#include <Qmdb/QmdbXPath>

#include "XmlFixture.h"

namespace qmdb::test {
namespace {

// NaN, the infinities and negative zero are written by the tables below, whose
// numbers pass through numberToString.
TEST(XPathNumbers, WrittenAndReadAsTheRecommendationSays) {
  using QmdbXPath::numberToString;
  using QmdbXPath::stringToNumber;
  const std::pair<double, const char*> written[] = {
      {0.1 + 0.2, "0.30000000000000004"}, {1.0 / 3, "0.3333333333333333"},
      {1e21, "1000000000000000000000"},   {1e-7, "0.0000001"},
      {123456.789, "123456.789"},         {9007199254740993.0, "9007199254740992"}};
  for (const auto& [x, text] : written) EXPECT_EQ(numberToString(x), text);
  const std::pair<std::string, double> read[] = {
      {" \t12\n", 12},
      {"-.5", -0.5},
      {"5.", 5},
      {"1" + std::string(400, '0'), std::numeric_limits<double>::infinity()},
      {"0." + std::string(400, '0') + "1", 0}};
  for (const auto& [text, x] : read) EXPECT_EQ(stringToNumber(text), x) << text;
  for (const char* bad : {"", " ", "-", ".", "+1", "1 2", "0x10", "1..2", "--1", "Infinity", "NaN",
                          "\xc2\xa0"
                          "1"}) {
    EXPECT_TRUE(std::isnan(stringToNumber(bad))) << bad;
  }
}

TEST(XPathFunctions, NumbersAndArithmetic) {
  Qmdb db;
  ASSERT_TRUE(loadXml(db, "<r><v>2</v><v> 3.5 </v><v>x</v></r>"));
  expectAll(db, {{"1 div 0", "Infinity"},
                 {"-1 div 0", "-Infinity"},
                 {"0 div 0", "NaN"},
                 {"-0", "0"},
                 {"1 div -0", "-Infinity"},
                 {"5 mod 2", "1"},
                 {"-5 mod 2", "-1"},
                 {"5 mod -2", "1"},
                 {"5.5 mod 2", "1.5"},
                 {"2 + 3 * 4", "14"},
                 {"(2 + 3) * 4", "20"},
                 {"10 - 2 - 3", "5"},
                 {"- - 3", "3"},
                 {"7 div 2", "3.5"},
                 {"number(' 12 ')", "12"},
                 {"number('1e3')", "NaN"},
                 {"number('.5')", "0.5"},
                 {"1 div number(' -0 ')", "-Infinity"},
                 {"number(true())", "1"},
                 {"number(//v[2])", "3.5"},
                 {"number()", "NaN"},
                 {"round(2.5)", "3"},
                 {"round(-2.5)", "-2"},
                 {"round(-1.6)", "-2"},
                 {"1 div round(-0.4)", "-Infinity"},
                 {"1 div round(-0)", "-Infinity"},
                 {"round(0 div 0)", "NaN"},
                 {"round(1 div 0)", "Infinity"},
                 {"floor(-1.5)", "-2"},
                 {"ceiling(-1.5)", "-1"},
                 {"1 div ceiling(-0.5)", "-Infinity"},
                 {"floor(2)", "2"},
                 {"sum(//v[position() < 3])", "5.5"},
                 {"sum(//v)", "NaN"},
                 {"sum(//nothing)", "0"},
                 {"string(//v[position() = last() - 1])", "\" 3.5 \""}});
}

TEST(XPathFunctions, StringsAndBooleans) {
  Qmdb db;
  ASSERT_TRUE(loadXml(db,
                      "<r xml:lang='en-GB'><s>  a  b \n c </s><t xml:lang='fr'>h\xc3\xa9llo</t>"
                      "<x xml:id='a1'/><x xml:id='b2'/><ref>b2 a1</ref></r>"));
  expectAll(db, {{"string(1 div 0)", "\"Infinity\""},
                 {"string(true())", "\"true\""},
                 {"string(//nothing)", "\"\""},
                 {"string(0.5)", "\"0.5\""},
                 {"boolean('')", "false"},
                 {"boolean('0')", "true"},
                 {"boolean(0 div 0)", "false"},
                 {"boolean(-0)", "false"},
                 {"boolean(//nothing)", "false"},
                 {"not(//s)", "false"},
                 {"true() and not(false())", "true"},
                 {"substring('12345', 1.5, 2.6)", "\"234\""},
                 {"substring('12345', 0, 3)", "\"12\""},
                 {"substring('12345', 0 div 0, 3)", "\"\""},
                 {"substring('12345', 1, 0 div 0)", "\"\""},
                 {"substring('12345', -42, 1 div 0)", "\"12345\""},
                 {"substring('12345', -1 div 0, 1 div 0)", "\"\""},
                 {"substring('12345', 2)", "\"2345\""},
                 {"substring(//t, 2, 2)", "\"\xc3\xa9l\""},
                 {"string-length(//t)", "5"},
                 {"string-length('')", "0"},
                 {"translate('bar', 'abc', 'ABC')", "\"BAr\""},
                 {"translate('--aaa--', 'abc-', 'ABC')", "\"AAA\""},
                 {"translate(//t, '\xc3\xa9l', 'eL')", "\"heLLo\""},
                 {"translate('aa', 'aa', 'xy')", "\"xx\""},
                 {"normalize-space(//s)", "\"a b c\""},
                 {"normalize-space('   ')", "\"\""},
                 {"concat('a', 1, true(), //t)", "\"a1trueh\xc3\xa9llo\""},
                 {"starts-with('abc', 'ab')", "true"},
                 {"starts-with('abc', 'b')", "false"},
                 {"contains('abc', '')", "true"},
                 {"contains('abc', 'bd')", "false"},
                 {"substring-before('1999/04/01', '/')", "\"1999\""},
                 {"substring-after('1999/04/01', '/')", "\"04/01\""},
                 {"substring-after('abc', '')", "\"abc\""},
                 {"substring-before('abc', 'x')", "\"\""},
                 {"//s[lang('en')]", "s"},
                 {"//s[lang('EN-gb')]", "s"},
                 {"//t[lang('en')]", ""},
                 {"//t[lang('fr')]", "t"},
                 {"//s/text()[lang('e')]", ""},
                 {"id('b2 a1')", "x x"},
                 {"id('b2')/preceding-sibling::x/@xml:id", "@xml:id=a1"},
                 {"id(//ref)/@xml:id", "@xml:id=a1 @xml:id=b2"},
                 {"id('zz')", ""}});
  // Inside a predicate, position() and last() are of the step's own context.
  expectAll(db, {{"//x[position() = last()]/@xml:id", "@xml:id=b2"},
                 {"count(//*[count(*) = 0])", "5"},
                 {"//*[string-length(name()) = 3]", "ref"}});
}

}  // namespace
}  // namespace qmdb::test
