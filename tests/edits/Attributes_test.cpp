// Attributes: lookup, free, removed and dropped ones, the changed flag, half-made records, codings.
#include <gtest/gtest.h>

#include <string>

#include "Qmdb/Qmdb"
#include "support/TestSupport.h"

namespace {

using qmdb::test::renderAttributes;

const auto kType = static_cast<QmdbAttributeType>(1);
const auto kClass = static_cast<QmdbAttributeClass>(2);
const auto kAnyType = QmdbNoAttributeType;
const auto kAnyClass = QmdbNoAttributeClass;

TEST(Attributes, LookupFindsTheFirstMatchInListOrder) {
  Qmdb db;
  long n = db.addNode(1, "n");
  long first = db.addAttribute(n, "a", "1", kType, kClass);
  long second = db.addAttribute(n, "a", "2", static_cast<QmdbAttributeType>(300), kClass);
  long e = db.addAttribute(n, "B", nullptr, kType, static_cast<QmdbAttributeClass>(7));
  db.addAttribute(n, "\xc3\xa9", "", kType, kClass);
  EXPECT_EQ(renderAttributes(db, n),
            "a=1:1.2,a=2:44.2,B=-:1.7,\xc3\xa9=:1.2");  // type 300 keeps its low byte
  EXPECT_EQ(db.attribute(-n, "a", kAnyType, kAnyClass, true), first);
  EXPECT_EQ(db.nextAttribute(first), second);
  EXPECT_EQ(db.attribute(n, "b", kAnyType, kAnyClass, false), e);
  EXPECT_EQ(db.attribute(n, "b", kAnyType, kAnyClass, true), 0);
  EXPECT_EQ(db.attribute(n, "\xc3\x89", kAnyType, kAnyClass, false), 0);  // only ASCII folds
  EXPECT_EQ(db.attribute(n, nullptr, static_cast<QmdbAttributeType>(300), kAnyClass, true), 0);
  EXPECT_EQ(db.attribute(n, nullptr, static_cast<QmdbAttributeType>(44), kAnyClass, true), second);
  EXPECT_EQ(db.attribute(n, nullptr, kAnyType, static_cast<QmdbAttributeClass>(7), true), e);

  EXPECT_EQ(db.setAttrValue(first, nullptr), first);
  EXPECT_EQ(db.setAttrName(first, nullptr), first);
  EXPECT_EQ(renderAttributes(db, n), "-=-:1.2,a=2:44.2,B=-:1.7,\xc3\xa9=:1.2");
  EXPECT_EQ(db.attribute(n, "a", kAnyType, kAnyClass, true), second);

  long s = db.addString(n, "text");
  long pi = db.addPi(n, "target", nullptr);
  db.addAttribute(pi, "on", "pi", kType, kClass);
  EXPECT_EQ(renderAttributes(db, pi), "on=pi:1.2");
  EXPECT_EQ(db.addAttribute(s, "x", "y", kType, kClass), 0);
  EXPECT_EQ(db.addAttribute(1, "x", "y", kType, kClass), 0);
  EXPECT_EQ(db.addAttribute(n, "x", "y", kAnyType, kClass), 0);
  EXPECT_EQ(db.addAttribute(n, "x", "y", kType, kAnyClass), 0);
  EXPECT_EQ(db.addAttr(1, db.addAttribute(0, "loose", nullptr, kType, kClass)), 0);
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
  EXPECT_FALSE(db.hasChanged());  // attaching leaves the flag alone
  EXPECT_EQ(renderAttributes(db, n), "kept=k:1.2,x=y:1.2");
  EXPECT_EQ(db.addAttr(m, a), 0);

  EXPECT_EQ(db.removeAttribute(n, a), a);
  EXPECT_TRUE(db.hasChanged());
  EXPECT_FALSE(db.isAttrAttached(a));
  EXPECT_EQ(renderAttributes(db, n), "kept=k:1.2");
  EXPECT_EQ(db.addAttr(m, a), a);
  EXPECT_EQ(renderAttributes(db, m), "x=y:1.2");

  EXPECT_FALSE(db.dropAttribute(n, a));  // a belongs to m
  EXPECT_TRUE(db.dropAttribute(m, a));
  EXPECT_TRUE(db.isAttrAttached(a));
  EXPECT_EQ(renderAttributes(db, m), "");
  EXPECT_EQ(db.addAttr(n, a), 0);
  EXPECT_TRUE(db.dropAttribute(n, kept));
  EXPECT_EQ(renderAttributes(db, n), "");
  EXPECT_FALSE(db.isAttrAttached(db.getSize() + 64));  // no record there

  // After clear the holder of free attributes is made anew.
  EXPECT_TRUE(db.clear());
  long again = db.addAttribute(0, "free", nullptr, kType, kClass);
  EXPECT_NE(again, 0);
  EXPECT_FALSE(db.isAttrAttached(again));
}

TEST(Attributes, FailuresLeaveHalfMadeRecordsAndSetTheChangedFlag) {
  Qmdb db(nullptr, QmdbFileWrite, 0, 1024);
  const std::string tooLong(1500, 'x');  // no heap string of it fits a page
  long n = db.addNode(1, "n");
  db.hasChanged();
  EXPECT_EQ(db.addAttribute(0, tooLong.c_str(), "v", kType, kClass), 0);
  EXPECT_FALSE(db.hasChanged());  // only a free attribute made in full counts
  EXPECT_EQ(db.addAttribute(n, tooLong.c_str(), "v", kType, kClass), 0);
  EXPECT_TRUE(db.hasChanged());
  EXPECT_EQ(db.addAttribute(n, "named", tooLong.c_str(), kType, kClass), 0);
  EXPECT_EQ(renderAttributes(db, n), "-=-:0.0,named=-:0.0");  // both stay, never typed
  long half = db.attribute(n, nullptr, kAnyType, kAnyClass, true);
  EXPECT_EQ(db.setAttrValue(half, "v"), 0);
  EXPECT_EQ(db.setAttrName(half, tooLong.c_str()), 0);
  EXPECT_TRUE(db.hasChanged());  // set although the name could not be stored
  EXPECT_EQ(db.setAttrName(half, "h"), half);
  EXPECT_EQ(renderAttributes(db, n), "h=-:0.0,named=-:0.0");
}

TEST(Attributes, ReadOnlyRefusesAndConvertingCodingHoldsOneText) {
  Qmdb db;
  long n = db.addNode(1, "n");
  long a = db.addAttribute(n, "caf\xc3\xa9", "cr\xc3\xa8me", kType, kClass);
  long b = db.addAttribute(n, "b", "v", kType, kClass);
  ASSERT_TRUE(db.pushCoding("LATIN1"));
  char* first = db.attrName(a);
  EXPECT_STREQ(first, "caf\xe9");
  EXPECT_STREQ(db.attrValue(a), "cr\xe8me");
  EXPECT_EQ(db.attrName(b), first);  // one holding string, overwritten
  EXPECT_STREQ(first, "b");
  EXPECT_EQ(db.attribute(n, "CAF\xe9", kAnyType, kAnyClass, false), a);
  db.popCoding();

  ASSERT_TRUE(db.setUpdatable(false));
  db.hasChanged();
  EXPECT_EQ(db.addAttribute(n, "x", "y", kType, kClass), 0);
  EXPECT_EQ(db.addAttribute(0, "x", "y", kType, kClass), 0);
  EXPECT_EQ(db.setAttrValue(a, "z"), 0);
  EXPECT_EQ(db.setAttrName(a, "z"), 0);
  EXPECT_EQ(db.removeAttribute(n, a), 0);
  EXPECT_FALSE(db.dropAttribute(n, a));
  EXPECT_FALSE(db.hasChanged());
  EXPECT_EQ(renderAttributes(db, n), "caf\xc3\xa9=cr\xc3\xa8me:1.2,b=v:1.2");
}

}  // namespace
