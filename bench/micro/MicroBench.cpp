// Micro-benchmarks of single engine operations: resolving heap addresses in
// the page cache (head hit, other frame, swap), attaching a node (addNode),
// reading an id (getId), storing and looking up index keys, and a durable
// save that first overwrites saved pages (journal, syncs, lock held).
#include <benchmark/benchmark.h>

#include <Qmdb/Qmdb>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "Qmdb/handle/Internal.h"
#include "Qmdb/store/PageCache.h"

namespace {

using qmdb::handle::Internal;
using qmdb::store::Store;

// A nameless working store with `pages` frames of `pageSize` bytes, filled
// with strings until its heap spans `heapPages` pages.
std::unique_ptr<Qmdb> filledStore(long frames, long pageSize, long heapPages) {
  auto db = std::make_unique<Qmdb>(nullptr, QmdbFileWrite, frames, pageSize);
  std::string text(200, 'x');
  while (db->getSize() < heapPages * pageSize) db->addString(1, text.c_str());
  return db;
}

// Addresses of 32-bit words spread over `pages` pages, `perPage` in each, visited page by page.
std::vector<long> addresses(const Store& s, long pages, long perPage, bool interleave) {
  std::vector<long> out;
  for (long i = 0; i < pages * perPage; ++i) {
    long page = interleave ? i % pages : i / perPage;
    long word = interleave ? i / pages : i % perPage;
    out.push_back(page * s.pageSize + 64 + word * 4 * 37 % (s.pageSize - 128));
  }
  return out;
}

void BM_ResolveHeadHit(benchmark::State& state) {
  auto db = filledStore(8, 262144, 2);
  Store& s = *Internal::store(*db);
  std::vector<long> at = addresses(s, 1, 1024, false);
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(qmdb::store::get32(s, at[i]));
    if (++i == at.size()) i = 0;
  }
}
BENCHMARK(BM_ResolveHeadHit);

void BM_ResolveOtherFrame(benchmark::State& state) {
  auto db = filledStore(8, 262144, 6);
  Store& s = *Internal::store(*db);
  std::vector<long> at = addresses(s, 6, 256, true);  // every access changes page
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(qmdb::store::get32(s, at[i]));
    if (++i == at.size()) i = 0;
  }
}
BENCHMARK(BM_ResolveOtherFrame);

void BM_ResolveSwapMiss(benchmark::State& state) {
  auto db = filledStore(2, 4096, 64);
  Store& s = *Internal::store(*db);
  std::vector<long> at = addresses(s, 64, 16, true);  // every access reads a page back
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(qmdb::store::resolve(s, at[i]));
    if (++i == at.size()) i = 0;
  }
}
BENCHMARK(BM_ResolveSwapMiss);

void BM_AddNode(benchmark::State& state) {
  Qmdb db;
  long parent = db.addNode(1, "regions");
  long added = 0;
  for (auto _ : state) {
    if (++added % 64 == 0) parent = db.addNode(1, "region");
    benchmark::DoNotOptimize(db.addNode(parent, "item"));
    if (added == 1000000) {
      state.PauseTiming();
      db.clear();
      parent = db.addNode(1, "regions");
      added = 0;
      state.ResumeTiming();
    }
  }
}
BENCHMARK(BM_AddNode);

void BM_GetId(benchmark::State& state) {
  Qmdb db;
  std::vector<long> nodes;
  for (int i = 0; i < 4096; ++i)
    nodes.push_back(db.addNode(1, ("gid" + std::to_string(i % 97)).c_str()));
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(db.getId(nodes[i]));
    if (++i == nodes.size()) i = 0;
  }
}
BENCHMARK(BM_GetId);

// The index benchmarks give the cache room for the whole key tree (64 frames
// of 256 KiB), so that they time the tree and not the swap file.
constexpr long kIndexFrames = 64;

void BM_PutIndex(benchmark::State& state) {
  Qmdb db(nullptr, QmdbFileWrite, kIndexFrames, 0);
  long node = db.addNode(1, "item");
  long index = db.addIndex("ids");
  long n = 0;
  char key[32];
  for (auto _ : state) {
    snprintf(key, sizeof key, "item%ld", n * 7919 % 1000003);
    benchmark::DoNotOptimize(db.putIndex(index, node, key, false));
    if (++n == 200000) {
      state.PauseTiming();
      db.clear();
      node = db.addNode(1, "item");
      index = db.addIndex("ids");
      n = 0;
      state.ResumeTiming();
    }
  }
}
BENCHMARK(BM_PutIndex);

void BM_GetIndexExact(benchmark::State& state) {
  Qmdb db(nullptr, QmdbFileWrite, kIndexFrames, 0);
  long node = db.addNode(1, "item");
  long index = db.addIndex("ids");
  constexpr long kKeys = 100000;
  for (long k = 0; k < kKeys; ++k)
    db.putIndex(index, node, ("item" + std::to_string(k)).c_str(), false);
  std::vector<std::string> keys;
  for (long k = 0; k < 4096; ++k) keys.push_back("item" + std::to_string(k * 7919 % kKeys));
  QmdbList list;
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(db.getIndex(&list, index, keys[i].data(), nullptr));
    list.clear();
    if (++i == keys.size()) i = 0;
  }
}
BENCHMARK(BM_GetIndexExact);

}  // namespace

// One edit session on a saved file: changes `range(0)` of its 16 saved pages
// of 4 KB (each first saved away into the journal) and saves durably.
void BM_EditSave(benchmark::State& state) {
  char pattern[] = "/tmp/qmb_bench_XXXXXX";
  std::string dir = mkdtemp(pattern);
  std::string name = dir + "/db.qmb";
  {
    Qmdb db(name.c_str(), QmdbFileWrite, 0, 4096);
    std::string text(200, 'x');
    while (db.getSize() < 16 * 4096) db.addString(1, text.c_str());
  }
  {
    Qmdb db(name.c_str(), QmdbFileUpdate, 0, 0);
    long first = db.first(1);
    long pages = state.range(0);
    for (auto _ : state) {
      long object = first;
      for (long page = 0; page < pages; ++page) {
        db.setValue(object, "y");  // dirties the object's page
        for (long skip = 0; skip < 18 && object != 0; ++skip) {
          object = db.next(object, QmdbSiblings);
        }
      }
      db.flush(false);
    }
    state.SetLabel(db.isValid() ? "saved" : "failed");
  }
  remove(name.c_str());
  rmdir(dir.c_str());
}
BENCHMARK(BM_EditSave)->Arg(1)->Arg(8)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
