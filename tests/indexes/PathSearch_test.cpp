// Path search: every kind of step, backtracking order, case, counting
// without a list, and refusals, also with a one-frame cache of tiny pages in
// which every navigation call may evict the frame that getId's text lies in.
#include <gtest/gtest.h>

#include <string>

#include "Qmdb/Qmdb"
#include "support/TestSupport.h"

namespace {

using qmdb::test::ScopedEnv;
using qmdb::test::TempDir;

struct Config {
  long pages;
  long pageSize;
};

class PathSearchTest : public ::testing::TestWithParam<Config> {
 protected:
  TempDir tmp;
  ScopedEnv tmpdir{"TMPDIR", tmp.path().c_str()};
  Qmdb db{nullptr, QmdbFileWrite, GetParam().pages, GetParam().pageSize};
  long a = 0, b1 = 0, d = 0, s = 0, b2 = 0;

  void SetUp() override {
    // A(B1(D), 's', B2)
    a = db.addNode(1, "A");
    b1 = db.addNode(a, "B1");
    d = db.addNode(b1, "D");
    s = db.addString(a, "s");
    b2 = db.addNode(a, "B2");
    ASSERT_NE(b2, 0);
  }

  // The objects found, by name ('s' for the string), and their number.
  std::string find(const char* path, long start, bool caseSensitive = true) {
    QmdbList list;
    long n = db.findPath(&list, path, start, caseSensitive);
    std::string out;
    for (long h = list.first(); h != 0; h = list.next()) {
      const char* id = db.getId(h);
      out += (out.empty() ? "" : ",") + std::string(h == s ? "'s'" : id != nullptr ? id : "#");
    }
    EXPECT_EQ(n, list.length()) << path;
    EXPECT_EQ(db.findPath(nullptr, path, start, caseSensitive), n) << path;
    return out;
  }
};

TEST_P(PathSearchTest, StepsLeadWhereTheySay) {
  EXPECT_EQ(find("A/B1", 1), "B1");
  EXPECT_EQ(find("A/*", 1), "B1,'s',B2");
  EXPECT_EQ(find("a/b1", 1), "");
  EXPECT_EQ(find("a/b1", 1, false), "B1");
  EXPECT_EQ(find("...", 1), "A,B1,D,'s',B2");  // the database root is never reported
  EXPECT_EQ(find("A/...", 1), "A,B1,D,'s',B2");
  EXPECT_EQ(find(".../D", 1), "D");
  EXPECT_EQ(find("B1/...", a), "B1,D");
  EXPECT_EQ(find(".../*", 1), "A,B1,'s',B2,D");  // the children of every object reached
  EXPECT_EQ(find("A/*/..", 1), "A,A,A");
  EXPECT_EQ(find("*/*/.", a), "D");
  EXPECT_EQ(find(".", a), "A");
  EXPECT_EQ(find(".", 1), "");
  EXPECT_EQ(find("..", a), "");  // a top-level object has no parent
  EXPECT_EQ(find("../..", d), "A");
  EXPECT_EQ(find("A/", 1), "A");
  EXPECT_EQ(find("/A", 1), "");  // a child with the empty name first
  EXPECT_EQ(find("", 1), "");
  EXPECT_EQ(find("A/B1//", 1), "");
  EXPECT_EQ(find("A/nothing/*", 1), "");
  EXPECT_EQ(find("*", s), "");  // a string has no children
  EXPECT_EQ(db.findPath(nullptr, nullptr, 1, true), 0);
  EXPECT_EQ(db.findPath(nullptr, "A", 0, true), 0);

  long unnamed = db.addNode(a, nullptr);
  long empty = db.addNode(a, "");
  EXPECT_EQ(db.findPath(nullptr, "A/", 1, true), 1);
  QmdbList list;
  EXPECT_EQ(db.findPath(&list, "/A//", a, true), 0);
  EXPECT_EQ(db.findPath(&list, "A//", 1, true), 1);  // only "" matches, never a missing gid
  EXPECT_EQ(list.first(), empty);
  EXPECT_NE(unnamed, empty);

  // Names compare in the caller's coding, as getId gives them.
  ASSERT_TRUE(db.pushCoding("LATIN1"));
  long accented = db.addNode(a, "\xc9t\xe9");
  EXPECT_EQ(db.findPath(&list, "a/\xc9T\xe9", 1, false), 1);
  EXPECT_EQ(list.last(), accented);
  EXPECT_EQ(db.findPath(&list, "A/\xc9t\xe9", 1, true), 1);
  EXPECT_EQ(db.findPath(&list, "A/\xe9t\xe9", 1, false), 0);  // only A to Z fold
}

INSTANTIATE_TEST_SUITE_P(Caches, PathSearchTest,
                         ::testing::Values(Config{0, 4096}, Config{1, 128}, Config{2, 64}));

}  // namespace
