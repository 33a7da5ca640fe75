// Ids, values and notations: which kinds have them, clearing, and texts through codings.
#include <gtest/gtest.h>

#include <string>

#include "Qmdb/Qmdb"

namespace {

TEST(Properties, EachKindHasItsOwnTexts) {
  Qmdb db;
  long n = db.addNode(1, "n");
  long s = db.addString(n, "text");
  long e = db.addEntity(n, "ent", "value", static_cast<QmdbEntityType>(7));
  long p = db.addPi(n, "target", "data");

  EXPECT_EQ(db.setGid(n, "g"), n);
  EXPECT_STREQ(db.getId(n), "g");
  EXPECT_EQ(db.setId(e, "m"), e);
  EXPECT_STREQ(db.getGid(e), "m");
  EXPECT_EQ(db.getId(s), nullptr);
  EXPECT_EQ(db.setId(s, "x"), 0);
  EXPECT_EQ(db.setId(-n, "h"), n);
  EXPECT_EQ(db.setId(n, nullptr), n);
  EXPECT_EQ(db.getId(n), nullptr);
  EXPECT_EQ(db.setId(1, "root"), 0);

  EXPECT_EQ(db.setValue(s, nullptr), 0);
  EXPECT_STREQ(db.getValue(s), "text");
  EXPECT_EQ(db.setValue(s, "new"), s);
  EXPECT_STREQ(db.getValue(s), "new");
  EXPECT_EQ(db.setValue(e, "v2"), e);
  EXPECT_EQ(db.entityType(e), 7);
  EXPECT_EQ(db.setValue(e, nullptr), e);
  EXPECT_EQ(db.getValue(e), nullptr);
  EXPECT_EQ(db.entityType(e), 7);
  EXPECT_EQ(db.setValue(p, nullptr), p);
  EXPECT_EQ(db.getValue(p), nullptr);
  EXPECT_EQ(db.setValue(n, "v"), 0);
  EXPECT_EQ(db.getValue(n), nullptr);

  EXPECT_EQ(db.setNotation(e, "gif"), e);
  EXPECT_STREQ(db.getNotation(e), "gif");
  EXPECT_EQ(db.setNotation(p, "gif"), 0);
  EXPECT_EQ(db.getNotation(p), nullptr);
  EXPECT_EQ(db.setNotation(e, nullptr), e);
  EXPECT_EQ(db.getNotation(e), nullptr);

  // A refused change leaves the changed flag alone.
  db.hasChanged();
  EXPECT_EQ(db.setValue(n, "v"), 0);
  EXPECT_FALSE(db.hasChanged());
  std::string big(300000, 'x');
  EXPECT_EQ(db.setValue(s, big.c_str()), 0);
  EXPECT_STREQ(db.getValue(s), "new");
}

TEST(Properties, ConvertingCodingHoldsOneResultPerGetter) {
  Qmdb db;
  long a = db.addString(1, "caf\xc3\xa9");  // UTF-8 in, with the transparent coding
  long b = db.addString(1, "b");
  long n = db.addNode(1, "n\xc3\xa9");
  // Transparent: the text points into the page frame, without copying.
  const char* direct = db.getValue(a);
  EXPECT_EQ(direct, db.getValue(a));

  ASSERT_TRUE(db.pushCoding("ISO8859-1"));
  char* first = db.getValue(a);
  EXPECT_STREQ(first, "caf\xe9");
  char* id = db.getId(n);
  char* second = db.getValue(b);
  EXPECT_EQ(first, second);  // one holding string per getter
  EXPECT_STREQ(second, "b");
  EXPECT_STREQ(id, "n\xe9");  // getId keeps its own
  long c = db.addString(1, "\xe0 la");
  ASSERT_TRUE(db.popCoding());
  EXPECT_STREQ(db.getValue(c), "\xc3\xa0 la");
  ASSERT_TRUE(db.pushCoding("ISO8859-1"));
  long u = db.addString(1, "\xff");
  db.popCoding();
  EXPECT_STREQ(db.getValue(u), "\xc3\xbf");
  long euro = db.addString(1, "\xe2\x82\xac");
  db.pushCoding("LATIN1");
  EXPECT_STREQ(db.getValue(euro), "?");  // no such character in Latin-1
}

}  // namespace
