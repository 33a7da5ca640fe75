// A small deterministic random number generator (splitmix64), so that every
// run and every peer sees the same documents, keys and lookups.
#ifndef QMDB_BENCH_RANDOM_H
#define QMDB_BENCH_RANDOM_H

#include <cstdint>

namespace bench {

class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}

  uint64_t next() {
    uint64_t z = (state_ += 0x9e3779b97f4a7c15ULL);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
    return z ^ (z >> 31);
  }
  /// A number in [0, n); 0 when n is 0.
  uint64_t below(uint64_t n) { return n == 0 ? 0 : next() % n; }
  /// A number in [low, high].
  long between(long low, long high) {
    return low + static_cast<long>(below(static_cast<uint64_t>(high - low + 1)));
  }
  /// True with probability percent / 100.
  bool chance(int percent) { return below(100) < static_cast<uint64_t>(percent); }

 private:
  uint64_t state_;
};

}  // namespace bench

#endif
