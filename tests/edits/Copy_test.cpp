// Copies: what each flag takes along, refusals, copies into the source itself,
// texts crossing two coding stacks, and a one-page cache that every text outlives.
#include <gtest/gtest.h>

#include <string>

#include "Qmdb/Qmdb"
#include "support/TestSupport.h"

namespace {

using qmdb::test::renderAttributes;
using qmdb::test::renderChildren;
using qmdb::test::renderTree;

const auto kType = static_cast<QmdbAttributeType>(3);
const auto kClass = static_cast<QmdbAttributeClass>(4);
const auto kEntityType = static_cast<QmdbEntityType>(9);

std::string text(const char* t) {
  return t != nullptr ? t : "-";
}

// Kind, id, value, notation and attributes of one object, each text copied at once.
std::string describe(Qmdb& db, long x) {
  std::string out = std::to_string(db.objectType(x)) + ":" + text(db.getId(x));
  out += "=" + text(db.getValue(x));
  return out + "/" + text(db.getNotation(x)) + "[" + renderAttributes(db, x) + "];";
}

// Every object of the subtree of `top`, in document order.
std::string dump(Qmdb& db, long top) {
  std::string out = describe(db, top);
  for (long x = db.first(top); x != 0 && x != -top; x = db.next(x, QmdbTree)) {
    if (x > 0) out += describe(db, x);
  }
  return out;
}

TEST(Copy, EachFlagTakesItsPart) {
  Qmdb db;
  long n = db.addNode(1, "p");
  db.addAttribute(n, "one", "1", kType, kClass);
  db.addAttribute(n, "two", nullptr, kType, kClass);
  long s = db.addString(n, "text");
  long e = db.addEntity(n, "ent", "value", kEntityType);
  db.setNotation(e, "gif");
  long pi = db.addPi(n, "target", "data");
  db.addAttribute(pi, "on", "pi", kType, kClass);

  long bare = db.copy(-n, false, false, false, false);
  EXPECT_EQ(dump(db, bare), "1:p=-/-[];");
  EXPECT_FALSE(db.isAttached(bare));
  EXPECT_EQ(dump(db, db.copy(n, true, false, false, false)), "1:p=-/-[one=1:3.4,two=-:3.4];");
  EXPECT_EQ(db.copy(s, true, false, false, false), 0);  // a string needs its text
  EXPECT_EQ(dump(db, db.copy(s, false, true, false, false)), "2:-=text/-[];");
  long ev = db.copy(e, false, true, false, false);
  EXPECT_EQ(dump(db, ev), "3:ent=value/gif[];");
  EXPECT_EQ(db.entityType(ev), 9);
  long en = db.copy(e, false, false, false, false);
  EXPECT_EQ(dump(db, en), "3:ent=-/-[];");
  EXPECT_EQ(db.entityType(en), 9);
  EXPECT_EQ(dump(db, db.copy(pi, true, true, false, false)), "4:target=data/-[on=pi:3.4];");
  EXPECT_EQ(dump(db, db.copy(pi, false, false, false, false)), "4:target=-/-[];");

  // Refusals make nothing.
  long outside = db.addNode(1, "outside");
  long size = db.getSize();
  EXPECT_EQ(db.insertCopy(n, outside, n, true, true, false, false), 0);
  EXPECT_EQ(db.insertTreeCopy(n, 1, n, true, true, false, false), 0);
  EXPECT_EQ(db.addTreeCopy(s, n, true, true, false, false), 0);  // a string is no parent
  EXPECT_EQ(db.copy(nullptr, n, true, true, false, false), 0);
  EXPECT_EQ(db.copy(1, true, true, false, false), 0);
  EXPECT_EQ(db.copy(0, true, true, false, false), 0);
  db.dropObject(outside);  // a dead source object is no object
  EXPECT_EQ(db.copy(outside, true, true, false, false), 0);
  EXPECT_EQ(db.getSize(), size);

  // The tree copy mirrors the source, and may be put inside the source itself.
  EXPECT_EQ(renderTree(db, db.treeCopy(n, false, true, false, false)), "p('text',&ent,?target)");
  EXPECT_EQ(db.treeCopy(n, false, false, false, false), 0);
  long c = db.insertNode(n, s, "c");
  long inside = db.addTreeCopy(c, n, true, true, false, false);
  EXPECT_EQ(renderTree(db, n), "p('text',c(p('text',c,&ent,?target)),&ent,?target)");
  EXPECT_EQ(db.last(c), inside);
  long front = db.insertTreeCopy(1, 0, c, false, true, false, false);
  EXPECT_EQ(db.first(1), front);
  EXPECT_EQ(renderTree(db, front), "c(p('text',c,&ent,?target))");

  // Links: the source's own link, or one back to the source.
  Qmdb other;
  long target = other.addNode(1, "target");
  db.linkToObject(s, &other, target);
  long withLink = db.copy(s, false, true, true, true);
  EXPECT_EQ(db.getLinkedObject(withLink), target);
  EXPECT_EQ(db.getLinkedDatabase(withLink), &other);
  EXPECT_EQ(db.getLinkedObject(db.copy(e, false, true, true, true)), 0);  // e has no link
  long back = other.copy(&db, e, false, true, false, true);
  EXPECT_EQ(other.getLinkedObject(back), e);
  EXPECT_EQ(other.getLinkedDatabase(back), &db);
}

TEST(Copy, TextsLeaveThroughTheSourceCodingAndEnterThroughThisOne) {
  Qmdb source;
  ASSERT_TRUE(source.pushCoding("ISO8859-1"));
  long n = source.addNode(1, "caf\xe9");
  source.addAttribute(n, "\xe9t\xe9", "\xe0", kType, kClass);
  source.addString(n, "cr\xe8me");
  source.popCoding();
  ASSERT_EQ(dump(source, n),
            "1:caf\xc3\xa9=-/-[\xc3\xa9t\xc3\xa9=\xc3\xa0:3.4];2:-=cr\xc3\xa8me/-[];");
  ASSERT_TRUE(source.pushCoding("ISO8859-1"));

  // A transparent target stores the Latin-1 bytes that the source hands out.
  Qmdb target;
  long raw = target.treeCopy(&source, n, true, true, false, false);
  EXPECT_EQ(dump(target, raw), "1:caf\xe9=-/-[\xe9t\xe9=\xe0:3.4];2:-=cr\xe8me/-[];");
  // A target reading Latin-1 turns them back into the source's own bytes.
  ASSERT_TRUE(target.pushCoding("ISO8859-1"));
  long decoded = target.treeCopy(&source, n, true, true, false, false);
  target.popCoding();
  EXPECT_EQ(dump(target, decoded),
            "1:caf\xc3\xa9=-/-[\xc3\xa9t\xc3\xa9=\xc3\xa0:3.4];2:-=cr\xc3\xa8me/-[];");
  ASSERT_TRUE(source.setUpdatable(false));  // a read-only source can still be copied
  EXPECT_NE(target.copy(&source, n, true, true, true, false), 0);
}

TEST(Copy, TextsOutliveACacheOfOneSmallPage) {
  Qmdb db(nullptr, QmdbFileWrite, 1, 1024);
  long top = db.addNode(1, "top");
  for (int i = 0; i < 150; ++i) {
    std::string value = "text " + std::to_string(i) + std::string(static_cast<size_t>(i % 40), '.');
    long item = db.addNode(top, ("item" + std::to_string(i % 7)).c_str());
    db.addAttribute(item, ("name" + std::to_string(i)).c_str(), value.c_str(), kType, kClass);
    db.addString(item, value.c_str());
    if (i % 10 == 0) db.setNotation(db.addEntity(item, "e", value.c_str(), kEntityType), "n");
    if (i % 10 == 5) db.addPi(item, ("pi" + std::to_string(i)).c_str(), value.c_str());
  }
  const std::string expected = dump(db, top);
  long copy = db.addTreeCopy(1, top, true, true, false, false);
  ASSERT_NE(copy, 0);
  EXPECT_EQ(dump(db, copy), expected);

  // Moving to a second such database copies every text across and removes here.
  Qmdb other(nullptr, QmdbFileWrite, 1, 1024);
  long moved = other.moveTree(1, 0, &db, copy);
  ASSERT_NE(moved, 0);
  EXPECT_EQ(dump(other, moved), expected);
  EXPECT_FALSE(db.isAttached(copy));
  long one = other.moveObject(1, moved, &db, top);
  EXPECT_EQ(renderChildren(other, 1), renderTree(other, moved) + ",top");
  EXPECT_EQ(dump(other, one), "1:top=-/-[];");
  EXPECT_EQ(db.count(1, QmdbSiblings), 150);  // top's children took its place
}

}  // namespace
