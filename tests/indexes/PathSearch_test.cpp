// Path search: every kind of step, order, case, counts and refusals, also through tiny caches;
// Qmdb's direct record reads and a derived class's virtual calls must agree.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "Qmdb/Qmdb"
#include "support/TestSupport.h"

namespace {

using qmdb::test::handles;
using qmdb::test::readFile;
using qmdb::test::renderList;
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
    EXPECT_EQ(n, list.length()) << path;
    EXPECT_EQ(db.findPath(nullptr, path, start, caseSensitive), n) << path;
    return renderList(db, list);
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
  db.addNode(a, "\xc9t\xe9");
  EXPECT_EQ(find("a/\xc9T\xe9", 1, false), "\xc9t\xe9");
  EXPECT_EQ(find("A/\xc9t\xe9", 1), "\xc9t\xe9");
  EXPECT_EQ(find("A/\xe9t\xe9", 1, false), "");  // only A to Z fold
}

// Derives from Qmdb and overrides nothing, so it searches through the virtual methods.
class PlainDb : public Qmdb {
 public:
  using Qmdb::Qmdb;
};

// An irregular document: repeated and case-varied names, strings, pis, entities, empty nodes.
void buildMixed(Qmdb& db) {
  static const char* const names[] = {"item", "Item", "name", "a", "", "ITEM", "b"};
  uint32_t seed = 12345;
  auto random = [&seed](uint32_t n) {
    seed = seed * 1103515245u + 12345u;
    return (seed >> 16) % n;
  };
  std::vector<long> open{1};
  for (int i = 0; i < 1500; ++i) {
    long parent = open[random(static_cast<uint32_t>(open.size()))];
    switch (random(6)) {
      case 0:
        db.addString(parent, "text");
        break;
      case 1:
        db.addPi(parent, random(2) == 0 ? "item" : "name", "data");
        break;
      case 2:
        db.addEntity(parent, random(2) == 0 ? "name" : "amp", "&", static_cast<QmdbEntityType>(1));
        break;
      default: {
        long n = db.addNode(parent, random(9) == 0 ? nullptr : names[random(7)]);
        if (open.size() < 40) open.push_back(n);
      }
    }
  }
}

// The handles a search finds, in order, and their number.
std::vector<long> found(const Qmdb& db, const char* path, long start, bool caseSensitive) {
  QmdbList list;
  long n = db.findPath(&list, path, start, caseSensitive);
  EXPECT_EQ(n, list.length()) << path;
  return handles(list);
}

TEST(PathSearchReaders, DirectAndVirtualSearchesAgree) {
  TempDir tmp;
  ScopedEnv tmpdir("TMPDIR", tmp.path().c_str());
  const std::string direct = tmp.file("direct.qmb");
  const std::string virtualName = tmp.file("virtual.qmb");
  const char* const paths[] = {".../item/name",  ".../item",    "...",         ".../*",
                               "*/.../name",     ".../name/..", "item/*/item", ".../",
                               ".../ITEM/.../b", "*/*/*",       ".../a/...",   ".../amp",
                               "../item"};
  // Tiny pages and two frames: records and names are read back from the file.
  for (long pageSize : {256L, 4096L}) {
    {
      Qmdb a(direct.c_str(), QmdbFileWrite, 2, pageSize);
      PlainDb b(virtualName.c_str(), QmdbFileWrite, 2, pageSize);
      buildMixed(a);
      buildMixed(b);
      ASSERT_TRUE(a.isValid() && b.isValid());
    }
    EXPECT_EQ(readFile(direct), readFile(virtualName)) << pageSize;
    Qmdb a(direct.c_str(), QmdbFileRead, 2, 0);
    PlainDb b(virtualName.c_str(), QmdbFileRead, 2, 0);
    size_t total = 0;
    for (const char* path : paths) {
      for (long start : {1L, a.first(1), a.next(a.first(1), QmdbTree)}) {
        for (bool caseSensitive : {true, false}) {
          std::vector<long> x = found(a, path, start, caseSensitive);
          EXPECT_EQ(x, found(b, path, start, caseSensitive)) << path << " from " << start;
          total += x.size();
        }
      }
    }
    // "..." before a name is one fused step; ".../." is not, and must find the same.
    for (const char* path :
         {".../item/name", ".../ITEM/.../b", ".../amp", "*/.../name", ".../a/.../item/.../name"}) {
      std::string unfused = path;
      for (size_t at = unfused.find(".../"); at != std::string::npos;
           at = unfused.find(".../", at + 6)) {
        unfused.replace(at, 4, "..././");
      }
      for (bool caseSensitive : {true, false}) {
        EXPECT_EQ(found(a, path, 1, caseSensitive), found(a, unfused.c_str(), 1, caseSensitive))
            << path;
        EXPECT_EQ(found(b, path, 1, caseSensitive), found(b, unfused.c_str(), 1, caseSensitive))
            << path;
      }
    }
    EXPECT_EQ(found(a, "...", 1, true).size(), 1500u);
    EXPECT_GT(found(a, ".../item/name", 1, true).size(), 10u);
    EXPECT_GT(found(a, ".../item/name", 1, false).size(),
              found(a, ".../item/name", 1, true).size());
    EXPECT_GT(total, 10000u);
  }
}

