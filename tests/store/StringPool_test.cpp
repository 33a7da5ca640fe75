// The string pool: exact, case-sensitive lookups of the names it was given,
// through growth of its table, with a caller's buffer that is looked up again
// after its text changed, and with memory running out.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "Qmdb/store/Allocation.h"
#include "Qmdb/store/StringPool.h"

namespace {

using qmdb::store::failAllocationAfter;
using qmdb::store::StringPool;

TEST(StringPool, FindsExactlyTheNamesItWasGivenThroughGrowth) {
  StringPool pool;
  EXPECT_EQ(pool.find("a"), 0);
  EXPECT_EQ(pool.find(nullptr), 0);
  EXPECT_FALSE(pool.add(nullptr, 4));
  // Lengths on both sides of a word, so that the hash's tail bytes count.
  for (int i = 1; i <= 500; ++i) {
    std::string name = std::string(static_cast<size_t>(i % 19), 'n') + std::to_string(i);
    ASSERT_TRUE(pool.add(name.c_str(), i * 4));
  }
  EXPECT_EQ(pool.size(), 500u);
  for (int i = 1; i <= 500; ++i) {
    std::string name = std::string(static_cast<size_t>(i % 19), 'n') + std::to_string(i);
    ASSERT_EQ(pool.find(name.c_str()), i * 4) << name;
  }
  EXPECT_EQ(pool.find("N1"), 0);  // case-sensitive
  EXPECT_EQ(pool.find("n"), 0);   // a prefix is another name
  EXPECT_EQ(pool.find("n1x"), 0);
  EXPECT_TRUE(pool.add("n1", 8));  // an equal name: the address changes
  EXPECT_EQ(pool.find("n1"), 8);
  EXPECT_EQ(pool.size(), 500u);
  EXPECT_TRUE(pool.add("", 12));
  EXPECT_EQ(pool.find(""), 12);
}

TEST(StringPool, ABufferLookedUpAgainIsReadAgain) {
  StringPool pool;
  ASSERT_TRUE(pool.add("first", 100));
  ASSERT_TRUE(pool.add("second", 200));
  char buffer[16];
  const std::pair<const char*, long> lookups[] = {
      {"first", 100}, {"first", 100}, {"second", 200}, {"secon", 0}, {"first", 100}};
  for (const auto& [text, address] : lookups) {
    strcpy(buffer, text);
    EXPECT_EQ(pool.find(buffer), address) << text;
  }
  // Growth moves the slots; the buffer still finds its name.
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(pool.add(("grow" + std::to_string(i)).c_str(), i + 1));
  EXPECT_EQ(pool.find(buffer), 100);
  StringPool::Probe probe;
  strcpy(buffer, "third");
  EXPECT_EQ(pool.find(buffer, probe), 0);
  EXPECT_EQ(probe.length, 5u);
  ASSERT_TRUE(pool.add(buffer, probe, 300));
  strcpy(buffer, "zzzzz");  // the pool kept its own copy
  EXPECT_EQ(pool.find("third"), 300);
}

TEST(StringPool, RunningOutOfMemoryLeavesThePoolAsItWas) {
  StringPool pool;
  ASSERT_TRUE(pool.add("kept", 4));
  std::string longName(20000, 'l');
  failAllocationAfter(1, true);
  EXPECT_FALSE(pool.add(longName.c_str(), 8));  // its copy needs a block of its own
  for (int i = 0; i < 40 && pool.add(("n" + std::to_string(i)).c_str(), 12); ++i) {
  }
  failAllocationAfter(0);
  EXPECT_LT(pool.size(), 40u);  // the table could not grow past its first size
  EXPECT_EQ(pool.find(longName.c_str()), 0);
  EXPECT_EQ(pool.find("kept"), 4);
  ASSERT_TRUE(pool.add(longName.c_str(), 8));
  EXPECT_EQ(pool.find(longName.c_str()), 8);
}

}  // namespace
