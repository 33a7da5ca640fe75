// What a peer of the benchmark does: the workloads, one virtual function each.
//
// A peer builds a document from the event list and saves it (workload 1),
// searches it by path (3) and, when it keeps an index, stores and looks up
// keys (4). The cold walk (2) runs in a fresh process through walkSaved().
// Every function returns what it found so that the caller can check that all
// peers agree; the caller does the timing.
#ifndef QMDB_BENCH_PEER_H
#define QMDB_BENCH_PEER_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Digest.h"
#include "Events.h"
#include "Generator.h"

namespace bench {

/// The result counts of the two path searches.
struct PathCounts {
  uint64_t itemNames = 0;    ///< .../item/name, //item/name
  uint64_t regionItems = 0;  ///< site/regions/*/item
};

/// The keys and queries of the index workload, the same for every peer.
struct IndexWork {
  std::vector<KeyedObject> keyed;                           ///< in document order
  std::vector<uint32_t> lookups;                            ///< positions in keyed
  std::vector<std::pair<std::string, std::string>> ranges;  ///< from, to
};

class Peer {
 public:
  virtual ~Peer() = default;
  virtual const char* name() const = 0;

  /// Whether the peer keeps documents (workloads 1 to 3) and an index (4).
  virtual bool hasTree() const { return true; }
  virtual bool hasIndex() const { return false; }

  /// Workload 1: makes the tree from the events and saves it to `path`.
  virtual void build(const EventList&, const std::string& path) { (void)path; }
  /// Workload 3: both path searches from the root.
  virtual PathCounts findPaths() { return {}; }

  /// Untimed: prepares the index workload (finds the keyed objects).
  virtual void indexPrepare(const IndexWork&) {}
  /// Workload 4: stores every key; lookups and range scans give entries found.
  virtual void indexPut(const IndexWork&) {}
  virtual uint64_t indexLookups(const IndexWork&) { return 0; }
  virtual uint64_t indexRanges(const IndexWork&) { return 0; }

  /// Untimed: frees the tree and closes files.
  virtual void close() {}
};

std::unique_ptr<Peer> makeQmdbPeer();
std::unique_ptr<Peer> makeLibxml2Peer();
std::unique_ptr<Peer> makePugixmlPeer();
std::unique_ptr<Peer> makeSqlitePeer();
std::unique_ptr<Peer> makeMultimapPeer();

/// The cold walk of each peer, run in a fresh process: opens the saved data at
/// `path` and reads every object in document order into the digest.
Digest walkQmdb(const std::string& path);
/// Qmdb's search and index work in a process of its own, for its memory: both
/// path searches from a fresh open, then the ids of every item and person
/// indexed and looked up `lookups` times at random; the number of entries
/// found. The index is added to the file at `path`.
uint64_t searchAndIndexQmdb(const std::string& path, size_t lookups);
Digest walkLibxml2(const std::string& path);
Digest walkPugixml(const std::string& path);
Digest walkSqlite(const std::string& path);

/// The reference digest, computed from the events themselves.
Digest digestEvents(const EventList& events);

}  // namespace bench

#endif
