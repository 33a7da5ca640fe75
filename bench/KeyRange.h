// The key ranges of the index workload, in Qmdb's sense: from `from` up to the
// keys that are not above `to` or that begin with it. For byte-wise ordered
// keys that is the half-open range [from, limit) where limit is the first
// text above every text that begins with `to`.
#ifndef QMDB_BENCH_KEYRANGE_H
#define QMDB_BENCH_KEYRANGE_H

#include <string>

namespace bench {

/// The first text above every text that begins with `to`; empty when there is none.
inline std::string rangeLimit(std::string to) {
  while (!to.empty() && static_cast<unsigned char>(to.back()) == 0xff) to.pop_back();
  if (!to.empty()) to.back() = static_cast<char>(static_cast<unsigned char>(to.back()) + 1);
  return to;
}

}  // namespace bench

#endif
