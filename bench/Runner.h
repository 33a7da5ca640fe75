// The `run` command: generates the document of one size, runs every workload
// for Qmdb and each peer, checks that they all read and found the same, and
// reports.
#ifndef QMDB_BENCH_RUNNER_H
#define QMDB_BENCH_RUNNER_H

#include <string>

namespace bench {

struct RunOptions {
  std::string size = "small";  ///< names the results section
  double megabytes = 10;       ///< XML size to generate
  std::string dir = ".";       ///< scratch directory for the saved data
  std::string results;         ///< results file to update; empty: none
  std::string self;            ///< this program, for the cold walks
  int repeat = 5;              ///< timed repeats; the best is kept
};

/// Runs everything; 0 when every peer agreed, 1 (after printing why) otherwise.
int runBenchmarks(const RunOptions& options);

}  // namespace bench

#endif
