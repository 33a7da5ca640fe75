// A database opened to read maps its pages from the file: the same tree comes
// back, a file cut short is a read error (not a fault), and one that becomes
// updatable keeps no mapping of its file.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "Qmdb/Qmdb"
#include "support/TestSupport.h"

namespace {

using qmdb::test::readFile;
using qmdb::test::renderChildren;
using qmdb::test::ScopedEnv;
using qmdb::test::TempDir;
using qmdb::test::writeFile;

// How many of this process's memory mappings show the file `path`.
int mappingsOf(const std::string& path) {
  std::ifstream maps("/proc/self/maps");
  int n = 0;
  for (std::string line; std::getline(maps, line);) {
    if (line.size() >= path.size() &&
        line.compare(line.size() - path.size(), path.size(), path) == 0)
      ++n;
  }
  return n;
}

class MappedPagesTest : public ::testing::Test {
 protected:
  TempDir tmp;
  ScopedEnv pages{"QMPAGES", nullptr};
  ScopedEnv pageSize{"QMPAGESIZE", nullptr};
  std::string name = tmp.file("mapped.qmb");
  std::string tree;

  // About six pages of 256 KiB: nodes with names, attributes and texts.
  void SetUp() override {
    Qmdb db(name.c_str(), QmdbFileWrite);
    long top = db.addNode(1, "top");
    for (int i = 0; i < 12000; ++i) {
      long n = db.addNode(top, i % 3 == 0 ? "item" : "other");
      db.addAttribute(n, "id", std::to_string(i).c_str(), static_cast<QmdbAttributeType>(1),
                      static_cast<QmdbAttributeClass>(1));
      db.addString(n, ("text number " + std::to_string(i)).c_str());
    }
    ASSERT_TRUE(db.flush(false));
    ASSERT_GT(db.getSize(), 5 * 262144);
    tree = renderChildren(db, 1);
  }
};

TEST_F(MappedPagesTest, ReadersSeeTheSameTreeThroughMappedFrames) {
  Qmdb db(name.c_str(), QmdbFileRead, 3, 0);
  ASSERT_TRUE(db.isValid());
  EXPECT_EQ(renderChildren(db, 1), tree);
  // Two frames map their pages; the third copies the last, which the file
  // does not hold whole (it ends at the heap top).
  EXPECT_EQ(mappingsOf(name), 2);
  QmdbList list;
  EXPECT_EQ(db.findPath(&list, ".../item", 1, true), 4000);
  EXPECT_EQ(renderChildren(db, 1), tree);
  EXPECT_EQ(mappingsOf(name), 2);

  // Becoming updatable copies what the frames map: edits never reach the file through one.
  ASSERT_TRUE(db.setUpdatable(true));
  EXPECT_EQ(mappingsOf(name), 0);
  long last = db.last(db.first(1));
  ASSERT_NE(db.addString(last, "added"), 0);
  EXPECT_TRUE(db.flush(false));
  ASSERT_TRUE(db.setUpdatable(false));
  EXPECT_EQ(renderChildren(db, 1), tree.substr(0, tree.size() - 2) + ",'added'))");
  EXPECT_GT(mappingsOf(name), 0);
}

TEST_F(MappedPagesTest, AFileCutShortIsAReadErrorNotAFault) {
  std::vector<uint8_t> bytes = readFile(name);
  // Cut in the middle of the third page: the pages before it map, it does not.
  writeFile(name, std::vector<uint8_t>(bytes.begin(), bytes.begin() + 2 * 262144 + 1000));
  Qmdb db(name.c_str(), QmdbFileRead, 3, 0);
  ASSERT_TRUE(db.isValid());
  long objects = 0;
  for (long p = db.next(1, QmdbTree); p != 0 && objects < 1000000; p = db.next(p, QmdbTree)) {
    if (p > 0) db.getValue(p);
    ++objects;
  }
  EXPECT_GT(objects, 1000);
  EXPECT_FALSE(db.isValid());
  EXPECT_STREQ(db.errorCode(), "NOFILEREAD");
}

}  // namespace
