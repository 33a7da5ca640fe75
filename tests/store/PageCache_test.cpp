// The page cache on a bare store: configuration, reserve, eviction, read-back,
// the temporary swap file, and failing file operations.
#include "Qmdb/store/PageCache.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
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

  // A store of `frames` frames of `pageSize` bytes whose heap starts after the header.
  static void start(Store& s, long frames, long pageSize = 1024) {
    configure(s, frames, pageSize);
    s.heapTop = 60;
  }
  // Fills `count` records of `size` bytes whose first four words tell their address.
  static std::vector<long> fill(Store& s, int count, long size = 16) {
    std::vector<long> addresses;
    for (int i = 0; i < count; ++i) {
      long a = reserve(s, size);
      EXPECT_NE(a, 0);
      s.heapTop = static_cast<int32_t>(a + size);
      for (long f = 0; f < 16; f += 4)
        EXPECT_TRUE(put32(s, a + f, static_cast<int32_t>(a * 7 + f)));
      addresses.push_back(a);
    }
    return addresses;
  }
  // Reads the first `count` records back in turn, `rounds` times.
  static void check(Store& s, const std::vector<long>& records, size_t count = SIZE_MAX,
                    int rounds = 1) {
    for (int r = 0; r < rounds; ++r) {
      for (size_t i = 0; i < std::min(count, records.size()); ++i) {
        for (long f = 0; f < 16; f += 4) {
          ASSERT_EQ(get32(s, records[i] + f), records[i] * 7 + f) << "at " << records[i] + f;
        }
      }
    }
  }
};

