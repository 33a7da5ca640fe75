// Databases used from different threads at once, each converting from Latin-1,
// share nothing (holding strings, the file seam's counters, locks): every
// thread reads back exactly what it wrote. scripts/test also runs it under TSan.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "Qmdb/Qmdb"
#include "support/TestSupport.h"

namespace {

using qmdb::test::TempDir;

// A Latin-1 text that differs per thread and item: "caf\xe9 <thread>.<item>".
std::string latin1Text(int thread, int item) {
  return "caf\xe9 \xfc" + std::to_string(thread) + "." + std::to_string(item);
}

// Builds `name` in two small frames (pages go to the file and come back),
// saves and reads it back; the number of mismatches.
int buildAndReadBack(const std::string& name, int thread) {
  int mismatches = 0;
  {
    Qmdb db(name.c_str(), QmdbFileWrite, 2, 1024);
    if (!db.isValid() || !db.pushCoding("ISO8859-1")) return -1;
    long top = db.addNode(1, "\xe9l\xe9ments");
    for (int i = 0; i < 150; ++i) {
      long item = db.addNode(top, "\xe9l\xe9ment");
      db.addString(item, latin1Text(thread, i).c_str());
    }
    db.flush(false);
  }
  Qmdb db(name.c_str(), QmdbFileRead, 2, 0);
  if (!db.isValid() || !db.pushCoding("ISO8859-1")) return -1;
  long top = db.first(1);
  if (std::string(db.getGid(top)) != "\xe9l\xe9ments") ++mismatches;
  int i = 0;
  for (long item = db.first(top); item != 0; item = db.next(item, QmdbSiblings), ++i) {
    const char* text = db.getValue(db.first(item));
    if (text == nullptr || text != latin1Text(thread, i)) ++mismatches;
  }
  return i == 150 ? mismatches : mismatches + 1;
}

TEST(Threads, DatabasesInDifferentThreadsConvertAndSaveIndependently) {
  TempDir tmp;
  constexpr int kThreads = 4;
  std::vector<int> mismatches(kThreads, -2);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      mismatches[t] = buildAndReadBack(tmp.file("db" + std::to_string(t) + ".qmb"), t);
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(mismatches[t], 0) << "thread " << t;
}

}  // namespace
