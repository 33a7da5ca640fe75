// The cold walk: runs this program again as `walk PEER FILE`, so that the
// walk starts in a fresh process, and collects what the child reports.
#ifndef QMDB_BENCH_COLDWALK_H
#define QMDB_BENCH_COLDWALK_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

struct WalkReport {
  uint64_t checksum = 0;
  uint64_t objects = 0;
  double seconds = 0;  ///< open (and parse) plus walk, measured in the child
  long peakRssKb = 0;  ///< the child's VmHWM (peak resident set)
};

/// Runs `self` with `args` in a fresh process and gives its standard output;
/// throws when it cannot start or does not exit with 0.
std::string runSelf(const std::string& self, const std::vector<std::string>& args);

/// The pseudo-peer whose "walk" is Qmdb's search and index work
/// (searchAndIndexQmdb), run in a fresh process for its peak memory.
inline constexpr char kQmdbWork[] = "Qmdb-work";
/// The lookups that work makes.
inline constexpr size_t kWorkLookups = 200000;

/// Spawns `self walk peer path` and parses its report; throws when the child fails.
WalkReport runColdWalk(const std::string& self, const std::string& peer, const std::string& path);

/// The child's side: walks and prints the report line; the process exit code.
int walkCommand(const std::string& peer, const std::string& path);

}  // namespace bench

#endif