TEST_F(PageCacheTest, ConfigurationFromArgumentsEnvironmentAndDefaults) {
  struct Row {
    const char *pagesEnv, *sizeEnv;
    long pages, size;
    int32_t frameLimit, pageSize;
    const char* warning;
  } rows[] = {
      {nullptr, nullptr, 0, 0, 8, 262144, ""},
      {nullptr, "512", 0, 0, 8, 262144,
       "QMPAGESIZE=512 is invalid (should be a number), using default (262144)"},
      {"0", nullptr, 0, 0, 8, 262144,
       "QMPAGES=0 is invalid (should be a number), using default (8)"},
      {"many", nullptr, 0, 0, 8, 262144,
       "QMPAGES=many is invalid (should be a number), using default (8)"},
      // Both bad: the page size is settled first, so the frame limit's warning stays.
      {"-3", "12", 0, 0, 8, 262144,
       "QMPAGES=-3 is invalid (should be a number), using default (8)"},
      // Arguments win over the environment.
      {"5", "4000", 3, 4096, 3, 4096, ""},
      {nullptr, "4000", 0, 100, 8, 100, ""},
      // A page too small for the header and the root record falls back to the default.
      {nullptr, nullptr, 3, 59, 3, 262144,
       "pageSize=59 is invalid (should be a number), using default (262144)"},
      {nullptr, nullptr, -1, 1024, 8, 1024,
       "pages=-1 is invalid (should be a number), using default (8)"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.pagesEnv ? row.pagesEnv : "-") + " " +
                 (row.sizeEnv ? row.sizeEnv : "-") + " " + std::to_string(row.pages) + " " +
                 std::to_string(row.size));
    ScopedEnv limit("QMPAGES", row.pagesEnv);
    ScopedEnv size("QMPAGESIZE", row.sizeEnv);
    Store s;
    configure(s, row.pages, row.size);
    EXPECT_EQ(s.frameLimit, row.frameLimit);
    EXPECT_EQ(s.pageSize, row.pageSize);
    EXPECT_EQ(s.hasError, *row.warning != '\0');
    EXPECT_EQ(std::string(s.errorCode.c_str()), *row.warning ? "ILLEGALVALUE" : "");
    EXPECT_EQ(std::string(s.errorMessage.c_str()), row.warning);
    EXPECT_FALSE(s.failed);
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
  start(s, 2);
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

TEST_F(PageCacheTest, DefaultLimitGrowsOnlyWhenPagesComeBackSoonAfterEviction) {
  {
    // Written once and read through in order: no page comes back soon, the limit stays.
    Store s;
    start(s, 0);
    auto pages = fill(s, 40, s.pageSize);
    check(s, pages, pages.size(), 2);
    EXPECT_EQ(s.frameLimit, 8);
    EXPECT_EQ(s.frameCount, 8);
    // Twelve pages in turn: each comes back four evictions after it left. The
    // limit doubles once, at the fourth such page (half the limit), and then they all fit.
    int reads = 0;
    while (s.frameLimit == 8 && reads < 36) get32(s, pages[reads++ % 12]);
    EXPECT_EQ(reads, 12 + 4);
    check(s, pages, 12, 3);
    EXPECT_EQ(s.frameLimit, 16);
    EXPECT_EQ(s.frameCount, 12);
    close(s);
  }
  {
    // Random reads of 40 pages keep bringing back pages evicted a little
    // earlier; the growth stops at 16 MiB of frames: 32 frames of 512 KiB.
    Store s;
    start(s, 0, 512 * 1024);
    auto pages = fill(s, 40, s.pageSize);
    uint32_t seed = 1;
    for (int i = 0; i < 2000; ++i) {
      seed = seed * 1103515245u + 12345u;
      long a = pages[(seed >> 16) % pages.size()];
      ASSERT_EQ(get32(s, a), a * 7);
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
    start(s, fromEnvironment ? 0 : 8);
    auto pages = fill(s, 40, s.pageSize);
    check(s, pages, 12, 6);
    EXPECT_EQ(s.frameLimit, 8);
    EXPECT_EQ(s.frameCount, 8);
    close(s);
  }
}

TEST_F(PageCacheTest, OneFrameReadsEverythingBackAndReleaseStopsAtTwo) {
  Store s;
  start(s, 1);
  auto all = fill(s, 500);
  check(s, all);
  EXPECT_EQ(s.frameCount, 1);
  // Hits on the head frame do no input or output.
  QmCFileFailAfter(0);
  EXPECT_EQ(get32(s, all[499]), all[499] * 7);
  EXPECT_EQ(get32(s, all[498] + 4), all[498] * 7 + 4);
  EXPECT_EQ(QmCFileCallCount(), 0);
  close(s);

  Store eight;
  start(eight, 8);
  all = fill(eight, 400);
  EXPECT_EQ(eight.frameCount, 7);
  shrink(eight);
  EXPECT_EQ(eight.frameCount, 2);
  EXPECT_FALSE(releaseLeastRecentlyUsed(eight));
  check(eight, all);
  close(eight);
}

TEST_F(PageCacheTest, MissingSwapPagesAndNegativeAddressesAreFatal) {
  Store s;
  configure(s, 1, 1024);
  s.heapTop = 4096;
  s.swapPages = 4;  // pages below this would be read from a file: none is open
  s.named = false;
  // The first miss makes the temporary file and reads, which fails: it is empty.
  EXPECT_EQ(resolve(s, 3000), nullptr);
  EXPECT_EQ(std::string(s.errorCode.c_str()), "NOFILEREAD");
  EXPECT_EQ(std::string(s.errorMessage.c_str()), "Could not fread page 2");
  EXPECT_TRUE(s.failed);
  close(s);

  Store n;
  configure(n, 2, 1024);
  EXPECT_EQ(resolve(n, -5), nullptr);
  EXPECT_EQ(std::string(n.errorCode.c_str()), "CANNOTHAPPEN");
  EXPECT_EQ(std::string(n.errorMessage.c_str()), "Negative swap-file address encountered: -5");
  EXPECT_TRUE(n.failed);
}

// A header may claim more heap than its file holds: walks are bounded by what
// can be read, so that a cycle in the bytes that are there ends soon.
TEST_F(PageCacheTest, WalksCountOnlyTheBytesTheFileHolds) {
  const std::string name = tmp.file("cut.qmb");
  Store w;
  open(w, name.c_str(), 'w', 2, 1024);
  fill(w, 400);
  ASSERT_GE(save(w), 0);
  const long heapTop = w.heapTop;
  close(w);
  const std::vector<uint8_t> bytes = test::readFile(name);
  ASSERT_EQ(static_cast<long>(bytes.size()), heapTop);
  for (long kept : {heapTop, 3000L}) {
    test::writeFile(name, std::vector<uint8_t>(bytes.begin(), bytes.begin() + kept));
    Store r;
    open(r, name.c_str(), 'r', 2, 0);
    EXPECT_EQ(r.heapTop, heapTop);
    EXPECT_EQ(readableHeap(r), kept);
    close(r);
  }
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
  EXPECT_EQ(get32(s, 1022), 0);   // would straddle pages 0 and 1
  EXPECT_TRUE(put8(s, 1023, 9));  // a byte at the page's end fits
  EXPECT_EQ(get8(s, 1023), 9);
}

TEST_F(PageCacheTest, HeapStringsNeedTheirZeroInsideThePage) {
  Store s;
  start(s, 2);
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
  // Per frame limit: the page each step touches and the order it leaves, from
  // three frames holding pages 1 to 3 (page 0 has left the cache), or two.
  struct Step {
    long page;
    const char* order;
  };
  const std::vector<Step> three = {
      {2, "231"}, {3, "321"}, {1, "132"}, {2, "213"}, {0, "021"}};  // the second, the tail, a miss
  const std::vector<Step> two = {{1, "12"}, {0, "01"}};             // the old head becomes the tail
  for (const auto& [frames, steps] : {std::pair{3, three}, std::pair{2, two}}) {
    Store s;
    start(s, frames);
    fill(s, frames, 1024);
    EXPECT_EQ(frameOrder(s), frames == 3 ? "321" : "21");
    for (const Step& step : steps) {
      SCOPED_TRACE(std::to_string(frames) + " frames, page " + std::to_string(step.page));
      get32(s, step.page * 1024 + 60);
      EXPECT_EQ(frameOrder(s), step.order);
    }
    close(s);
  }
}

}  // namespace
}  // namespace qmdb::store
