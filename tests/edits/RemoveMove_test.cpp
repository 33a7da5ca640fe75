// Removing, dropping and moving objects and trees in one database and across two; refusals.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Qmdb/Qmdb"
#include "support/TestSupport.h"

namespace {

using qmdb::test::renderChildren;
using qmdb::test::renderTree;
using V = std::vector<long>;

const auto kType = static_cast<QmdbAttributeType>(3);
const auto kClass = static_cast<QmdbAttributeClass>(4);

// p(x, n(a, 'b'), y) under the root.
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

TEST(RemoveMove, RemovingAndDropping) {
  Qmdb db;
  Sample t(db);
  EXPECT_EQ(db.removeObject(-t.n), t.n);
  EXPECT_EQ(renderChildren(db, t.p), "x,a,'b',y");
  EXPECT_FALSE(db.isAttached(t.n));
  EXPECT_TRUE(db.isObject(t.n, QmdbNode));
  EXPECT_EQ(db.moveObject(t.p, t.x, t.n), t.n);
  EXPECT_EQ(renderChildren(db, t.p), "x,n,a,'b',y");
  EXPECT_EQ(db.removeTree(t.y), t.y);
  EXPECT_EQ(db.removeTree(t.y), t.y);  // already detached: unchanged, still given
  EXPECT_EQ(db.removeObject(1), 0);
  EXPECT_EQ(db.removeObject(0), 0);

  EXPECT_TRUE(db.dropObject(t.n));
  EXPECT_EQ(db.objectType(t.n), QmdbNoObject);
  EXPECT_FALSE(db.isObject(t.n, QmdbNoObject));
  EXPECT_EQ(renderChildren(db, t.p), "x,a,'b'");
  long q = db.addNode(t.a, "q");
  long r = db.addString(q, "r");
  long e = db.addEntity(t.a, "e", nullptr, static_cast<QmdbEntityType>(1));
  EXPECT_TRUE(db.dropTree(t.a));
  for (long dead : {t.a, q, r, e}) EXPECT_EQ(db.objectType(dead), QmdbNoObject);
  EXPECT_EQ(renderChildren(db, t.p), "x,'b'");
  EXPECT_TRUE(db.dropTree(t.b));
  EXPECT_EQ(renderTree(db, t.p), "p(x)");
  // A detached node dropped alone keeps its children under it, out of the tree.
  long loose = db.node("loose");
  long kept = db.addNode(loose, "kept");
  EXPECT_TRUE(db.dropObject(loose));
  EXPECT_EQ(db.objectType(kept), QmdbNode);
  EXPECT_FALSE(db.dropObject(1));
}

TEST(RemoveMove, MovingWithinOneDatabase) {
  Qmdb db;
  Sample u(db);
  EXPECT_EQ(db.removeTree(u.n), u.n);
  EXPECT_EQ(renderChildren(db, u.p), "x,y");
  EXPECT_EQ(renderTree(db, u.n), "n(a,'b')");
  EXPECT_EQ(db.moveTree(1, 0, u.n), u.n);
  EXPECT_EQ(renderChildren(db, 1), "n(a,'b'),p(x,y)");
  EXPECT_EQ(db.moveTree(u.p, u.x, -u.b), u.b);
  EXPECT_EQ(renderChildren(db, 1), "n(a),p(x,'b',y)");
  // A node may move under its former child, which first takes its place.
  EXPECT_EQ(db.moveObject(u.a, 0, u.n), u.n);
  EXPECT_EQ(renderChildren(db, 1), "a(n),p(x,'b',y)");
  // Nothing moves under or after itself, nor after an object outside the parent.
  EXPECT_EQ((V{db.moveObject(u.n, 0, u.n), db.moveObject(u.p, u.x, u.x), db.moveObject(u.p, 1, u.x),
               db.moveTree(u.n, 0, u.a), db.moveTree(u.a, 0, u.a), db.moveTree(u.p, u.a, u.x),
               db.moveTree(u.p, u.x, u.x)}),
            V(7, 0));
  // Nor may a detached node move alone below its own child: it keeps its children.
  long loose = db.node("loose");
  long child = db.addNode(loose, "child");
  EXPECT_EQ(db.moveObject(child, 0, loose), 0);
  EXPECT_EQ(db.moveObject(u.p, u.b, loose), loose);
  EXPECT_EQ(renderChildren(db, 1), "a(n),p(x,'b',loose(child),y)");

  db.hasChanged();
  ASSERT_TRUE(db.setUpdatable(false));
  EXPECT_EQ((V{db.removeObject(u.x), db.dropTree(u.x), db.moveTree(1, 0, u.x)}), V(3, 0));
  EXPECT_FALSE(db.hasChanged());
  EXPECT_EQ(renderChildren(db, 1), "a(n),p(x,'b',loose(child),y)");
}

TEST(RemoveMove, MovingAcrossDatabases) {
  Qmdb source;
  Sample t(source);
  source.addAttribute(t.n, "at", "v", kType, kClass);
  Qmdb elsewhere;
  source.linkToObject(t.n, &elsewhere, 42);
  Qmdb db;
  long top = db.addNode(1, "top");

  long n = db.moveObject(top, 0, &source, t.n);
  ASSERT_NE(n, 0);
  EXPECT_EQ(renderChildren(db, top), "n");
  EXPECT_EQ(qmdb::test::renderAttributes(db, n), "at=v:3.4");
  EXPECT_EQ(db.getLinkedObject(n), 42);
  EXPECT_EQ(db.getLinkedDatabase(n), &elsewhere);
  EXPECT_EQ(renderChildren(source, t.p), "x,a,'b',y");  // removed there, children in place
  EXPECT_TRUE(source.isObject(t.n, QmdbNode));

  long p = db.moveTree(top, n, &source, t.p);
  EXPECT_EQ(renderTree(db, top), "top(n,p(x,a,'b',y))");
  EXPECT_EQ(db.last(top), p);
  EXPECT_EQ(source.first(1), 0);

  // Refusals leave both databases as they were.
  long other = source.addNode(1, "other");
  long stray = db.node("stray");
  long size = db.getSize();
  // After an object that is no child of the parent; from no database; from a read-only one.
  EXPECT_EQ((V{db.moveTree(top, stray, &source, other), db.moveObject(1, 0, nullptr, other),
               source.setUpdatable(false), db.moveTree(1, 0, &source, other)}),
            (V{0, 0, 1, 0}));
  EXPECT_EQ(db.getSize(), size);
  EXPECT_TRUE(source.isAttached(other));
}

TEST(RemoveMove, AnUnusableDatabaseRefusesEveryEdit) {
  Qmdb bad(nullptr, QmdbFileRead);
  Qmdb good;
  long n = good.addNode(1, "n");
  ASSERT_FALSE(bad.isValid());
  EXPECT_EQ(bad.attrName(60), nullptr);
  EXPECT_EQ(
      (V{bad.addAttribute(0, "a", "v", kType, kClass), bad.linkToObject(60, &good, n),
         bad.copy(&good, n, true, true, true, true), good.copy(&bad, 60, true, true, true, true),
         bad.removeTree(60), good.moveObject(1, 0, &bad, 60), bad.moveTree(1, 0, &good, n)}),
      V(7, 0));
  EXPECT_TRUE(good.isAttached(n));
}

}  // namespace
