// Walking trees both ways, the derived queries, and a large tree through two small frames.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Qmdb/Qmdb"
#include "support/TestSupport.h"

namespace {

using qmdb::test::renderChildren;
using qmdb::test::ScopedEnv;
using qmdb::test::TempDir;
using V = std::vector<long>;

std::vector<long> walk(Qmdb& db, bool forward) {
  std::vector<long> positions;
  for (long p = forward ? db.next(1, QmdbTree) : db.previous(1, QmdbTree); p != 0;
       p = forward ? db.next(p, QmdbTree) : db.previous(p, QmdbTree)) {
    positions.push_back(p);
  }
  return positions;
}

TEST(Navigation, WalksInBothDirectionsMeetEndPositions) {
  Qmdb db;
  long a = db.addNode(1, "A");
  long s = db.addString(a, "s");
  long b = db.addString(1, "B");
  EXPECT_EQ(walk(db, true), (std::vector<long>{a, s, -a, b}));
  EXPECT_EQ(walk(db, false), (std::vector<long>{b, a, s, -a}));

  long n = db.addNode(a, "N");  // empty, last child of A
  long m = db.addNode(1, "M");
  // From an empty node to its end, from the end to the parent's end, past the last end to none.
  EXPECT_EQ((V{db.next(n, QmdbTree), db.next(-n, QmdbTree), db.next(m, QmdbTree),
               db.next(-m, QmdbTree), db.next(0, QmdbTree)}),
            (V{-n, -a, -m, 0, 0}));
  EXPECT_EQ(db.next(-a, QmdbSiblings), db.next(a, QmdbSiblings));
  EXPECT_EQ((V{db.next(1, QmdbSiblings), db.previous(1, QmdbSiblings)}), (V{0, 0}));
  EXPECT_EQ(db.next(a, static_cast<QmdbTraverseMode>(7)), s);  // any non-zero mode walks the tree
  EXPECT_EQ((V{db.first(s), db.last(s), db.first(1)}), (V{0, 0, a}));
}

TEST(Navigation, DerivedQueriesCountRankLevelRootParentAndByRank) {
  Qmdb db;
  long p = db.addNode(1, "p");
  long c1 = db.addNode(p, "c1");
  long c2 = db.addNode(p, "c2");
  long g = 0;
  for (int i = 0; i < 3; ++i) g = db.addString(c2, "g");
  long detached = db.node("d");

  EXPECT_EQ((V{db.count(p, QmdbTree), db.count(p, QmdbSiblings), db.count(g, QmdbTree),
               db.count(1, QmdbTree)}),
            (V{5, 2, 0, 6}));
  EXPECT_EQ((V{db.rank(g), db.rank(c1), db.rank(detached)}), (V{3, 1, 1}));
  EXPECT_EQ((V{db.level(p), db.level(-g), db.level(detached)}), (V{1, 3, 1}));
  EXPECT_EQ((V{db.root(g), db.root(p), db.root(1), db.parent(g), db.parent(p)}),
            (V{p, p, 0, c2, 0}));
  EXPECT_EQ(
      (V{db.byRank(p, 0), db.byRank(p, 2), db.byRank(c2, 3), db.byRank(c2, 4), db.byRank(1, 1)}),
      (V{0, c2, g, 0, p}));
}

// Overriding a simple operation changes the derived ones.
class CountingDb : public Qmdb {
 public:
  mutable int firstCalls = 0;
  long first(long object) const override {
    ++firstCalls;
    return Qmdb::first(object);
  }
};

TEST(Navigation, DerivedQueriesCallTheVirtualOperations) {
  CountingDb db;
  long p = db.addNode(1, "p");
  db.addNode(p, "c");
  EXPECT_EQ(db.count(p, QmdbSiblings), 1);
  EXPECT_EQ(db.byRank(p, 1), db.last(p));
  EXPECT_EQ(db.firstCalls, 2);
}

// An overridden objectType decides what getters, attribute lookups and child lists see.
class HidingDb : public Qmdb {
 public:
  long hidden = 0;
  QmdbObjectType objectType(long object) override {
    return object == hidden || object == -hidden ? QmdbNoObject : Qmdb::objectType(object);
  }
};

TEST(Navigation, OverriddenKindsReachTheCompositeOperations) {
  HidingDb db;
  long p = db.addNode(1, "p");
  long c = db.addNode(p, "c");
  db.addAttribute(p, "a", "v", static_cast<QmdbAttributeType>(1),
                  static_cast<QmdbAttributeClass>(1));
  db.hidden = p;
  EXPECT_EQ(db.getId(p), nullptr);
  EXPECT_EQ((V{db.first(p), db.last(p)}), (V{0, 0}));
  EXPECT_EQ(qmdb::test::renderAttributes(db, p), "");
  db.hidden = 0;
  EXPECT_STREQ(db.getId(p), "p");
  EXPECT_EQ((V{db.first(p), db.last(p)}), (V{c, c}));
  EXPECT_EQ(qmdb::test::renderAttributes(db, p), "a=v:1.1");
}

// A tree of a few thousand objects through two frames of 1 KiB.
TEST(Navigation, LargeTreeSurvivesEvictionAndReopen) {
  TempDir tmp;
  ScopedEnv tmpdir("TMPDIR", tmp.path().c_str());
  std::string name = tmp.file("large.qmb");
  std::string expected;
  {
    Qmdb db(name.c_str(), QmdbFileWrite, 2, 1024);
    long top = db.addNode(1, "top");
    for (int i = 0; i < 60; ++i) {
      long section = db.addNode(top, ("s" + std::to_string(i)).c_str());
      for (int j = 0; j < 20; ++j) {
        long para = db.addNode(section, "p");
        db.addString(para, (std::to_string(i) + "." + std::to_string(j)).c_str());
      }
      db.insertPi(section, 0, "pi", "first");
    }
    ASSERT_TRUE(db.isValid());
    EXPECT_EQ(db.count(1, QmdbTree), 1 + 60 * (1 + 20 * 2 + 1));
    expected = renderChildren(db, 1);
    EXPECT_EQ(walk(db, true).size(), 1 + 60 * 42 + 1 + 60 * 21);
    EXPECT_GT(db.getSize(), 90 * 1024);  // far more than two frames hold
  }
  Qmdb db(name.c_str(), QmdbFileRead, 2, 0);
  ASSERT_TRUE(db.isValid());
  EXPECT_EQ(db.getPageSize(), 1024);
  EXPECT_EQ(renderChildren(db, 1), expected);
  std::vector<long> forward = walk(db, true);
  std::vector<long> backward = walk(db, false);
  ASSERT_EQ(forward.size(), backward.size());
  // Backward visits the same positions in reverse, with the signs of nodes swapped.
  for (size_t i = 0; i < forward.size(); ++i) {
    long f = forward[i];
    long b = backward[backward.size() - 1 - i];
    EXPECT_EQ(db.objectType(f) == QmdbNode ? -f : f, b);
  }
  EXPECT_STREQ(db.getValue(db.first(db.byRank(db.byRank(db.first(1), 60), 21))), "59.19");
}

}  // namespace
