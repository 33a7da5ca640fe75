// The results of one size: a table of times per workload and peer, the ratio
// of each peer to Qmdb, peak memory, and whether the targets hold; printed
// and kept in bench/results.md, one section per size.
#ifndef QMDB_BENCH_REPORT_H
#define QMDB_BENCH_REPORT_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace bench {

/// The workloads in table order, by key.
extern const std::vector<std::pair<std::string, std::string>> kWorkloads;

struct PeerResult {
  std::string name;
  std::map<std::string, double> seconds;  ///< by workload key; absent: not run
  long walkRssKb = 0;                     ///< peak RSS of the cold walk; 0: none
  long workRssKb = 0;       ///< peak RSS of the search and index work in a fresh process; 0: none
  uint64_t savedBytes = 0;  ///< size of the saved data; 0: none
};

struct SizeResults {
  std::string size;  ///< "small", "large" or "huge"
  double xmlMegabytes = 0;
  uint64_t objects = 0;
  uint64_t keys = 0;
  uint64_t lookups = 0;
  uint64_t ranges = 0;
  int repeat = 1;
  std::string machine;
  std::string load;  ///< load averages when the run started
  std::string date;
  std::vector<PeerResult> peers;  ///< Qmdb first
};

/// The heading word of a size ("small", "large" or "huge"): "Small", "Large", "Huge".
const char* sizeTitle(const std::string& size);

/// The Markdown section for one size. `otherRssKb` is Qmdb's cold-walk RSS at
/// the other size (0: unknown), for the memory target.
std::string renderSection(const SizeResults& results, long otherRssKb);

/// Qmdb's cold-walk RSS recorded in the results file's section for `size`; 0 when none.
long recordedQmdbRss(const std::string& file, const std::string& size);

/// Replaces (or adds) the section of `size` in the results file, keeping the other.
void updateResultsFile(const std::string& file, const std::string& size,
                       const std::string& section);

}  // namespace bench

#endif
