// The page cache on a bare store: configuration, reserve, eviction, read-back,
// the temporary swap file, and failing file operations.
#include "Qmdb/store/PageCache.h"

#include <gtest/gtest.h>

#include <cstring>

#include "Qmdb/store/DatabaseFile.h"
#include "Qmdb/store/HeapString.h"
#include "Qmencoding/QmCFile.h"
#include "support/TestSupport.h"

namespace qmdb::store {
namespace {

using test::ScopedEnv;
using test::TempDir;

class PageCacheTest : public ::testing::Test {
 protected:
  TempDir tmp;
  ScopedEnv tmpdir{"TMPDIR", tmp.path().c_str()};
  ScopedEnv pages{"QMPAGES", nullptr};
  ScopedEnv pageSize{"QMPAGESIZE", nullptr};

  // Fills `count` records of 16 bytes with words that tell their address.
  static std::vector<long> fill(Store& s, int count) {
    std::vector<long> addresses;
    for (int i = 0; i < count; ++i) {
      long a = reserve(s, 16);
      EXPECT_NE(a, 0);
      s.heapTop = static_cast<int32_t>(a + 16);
      for (long f = 0; f < 16; f += 4)
        EXPECT_TRUE(put32(s, a + f, static_cast<int32_t>(a * 7 + f)));
      addresses.push_back(a);
    }
    return addresses;
  }
  static void check(Store& s, const std::vector<long>& addresses) {
    for (long a : addresses) {
      for (long f = 0; f < 16; f += 4) ASSERT_EQ(get32(s, a + f), a * 7 + f) << "at " << a + f;
    }
  }
};

TEST_F(PageCacheTest, ConfigurationFromArgumentsEnvironmentAndDefaults) {
  {
    Store s;
    configure(s, 0, 0);
    EXPECT_EQ(s.frameLimit, 8);
    EXPECT_EQ(s.pageSize, 262144);
    EXPECT_FALSE(s.hasError);
  }
  {
    ScopedEnv size("QMPAGESIZE", "512");
    Store s;
    configure(s, 0, 0);
    EXPECT_EQ(s.pageSize, 262144);
    EXPECT_EQ(std::string(s.errorCode.c_str()), "ILLEGALVALUE");
    EXPECT_EQ(std::string(s.errorMessage.c_str()),
              "QMPAGESIZE=512 is invalid (should be a number), using default (262144)");
    EXPECT_FALSE(s.failed);
  }
  for (const char* bad : {"0", "many"}) {
    ScopedEnv limit("QMPAGES", bad);
    Store s;
    configure(s, 0, 0);
    EXPECT_EQ(s.frameLimit, 8);
    EXPECT_EQ(std::string(s.errorCode.c_str()), "ILLEGALVALUE");
    EXPECT_EQ(
        std::string(s.errorMessage.c_str()),
        std::string("QMPAGES=") + bad + " is invalid (should be a number), using default (8)");
  }
  {
    // Both bad: the page size is settled first, so the frame limit's warning stays.
    ScopedEnv size("QMPAGESIZE", "12");
    ScopedEnv limit("QMPAGES", "-3");
    ScopedEnv ignored("QMPAGESIZE", "4000");
    Store s;
    configure(s, 0, 4096);
    EXPECT_EQ(s.pageSize, 4096);
    configure(s, 0, 100);
    EXPECT_EQ(s.pageSize, 100);
    EXPECT_EQ(std::string(s.errorMessage.c_str()),
              "QMPAGES=-3 is invalid (should be a number), using default (8)");
  }
  {
    // A page too small for the header and the root record falls back to the default.
    Store s;
    configure(s, 3, 59);
    EXPECT_EQ(s.pageSize, 262144);
    EXPECT_EQ(s.frameLimit, 3);
    EXPECT_EQ(std::string(s.errorMessage.c_str()),
              "pageSize=59 is invalid (should be a number), using default (262144)");
  }
}

TEST_F(PageCacheTest, ReserveKeepsRecordsWithinOnePage) {
  Store s;
  configure(s, 4, 1024);
  s.heapTop = 1000;
  EXPECT_EQ(reserve(s, 20), 1000);
  EXPECT_EQ(reserve(s, 1025), 0);
  for (Frame* f = s.head; f != nullptr; f = f->next) f->dirty = false;
  EXPECT_EQ(reserve(s, 30), 1024);
  EXPECT_EQ(s.heapTop, 1024);
  Frame* page0 = s.head;
  while (page0 != nullptr && page0->page != 0) page0 = page0->next;
  ASSERT_NE(page0, nullptr);
  EXPECT_TRUE(page0->dirty);  // its length on disk grows to a full page
  EXPECT_EQ(reserve(s, 1024), 1024);
}

TEST_F(PageCacheTest, EvictsLeastRecentlyUsedAndReadsBackThroughTemporaryFile) {
  Store s;
  configure(s, 2, 1024);
  s.heapTop = 60;
  // Two pages fit in two frames: no file is made.
  auto small = fill(s, 100);
  EXPECT_EQ(s.heapTop, 1024 + 40 * 16);  // 60 records on page 0, the last 4 bytes skipped
  EXPECT_TRUE(tmp.list().empty());
  EXPECT_EQ(s.frameCount, 2);
  // Page 0's frame is the least recently used: touching page 2 reuses it.
  get32(s, 60);
  get32(s, 1024 + 4);
  auto more = fill(s, 300);
  ASSERT_EQ(tmp.list().size(), 1u);
  EXPECT_EQ(tmp.list()[0].substr(0, 4), "qmb_");
  EXPECT_EQ(s.frameCount, 2);
  check(s, small);
  check(s, more);
  EXPECT_FALSE(s.failed);
  EXPECT_GE(writeAllDirty(s), 0);
  close(s);
  EXPECT_TRUE(tmp.list().empty());
}

// Fills `pages` whole pages after the first, one word each; their addresses.
std::vector<long> fillPages(Store& s, int pages) {
  std::vector<long> addresses;
  for (int i = 0; i < pages; ++i) {
    long a = reserve(s, s.pageSize);
    EXPECT_NE(a, 0);
    s.heapTop = static_cast<int32_t>(a + s.pageSize);
    EXPECT_TRUE(put32(s, a, static_cast<int32_t>(a / s.pageSize)));
    addresses.push_back(a);
  }
  return addresses;
}

// Reads the pages in turn, `rounds` times, checking what each holds.
void cycle(Store& s, const std::vector<long>& pages, size_t count, int rounds) {
  for (int r = 0; r < rounds; ++r) {
    for (size_t i = 0; i < count; ++i) ASSERT_EQ(get32(s, pages[i]), pages[i] / s.pageSize);
  }
}

TEST_F(PageCacheTest, DefaultLimitGrowsOnlyWhenPagesComeBackSoonAfterEviction) {
  {
    // Written once and read through in order: no page comes back soon, the limit stays.
    Store s;
    configure(s, 0, 1024);
    EXPECT_EQ(s.frameLimit, 8);
    s.heapTop = 60;
    auto pages = fillPages(s, 40);
    cycle(s, pages, pages.size(), 2);
    EXPECT_EQ(s.frameLimit, 8);
    EXPECT_EQ(s.frameCount, 8);
    // Twelve pages in turn: each comes back four evictions after it left. The
    // limit doubles once, and then they all fit.
    cycle(s, pages, 12, 3);
    EXPECT_EQ(s.frameLimit, 16);
    cycle(s, pages, 12, 3);
    EXPECT_EQ(s.frameLimit, 16);
    EXPECT_EQ(s.frameCount, 12);
    close(s);
  }
  {
    // Random reads of 40 pages keep bringing back pages evicted a little
    // earlier; the growth stops at 16 MiB of frames: 32 frames of 512 KiB.
    Store s;
    configure(s, 0, 512 * 1024);
    s.heapTop = 60;
    auto pages = fillPages(s, 40);
    uint32_t seed = 1;
    for (int i = 0; i < 2000; ++i) {
      seed = seed * 1103515245u + 12345u;
      long a = pages[(seed >> 16) % pages.size()];
      ASSERT_EQ(get32(s, a), a / s.pageSize);
    }
    EXPECT_EQ(adaptiveFrameBound(512 * 1024), 32);
    EXPECT_EQ(s.frameLimit, 32);
    EXPECT_EQ(s.frameCount, 32);
    close(s);
  }
  // A limit the caller or QMPAGES chose is kept exactly.
  for (bool fromEnvironment : {false, true}) {
    ScopedEnv limit("QMPAGES", fromEnvironment ? "8" : nullptr);
    Store s;
    configure(s, fromEnvironment ? 0 : 8, 1024);
    s.heapTop = 60;
    auto pages = fillPages(s, 40);
    cycle(s, pages, 12, 6);
    EXPECT_EQ(s.frameLimit, 8);
    EXPECT_EQ(s.frameCount, 8);
    close(s);
  }
}

TEST_F(PageCacheTest, FrameLimitOneStillReadsEverythingBack) {
  Store s;
  configure(s, 1, 1024);
  s.heapTop = 60;
  auto all = fill(s, 500);
  check(s, all);
  EXPECT_EQ(s.frameCount, 1);
  close(s);
}

TEST_F(PageCacheTest, HeadHitsDoNoInputOutput) {
  Store s;
  configure(s, 1, 1024);
  s.heapTop = 60;
  auto all = fill(s, 200);  // spills: a swap file exists
  get32(s, all[0]);
  QmCFileFailAfter(0);
  EXPECT_EQ(get32(s, all[0]), all[0] * 7);
  EXPECT_EQ(get32(s, all[1] + 4), all[1] * 7 + 4);
  EXPECT_EQ(QmCFileCallCount(), 0);
  close(s);
}

TEST_F(PageCacheTest, PagesMissingFromTheSwapFileAreAFatalReadError) {
  Store s;
  configure(s, 1, 1024);
  s.heapTop = 4096;
  s.swapPages = 4;  // pages below this would be read from a file: none is open
  s.named = false;
  uint8_t* p = resolve(s, 3000);  // the first miss makes the temporary file and reads
  EXPECT_EQ(p, nullptr);          // ...which is empty, so the read fails
  EXPECT_EQ(std::string(s.errorCode.c_str()), "NOFILEREAD");
  EXPECT_EQ(std::string(s.errorMessage.c_str()), "Could not fread page 2");
  EXPECT_TRUE(s.failed);
  close(s);
}

// A header may claim more heap than its file holds: walks are bounded by what
// can be read, so that a cycle in the bytes that are there ends soon.
TEST_F(PageCacheTest, WalksCountOnlyTheBytesTheFileHolds) {
  const std::string name = tmp.file("cut.qmb");
  Store w;
  configure(w, 2, 1024);
  open(w, name.c_str(), 'w', 2, 1024);
  fill(w, 400);
  ASSERT_GE(save(w), 0);
  const long heapTop = w.heapTop;
  close(w);

  Store whole;
  open(whole, name.c_str(), 'r', 2, 0);
  EXPECT_EQ(readableHeap(whole), heapTop);
  close(whole);

  std::vector<uint8_t> bytes = test::readFile(name);
  ASSERT_EQ(static_cast<long>(bytes.size()), heapTop);
  test::writeFile(name, std::vector<uint8_t>(bytes.begin(), bytes.begin() + 3000));
  Store cut;
  open(cut, name.c_str(), 'r', 2, 0);
  EXPECT_EQ(cut.heapTop, heapTop);
  EXPECT_EQ(readableHeap(cut), 3000);
  close(cut);
}

TEST_F(PageCacheTest, NegativeAddressIsAFatalBug) {
  Store s;
  configure(s, 2, 1024);
  EXPECT_EQ(resolve(s, -5), nullptr);
  EXPECT_EQ(std::string(s.errorCode.c_str()), "CANNOTHAPPEN");
  EXPECT_EQ(std::string(s.errorMessage.c_str()), "Negative swap-file address encountered: -5");
  EXPECT_TRUE(s.failed);
}

TEST_F(PageCacheTest, FieldsAtOrAboveTheHeapTopReadAsZero) {
  Store s;
  configure(s, 2, 1024);
  s.heapTop = 64;
  EXPECT_TRUE(put32(s, 60, 77));
  EXPECT_EQ(get32(s, 60), 77);
  EXPECT_FALSE(put32(s, 61, 1));  // would pass the heap top
  EXPECT_EQ(get32(s, 62), 0);
  s.heapTop = 2048;
  EXPECT_EQ(get32(s, 1022), 0);  // would straddle pages 0 and 1
  EXPECT_EQ(get8(s, 1023), get8(s, 1023));
}

TEST_F(PageCacheTest, HeapStringsNeedTheirZeroInsideThePage) {
  Store s;
  configure(s, 2, 1024);
  s.heapTop = 60;
  long a = writeHeapString(s, "abc", 3);
  EXPECT_EQ(a, 60);
  EXPECT_EQ(s.heapTop, 64);
  EXPECT_STREQ(readHeapString(s, a), "abc");
  long empty = writeHeapString(s, "", 0);
  EXPECT_EQ(s.heapTop, 68);
  EXPECT_STREQ(readHeapString(s, empty), "");
  std::string big(1024, 'x');
  EXPECT_EQ(writeHeapString(s, big.c_str(), big.size()), 0);
  big.pop_back();  // 1023 bytes and the zero fill a page exactly
  EXPECT_EQ(writeHeapString(s, big.c_str(), big.size()), 1024);
  EXPECT_EQ(s.heapTop, 2048);
  // Bytes without a zero before the page end are no string.
  s.heapTop = 1024;
  s.swapPages = 0;
  uint8_t* p = resolve(s, 1000);
  memset(p, 'y', 24);
  markDirty(s);
  EXPECT_EQ(readHeapString(s, 1000), nullptr);
  EXPECT_EQ(readHeapString(s, 0), nullptr);
  EXPECT_EQ(readHeapString(s, 5000), nullptr);
  // A zero further on, past the page end, does not count either.
  s.heapTop = 2048;
  EXPECT_EQ(readHeapString(s, 1000), nullptr);
  EXPECT_STREQ(readHeapString(s, 1024), big.c_str());
  // The first byte alone, for comparisons that may end there.
  EXPECT_EQ(heapStringFirstByte(s, a), 'a');
  EXPECT_EQ(heapStringFirstByte(s, empty), 0);
  EXPECT_EQ(heapStringFirstByte(s, 1000), 'y');
  EXPECT_EQ(heapStringFirstByte(s, 0), -1);
  EXPECT_EQ(heapStringFirstByte(s, 2048), -1);
}

// The pages of the frames from the most recently used on, and the same read
// backward from the tail.
std::string frameOrder(const Store& s) {
  std::string forward, backward;
  for (const Frame* f = s.head; f != nullptr; f = f->next) forward += std::to_string(f->page);
  for (const Frame* f = s.tail; f != nullptr; f = f->previous) {
    backward.insert(0, std::to_string(f->page));
  }
  EXPECT_EQ(forward, backward);
  return forward;
}

TEST_F(PageCacheTest, HitsOnAnyFrameKeepTheMostRecentlyUsedOrder) {
  Store s;
  configure(s, 3, 1024);
  s.heapTop = 60;
  auto pages = fillPages(s, 3);  // pages 1 to 3; page 0 has left the cache
  EXPECT_EQ(frameOrder(s), "321");
  get32(s, pages[1]);  // the second frame
  EXPECT_EQ(frameOrder(s), "231");
  get32(s, pages[2]);
  EXPECT_EQ(frameOrder(s), "321");
  get32(s, pages[0]);  // the tail
  EXPECT_EQ(frameOrder(s), "132");
  get32(s, pages[1]);  // the second frame, which was the tail's neighbour
  EXPECT_EQ(frameOrder(s), "213");
  get32(s, 60);  // a miss reuses the least recently used frame
  EXPECT_EQ(frameOrder(s), "021");
  close(s);

  // With two frames the second is the tail, and the old head becomes it.
  Store two;
  configure(two, 2, 1024);
  two.heapTop = 60;
  pages = fillPages(two, 2);
  EXPECT_EQ(frameOrder(two), "21");
  get32(two, pages[0]);
  EXPECT_EQ(frameOrder(two), "12");
  get32(two, 60);
  EXPECT_EQ(frameOrder(two), "01");
  close(two);
}

TEST_F(PageCacheTest, ReleaseStopsAtTwoFrames) {
  Store s;
  configure(s, 8, 1024);
  s.heapTop = 60;
  auto all = fill(s, 400);
  EXPECT_EQ(s.frameCount, 7);
  shrink(s);
  EXPECT_EQ(s.frameCount, 2);
  EXPECT_FALSE(releaseLeastRecentlyUsed(s));
  check(s, all);
  close(s);
}

}  // namespace
}  // namespace qmdb::store
