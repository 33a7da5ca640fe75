// The XPath workloads: each query runs in a fresh process per peer (Qmdb
// opening the saved database, libxml2 and pugixml parsing the XML first, as
// a command-line query would), timed and with its peak RSS, and every peer
// must find the same number of nodes.
#ifndef QMDB_BENCH_XPATHBENCH_H
#define QMDB_BENCH_XPATHBENCH_H

#include <string>

#include "Runner.h"

namespace bench {

/// Runs the XPath workloads on the generated XML and Qmdb's saved database
/// (an indexed copy is made beside it), prints the table and, when a results
/// file is named, writes it to bench/xpath-results.md beside that file.
/// False (after printing why) when the peers disagree.
bool runXPathWorkloads(const RunOptions& options, const std::string& xmlPath,
                       const std::string& qmdbPath);

/// The child's side: `xpath PEER FILE EXPR` prints "count=N usec=U hwm_kb=K".
int xpathCommand(const std::string& peer, const std::string& path, const std::string& expression);

}  // namespace bench

#endif
