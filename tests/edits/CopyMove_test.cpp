// Copying, removing, dropping and moving objects and trees, within one
// database and across two, also through a cache of one small page.
#include <gtest/gtest.h>

#include <string>

#include "Qmdb/Qmdb"
#include "support/TestSupport.h"

namespace {

using qmdb::test::renderChildren;
using qmdb::test::renderTree;

const auto kType = static_cast<QmdbAttributeType>(3);
const auto kClass = static_cast<QmdbAttributeClass>(4);

// p(x, n(a, b), y) under the root.
struct Sample {
  long p, x, n, a, b, y;
  explicit Sample(Qmdb& db) {
    p = db.addNode(1, "p");
    x = db.addNode(p, "x");
    n = db.addNode(p, "n");
    a = db.addNode(n, "a");
    b = db.addString(n, "b");
    y = db.addNode(p, "y");
  }
};

TEST(CopyMove, RemovingDroppingAndMovingWithinOneDatabase) {
  Qmdb db;
  Sample t(db);
  EXPECT_EQ(db.removeObject(-t.n), t.n);
  EXPECT_EQ(renderChildren(db, t.p), "x,a,'b',y");
  EXPECT_FALSE(db.isAttached(t.n));
  EXPECT_TRUE(db.isObject(t.n, QmdbNode));
  EXPECT_EQ(db.moveObject(t.p, t.x, t.n), t.n);
  EXPECT_EQ(renderChildren(db, t.p), "x,n,a,'b',y");
  EXPECT_EQ(db.removeObject(1), 0);
  EXPECT_EQ(db.removeObject(0), 0);

  Qmdb db2;
  Sample u(db2);
  EXPECT_EQ(db2.removeTree(u.n), u.n);
  EXPECT_EQ(renderChildren(db2, u.p), "x,y");
  EXPECT_EQ(renderTree(db2, u.n), "n(a,'b')");
  EXPECT_EQ(db2.moveTree(1, 0, u.n), u.n);
  EXPECT_EQ(renderChildren(db2, 1), "n(a,'b'),p(x,y)");
  // A node may move under its former child, which first takes its place.
  EXPECT_EQ(db2.moveObject(u.a, 0, u.n), u.n);
  EXPECT_EQ(renderChildren(db2, 1), "a(n),'b',p(x,y)");
  EXPECT_EQ(db2.moveObject(u.n, 0, u.n), 0);
  // A tree may not move into itself.
  EXPECT_EQ(db2.moveTree(u.n, 0, u.a), 0);
  EXPECT_EQ(db2.moveTree(u.a, 0, u.a), 0);
  EXPECT_EQ(db2.moveTree(u.p, u.a, u.x), 0);  // a is no child of p
  EXPECT_EQ(renderChildren(db2, 1), "a(n),'b',p(x,y)");

  EXPECT_TRUE(db.dropObject(t.n));
  EXPECT_EQ(db.objectType(t.n), QmdbNoObject);
  EXPECT_FALSE(db.isObject(t.n, QmdbNoObject));
  EXPECT_EQ(renderChildren(db, t.p), "x,a,'b',y");
  long q = db.addNode(t.y, "q");
  long r = db.addString(q, "r");
  EXPECT_TRUE(db.dropTree(t.y));
  for (long dead : {t.y, q, r}) EXPECT_EQ(db.objectType(dead), QmdbNoObject);
  EXPECT_EQ(renderChildren(db, t.p), "x,a,'b'");

  ASSERT_TRUE(db.setUpdatable(false));
  db.hasChanged();
  EXPECT_EQ(db.removeObject(t.x), 0);
  EXPECT_FALSE(db.dropTree(t.x));
  EXPECT_EQ(db.moveTree(1, 0, t.x), 0);
  EXPECT_FALSE(db.hasChanged());
}

TEST(CopyMove, CopiesTakeWhatTheFlagsSay) {
  Qmdb db;
  long n = db.addNode(1, "p");
  db.addAttribute(n, "one", "1", kType, kClass);
  db.addAttribute(n, "two", nullptr, kType, kClass);
  long s = db.addString(n, "text");
  long e = db.addEntity(n, "ent", "value", static_cast<QmdbEntityType>(9));
  db.setNotation(e, "gif");

  long bare = db.copy(n, false, false, false, false);
  EXPECT_EQ(renderTree(db, bare), "p");
  EXPECT_FALSE(db.isAttached(bare));
  EXPECT_EQ(db.attribute(bare, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, true), 0);
  long full = db.copy(n, true, false, false, false);
  long a = db.attribute(full, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, true);
  EXPECT_STREQ(db.attrName(a), "one");
  EXPECT_STREQ(db.attrValue(a), "1");
  EXPECT_EQ(db.attrType(a), 3);
  EXPECT_EQ(db.attrClass(a), 4);
  EXPECT_STREQ(db.attrName(db.nextAttribute(a)), "two");
  EXPECT_EQ(db.attrValue(db.nextAttribute(a)), nullptr);

  EXPECT_EQ(db.copy(s, true, false, false, false), 0);
  EXPECT_STREQ(db.getValue(db.copy(s, false, true, false, false)), "text");
  long ev = db.copy(e, false, true, false, false);
  EXPECT_STREQ(db.getId(ev), "ent");
  EXPECT_STREQ(db.getValue(ev), "value");
  EXPECT_STREQ(db.getNotation(ev), "gif");
  EXPECT_EQ(db.entityType(ev), 9);
  long en = db.copy(e, false, false, false, false);
  EXPECT_EQ(db.getValue(en), nullptr);
  EXPECT_EQ(db.getNotation(en), nullptr);
  EXPECT_EQ(db.entityType(en), 9);

  // The tree copy mirrors the source, and may go inside the source itself.
  long tree = db.treeCopy(n, false, true, false, false);
  EXPECT_EQ(renderTree(db, tree), "p('text',&ent)");
  long c = db.addNode(n, "c");
  EXPECT_NE(db.addTreeCopy(c, n, false, true, false, false), 0);
  EXPECT_EQ(renderTree(db, n), "p('text',&ent,c(p('text',&ent,c)))");
  EXPECT_EQ(db.treeCopy(n, false, false, false, false), 0);  // a string needs its text

  // Links: the source's own link, or one back to the source.
  Qmdb other;
  long target = other.addNode(1, "target");
  db.linkToObject(s, &other, target);
  long withLink = db.copy(s, false, true, true, true);
  EXPECT_EQ(db.getLinkedObject(withLink), target);
  EXPECT_EQ(db.getLinkedDatabase(withLink), &other);
  long noLink = db.copy(e, false, true, true, true);  // e has no link: flag 4 is not looked at
  EXPECT_EQ(db.getLinkedObject(noLink), 0);
  long back = db.copy(e, false, true, false, true);
  EXPECT_EQ(db.getLinkedObject(back), e);
  EXPECT_EQ(db.getLinkedDatabase(back), &db);

  long outside = db.addNode(1, "outside");
  EXPECT_EQ(db.insertCopy(n, outside, n, true, true, false, false), 0);
}

TEST(CopyMove, AcrossDatabasesWithDifferentCodings) {
  Qmdb source;
  ASSERT_TRUE(source.pushCoding("ISO8859-1"));
  long n = source.addNode(1, "caf\xe9");
  source.addAttribute(n, "\xe9t\xe9", "\xe0", kType, kClass);
  long s = source.addString(n, "cr\xe8me");
  // Texts leave in the source's coding and enter in the target's.
  Qmdb target;
  ASSERT_TRUE(target.pushCoding("CP1252"));
  long copied = target.addTreeCopy(1, &source, n, true, true, true, false);
  ASSERT_TRUE(target.popCoding());  // read back as stored: UTF-8
  EXPECT_EQ(renderChildren(target, 1), "caf\xc3\xa9('cr\xc3\xa8me')");
  long a = target.attribute(copied, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, true);
  EXPECT_STREQ(target.attrName(a), "\xc3\xa9t\xc3\xa9");
  EXPECT_STREQ(target.attrValue(a), "\xc3\xa0");

  // Moving across copies there and removes here; the source object stays valid.
  target.pushCoding("CP1252");
  long moved = target.moveObject(copied, 0, &source, s);
  target.popCoding();
  EXPECT_NE(moved, 0);
  EXPECT_NE(moved, s);
  EXPECT_FALSE(source.isAttached(s));
  EXPECT_TRUE(source.isObject(s, QmdbString));
  EXPECT_EQ(renderChildren(target, 1), "caf\xc3\xa9('cr\xc3\xa8me','cr\xc3\xa8me')");
  long tree = target.moveTree(1, 0, &source, n);
  EXPECT_NE(tree, 0);
  EXPECT_EQ(source.first(1), 0);
  EXPECT_EQ(target.first(1), tree);
  ASSERT_TRUE(source.setUpdatable(false));
  EXPECT_EQ(target.moveTree(1, 0, &source, n), 0);  // the source must be updatable
}

TEST(CopyMove, TextsSurviveACacheOfOneSmallPage) {
  Qmdb db(nullptr, QmdbFileWrite, 1, 1024);
  long top = db.addNode(1, "top");
  std::string expected;
  for (int i = 0; i < 150; ++i) {
    std::string text = "text number " + std::to_string(i) + std::string(static_cast<size_t>(i % 40), '.');
    long item = db.addNode(top, ("item" + std::to_string(i % 7)).c_str());
    db.addAttribute(item, ("name" + std::to_string(i)).c_str(), text.c_str(), kType, kClass);
    db.addString(item, text.c_str());
  }
  long copy = db.addTreeCopy(1, top, true, true, false, false);
  ASSERT_NE(copy, 0);
  EXPECT_EQ(renderTree(db, copy), renderTree(db, top));
  for (long a = db.first(top), b = db.first(copy); a != 0; a = db.next(a, QmdbSiblings), b = db.next(b, QmdbSiblings)) {
    std::string name(db.attrName(db.attribute(a, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, true)));
    long copied = db.attribute(b, name.c_str(), QmdbNoAttributeType, QmdbNoAttributeClass, true);
    ASSERT_NE(copied, 0) << name;
    std::string value(db.attrValue(copied));
    EXPECT_EQ(value, db.getValue(db.first(a)));
  }
  Qmdb other(nullptr, QmdbFileWrite, 1, 1024);
  EXPECT_NE(other.moveTree(1, 0, &db, copy), 0);
  EXPECT_EQ(renderChildren(other, 1), renderTree(db, top));
}

TEST(CopyMove, LinksAreClearedInTheTreeBySaveButKeptOnDetachedObjects) {
  qmdb::test::TempDir tmp;
  std::string name = tmp.file("links.qmb");
  Qmdb other;
  long target = other.addNode(1, "t");
  Qmdb db(name.c_str(), QmdbFileWrite);
  long a = db.addNode(1, "a");
  long inner = db.addString(a, "s");
  long loose = db.node("loose");
  db.hasChanged();
  EXPECT_EQ(db.linkToObject(a, &other, target), a);
  EXPECT_TRUE(db.hasChanged());
  EXPECT_EQ(db.linkToObject(-inner, &other, -target), inner);
  EXPECT_EQ(db.getLinkedObject(inner), -target);
  EXPECT_EQ(db.linkToObject(loose, target), loose);
  EXPECT_EQ(db.getLinkedDatabase(loose), &db);
  EXPECT_EQ(db.linkToObject(loose, 0), 0);  // the short form never removes
  EXPECT_EQ(db.linkToObject(a, &other, 0), 0);
  EXPECT_EQ(db.getLinkedObject(a), target);
  EXPECT_TRUE(db.flush(false));
  EXPECT_EQ(db.getLinkedObject(a), 0);
  EXPECT_EQ(db.getLinkedObject(inner), 0);
  EXPECT_EQ(db.getLinkedObject(loose), target);
  db.hasChanged();
  EXPECT_EQ(db.linkToObject(loose, nullptr, 0), loose);
  EXPECT_FALSE(db.hasChanged());  // removing a link changes no content
  EXPECT_EQ(db.getLinkedDatabase(loose), nullptr);
  {
    Qmdb gone;
    db.linkToObject(a, &gone, 5);
  }
  EXPECT_EQ(db.getLinkedObject(a), 5);
  EXPECT_EQ(db.getLinkedDatabase(a), nullptr);  // its database is closed
}

}  // namespace