// Backtracking order, not document order: every context's children before anything below them.
TEST(PathSearchReaders, SubtreeNameStepsKeepBacktrackingOrder) {
  Qmdb db;
  long p = db.addNode(1, "p");
  long x1 = db.addNode(p, "item");
  long y = db.addNode(p, "y");
  long x2 = db.addNode(y, "item");
  db.addString(p, "text");
  long z = db.addNode(p, "item");
  long x3 = db.addNode(x1, "item");
  long x4 = db.addNode(x3, "item");
  long w = db.addNode(z, "w");
  long x5 = db.addNode(w, "item");
  EXPECT_EQ(found(db, ".../item", 1, true), (std::vector<long>{x1, z, x3, x4, x2, x5}));
  EXPECT_EQ(found(db, ".../item", p, true), (std::vector<long>{x1, z, x3, x4, x2, x5}));
  EXPECT_EQ(found(db, ".../item", x1, true), (std::vector<long>{x3, x4}));
  EXPECT_EQ(found(db, ".../item", y, true), (std::vector<long>{x2}));
  EXPECT_EQ(found(db, ".../item/item", 1, true), (std::vector<long>{x3, x4}));
  EXPECT_EQ(found(db, "p/.../w/item", 1, true), (std::vector<long>{x5}));
  EXPECT_EQ(found(db, ".../y/..", 1, true), (std::vector<long>{p}));
}

// Overriding getId or first changes what a search finds.
class RenamingDb : public Qmdb {
 public:
  char* getId(long object) const override {
    char* id = Qmdb::getId(object);
    return id != nullptr && strcmp(id, "old") == 0 ? const_cast<char*>("new") : id;
  }
};

class ChildlessDb : public Qmdb {
 public:
  long first(long object) const override { return object == 1 ? Qmdb::first(object) : 0; }
};

TEST(PathSearchReaders, OverridesTakePart) {
  RenamingDb renaming;
  long top = renaming.addNode(1, "top");
  renaming.addNode(top, "old");
  renaming.addNode(top, "new");
  EXPECT_EQ(renaming.findPath(nullptr, "top/new", 1, true), 2);
  EXPECT_EQ(renaming.findPath(nullptr, ".../old", 1, true), 0);

  ChildlessDb childless;
  top = childless.addNode(1, "top");
  childless.addNode(top, "below");
  EXPECT_EQ(childless.findPath(nullptr, "top/below", 1, true), 0);
  EXPECT_EQ(childless.findPath(nullptr, "*/*", 1, true), 0);
  EXPECT_EQ(childless.findPath(nullptr, "top", 1, true), 1);
}

INSTANTIATE_TEST_SUITE_P(Caches, PathSearchTest,
                         ::testing::Values(Config{0, 4096}, Config{1, 128}, Config{2, 64}));

}  // namespace
