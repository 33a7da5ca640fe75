// Running out of memory: the cache stops growing and work goes on, a name
// that cannot be pooled is not stored, lists stay as they were, and searches
// report MEMORYOVERFLOW without making the database unusable.
#include <gtest/gtest.h>

#include <string>

#include "Qmdb/Qmdb"
#include "Qmdb/handle/Internal.h"
#include "Qmdb/store/Allocation.h"
#include "support/TestSupport.h"

namespace {

using qmdb::handle::Internal;
using qmdb::store::failAllocationAfter;
using qmdb::test::renderChildren;

class MemoryFaultsTest : public ::testing::Test {
 protected:
  void TearDown() override { failAllocationAfter(0); }
};

TEST_F(MemoryFaultsTest, CacheStopsGrowingAndWorkGoesOn) {
  Qmdb db(nullptr, QmdbFileWrite, 8, 1024);
  long top = db.addNode(1, "top");
  for (int i = 0; i < 30; ++i) db.addString(top, "page one and two");
  EXPECT_EQ(Internal::store(db)->frameCount, 2);
  failAllocationAfter(1);  // the next frame cannot be had
  for (int i = 0; i < 300; ++i) db.addString(top, "spills past two frames");
  EXPECT_TRUE(db.isValid());
  EXPECT_EQ(Internal::store(db)->frameCount, 2);
  EXPECT_EQ(Internal::store(db)->frameLimit, 2);
  EXPECT_EQ(db.count(top, QmdbSiblings), 330);
  EXPECT_STREQ(db.getValue(db.last(top)), "spills past two frames");
}

TEST_F(MemoryFaultsTest, NamesThatCannotBePooledAreNotStored) {
  Qmdb db;
  long n = db.addNode(1, "n");
  // The pool keeps short names in blocks it already has; a long one needs a
  // block of its own.
  std::string fresh(10000, 'f');
  failAllocationAfter(1);
  EXPECT_EQ(db.setGid(n, fresh.c_str()), 0);
  EXPECT_STREQ(db.getGid(n), "n");
  EXPECT_EQ(db.setGid(n, "n"), n);  // already pooled: nothing to allocate
}

TEST_F(MemoryFaultsTest, ListsStayAsTheyWere) {
  QmdbList list;
  list.add(5);
  failAllocationAfter(1, true);
  EXPECT_FALSE(list.add(6));
  EXPECT_FALSE(list.insert(7));
  EXPECT_EQ(list.length(), 1);
  EXPECT_EQ(list.first(), 5);
  failAllocationAfter(0);
  QmdbStringList strings;
  strings.add("kept");
  strings.first();
  failAllocationAfter(1, true);
  EXPECT_FALSE(strings.add("lost"));
  EXPECT_FALSE(strings.replace("lost"));
  EXPECT_EQ(strings.length(), 1);
  EXPECT_STREQ(strings.first(), "kept");
}

TEST_F(MemoryFaultsTest, SearchesReportMemoryOverflowAndLeaveTheDatabaseUsable) {
  Qmdb db;
  long a = db.addNode(1, "a");
  db.addNode(a, "b");
  long index = db.addIndex("keys");
  db.putIndex(index, a, "k", false);
  QmdbList found;
  found.add(99);
  failAllocationAfter(1);
  EXPECT_EQ(db.findPath(&found, "a/b", 1, true), 0);
  EXPECT_STREQ(db.errorCode(), "MEMORYOVERFLOW");
  EXPECT_STREQ(db.errorMessage(), "Failed to allocated memory for findPath().");
  EXPECT_EQ(found.length(), 1);
  EXPECT_TRUE(db.isValid());
  EXPECT_EQ(db.findPath(&found, "a/b", 1, true), 1);

  db.clearError();
  QmdbStringList keys;
  failAllocationAfter(1);
  EXPECT_EQ(db.indexKeys(&keys, index), 0);
  EXPECT_STREQ(db.errorCode(), "MEMORYOVERFLOW");
  EXPECT_STREQ(db.errorMessage(), "Failed to allocated memory for index-keys collecting.");
  EXPECT_TRUE(db.isValid());
  EXPECT_EQ(db.indexKeys(&keys, index), 1);
}

}  // namespace
