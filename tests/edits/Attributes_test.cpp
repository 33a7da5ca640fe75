// Attributes: lookup rules, free, removed and dropped attributes, the
// changed flag, and texts through a converting coding.
#include <gtest/gtest.h>

#include <string>

#include "Qmdb/Qmdb"

namespace {

const auto kType = static_cast<QmdbAttributeType>(1);
const auto kClass = static_cast<QmdbAttributeClass>(2);

std::string names(Qmdb& db, long object) {
  std::string out;
  for (long a = db.attribute(object, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, true);
       a != 0; a = db.nextAttribute(a)) {
    const char* name = db.attrName(a);
    const char* value = db.attrValue(a);
    out += std::string(out.empty() ? "" : ",") + (name != nullptr ? name : "-") + "=" +
           (value != nullptr ? value : "-");
  }
  return out;
}

TEST(Attributes, LookupFindsTheFirstMatchInListOrder) {
  Qmdb db;
  long n = db.addNode(1, "n");
  long first = db.addAttribute(n, "a", "1", kType, kClass);
  long second = db.addAttribute(n, "a", "2", static_cast<QmdbAttributeType>(300), kClass);
  long e = db.addAttribute(n, "B", nullptr, kType, static_cast<QmdbAttributeClass>(7));
  EXPECT_EQ(names(db, n), "a=1,a=2,B=-");
  EXPECT_EQ(db.attribute(n, "a", QmdbNoAttributeType, QmdbNoAttributeClass, true), first);
  EXPECT_EQ(db.nextAttribute(first), second);
  EXPECT_EQ(db.attribute(n, "b", QmdbNoAttributeType, QmdbNoAttributeClass, false), e);
  EXPECT_EQ(db.attribute(n, "b", QmdbNoAttributeType, QmdbNoAttributeClass, true), 0);
  EXPECT_EQ(db.attrType(second), 44);
  EXPECT_EQ(db.attribute(n, nullptr, static_cast<QmdbAttributeType>(300), QmdbNoAttributeClass, true), 0);
  EXPECT_EQ(db.attribute(n, nullptr, static_cast<QmdbAttributeType>(44), QmdbNoAttributeClass, true), second);
  EXPECT_EQ(db.attribute(n, nullptr, QmdbNoAttributeType, static_cast<QmdbAttributeClass>(7), true), e);
  EXPECT_EQ(db.attribute(-n, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, true), first);

  EXPECT_EQ(db.setAttrValue(first, nullptr), first);
  EXPECT_EQ(db.attrValue(first), nullptr);
  EXPECT_EQ(db.attrType(first), 1);
  EXPECT_EQ(db.setAttrName(first, nullptr), first);
  EXPECT_EQ(db.attribute(n, "a", QmdbNoAttributeType, QmdbNoAttributeClass, true), second);

  long s = db.addString(n, "text");
  EXPECT_EQ(db.addAttribute(s, "x", "y", kType, kClass), 0);
  EXPECT_EQ(db.addAttribute(1, "x", "y", kType, kClass), 0);
  EXPECT_EQ(db.addAttribute(n, "x", "y", QmdbNoAttributeType, kClass), 0);
  EXPECT_EQ(db.addAttribute(n, "x", "y", kType, QmdbNoAttributeClass), 0);
  long entity = db.addEntity(n, "ent", "v", static_cast<QmdbEntityType>(1));
  long pi = db.addPi(n, "target", nullptr);
  EXPECT_NE(db.addAttribute(entity, "on", "entity", kType, kClass), 0);
  EXPECT_NE(db.addAttribute(pi, "on", "pi", kType, kClass), 0);
  EXPECT_EQ(names(db, pi), "on=pi");
}

TEST(Attributes, FreeRemovedAndDroppedAttributesAndTheChangedFlag) {
  Qmdb db;
  long n = db.addNode(1, "n");
  long m = db.addNode(1, "m");
  long kept = db.addAttribute(n, "kept", "k", kType, kClass);
  long a = db.addAttribute(0, "x", "y", kType, kClass);
  EXPECT_FALSE(db.isAttrAttached(a));
  EXPECT_EQ(db.nextAttribute(a), 0);
  db.hasChanged();
  EXPECT_EQ(db.addAttr(n, a), a);
  EXPECT_FALSE(db.hasChanged());  // attaching changes no text
  EXPECT_EQ(names(db, n), "kept=k,x=y");
  EXPECT_EQ(db.addAttr(m, a), 0);

  EXPECT_EQ(db.removeAttribute(n, a), a);
  EXPECT_TRUE(db.hasChanged());
  EXPECT_FALSE(db.isAttrAttached(a));
  EXPECT_EQ(names(db, n), "kept=k");
  EXPECT_EQ(db.addAttr(m, a), a);
  EXPECT_EQ(names(db, m), "x=y");
  EXPECT_EQ(db.attrType(a), 1);
  EXPECT_EQ(db.attrClass(a), 2);

  EXPECT_FALSE(db.dropAttribute(n, a));  // a belongs to m
  EXPECT_TRUE(db.dropAttribute(m, a));
  EXPECT_TRUE(db.isAttrAttached(a));
  EXPECT_EQ(names(db, m), "");
  EXPECT_EQ(db.addAttr(n, a), 0);
  EXPECT_TRUE(db.dropAttribute(n, kept));
  EXPECT_EQ(db.attribute(n, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, true), 0);

  // After clear the holder of free attributes is made anew.
  EXPECT_TRUE(db.clear());
  long again = db.addAttribute(0, "free", nullptr, kType, kClass);
  EXPECT_NE(again, 0);
  EXPECT_FALSE(db.isAttrAttached(again));
}

TEST(Attributes, ReadOnlyRefusesAndConvertingCodingHoldsOneText) {
  Qmdb db;
  long n = db.addNode(1, "n");
  long a = db.addAttribute(n, "caf\xc3\xa9", "cr\xc3\xa8me", kType, kClass);
  long b = db.addAttribute(n, "b", "v", kType, kClass);
  const char* direct = db.attrName(a);
  EXPECT_EQ(direct, db.attrName(a));  // a pointer into the page frame
  ASSERT_TRUE(db.pushCoding("LATIN1"));
  char* first = db.attrName(a);
  EXPECT_STREQ(first, "caf\xe9");
  EXPECT_STREQ(db.attrValue(a), "cr\xe8me");
  char* second = db.attrName(b);
  EXPECT_EQ(first, second);
  EXPECT_EQ(db.attribute(n, "CAF\xe9", QmdbNoAttributeType, QmdbNoAttributeClass, false), a);
  EXPECT_EQ(db.attribute(n, "caf\xe9", QmdbNoAttributeType, QmdbNoAttributeClass, true), a);
  db.popCoding();

  ASSERT_TRUE(db.setUpdatable(false));
  db.hasChanged();
  EXPECT_EQ(db.addAttribute(n, "x", "y", kType, kClass), 0);
  EXPECT_EQ(db.addAttribute(0, "x", "y", kType, kClass), 0);
  EXPECT_EQ(db.setAttrValue(a, "z"), 0);
  EXPECT_EQ(db.removeAttribute(n, a), 0);
  EXPECT_FALSE(db.dropAttribute(n, a));
  EXPECT_FALSE(db.hasChanged());
  EXPECT_STREQ(db.attrValue(b), "v");
}

}  // namespace
