// The run: generation, then per peer build + save, path search and index
// (in process), then a cold walk per peer in a fresh process. Every result
// is checked against the reference (the events' own digest, and Qmdb's counts).
#include "Runner.h"

#include <sys/stat.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <functional>
#include <stdexcept>

#include "ColdWalk.h"
#include "Measure.h"
#include "Peer.h"
#include "Random.h"
#include "Report.h"
#include "XPathBench.h"
#include "XmlWriter.h"

namespace bench {

namespace {

constexpr size_t kLookups = 200000;
constexpr size_t kRanges = 1000;
constexpr size_t kRangeWidth = 50;  // keys from the range's first to its last, in key order

uint64_t fileSize(const std::string& path) {
  struct stat st {};
  return stat(path.c_str(), &st) == 0 ? static_cast<uint64_t>(st.st_size) : 0;
}

IndexWork makeIndexWork(const Document& doc) {
  IndexWork work;
  work.keyed = doc.keyed;
  Random rnd(0x10c4ed);
  work.lookups.reserve(kLookups);
  for (size_t i = 0; i < kLookups; ++i) {
    work.lookups.push_back(static_cast<uint32_t>(rnd.below(work.keyed.size())));
  }
  std::vector<std::string> sorted;
  for (const KeyedObject& k : work.keyed) sorted.push_back(k.key);
  std::sort(sorted.begin(), sorted.end());
  for (size_t i = 0; i < kRanges && sorted.size() > kRangeWidth; ++i) {
    size_t from = rnd.below(sorted.size() - kRangeWidth);
    work.ranges.emplace_back(sorted[from], sorted[from + kRangeWidth - 1]);
  }
  return work;
}

// The best time of `repeat` runs of `body`; `before` runs untimed before each.
double best(
    int repeat, const std::function<void()>& body, const std::function<void()>& before = [] {}) {
  double fastest = 0;
  for (int i = 0; i < repeat; ++i) {
    before();
    Stopwatch clock;
    body();
    double s = clock.seconds();
    if (i == 0 || s < fastest) fastest = s;
  }
  return fastest;
}

// Collects disagreements; the run fails when there is any.
class Checker {
 public:
  void equal(const std::string& what, const std::string& peer, uint64_t got, uint64_t want) {
    if (got == want) return;
    char line[256];
    snprintf(line, sizeof line, "%s: %s gave %" PRIu64 ", expected %" PRIu64, what.c_str(),
             peer.c_str(), got, want);
    problems_.push_back(line);
    fprintf(stderr, "MISMATCH %s\n", line);
  }
  const std::vector<std::string>& problems() const { return problems_; }

 private:
  std::vector<std::string> problems_;
};

}  // namespace

int runBenchmarks(const RunOptions& o) {
  Stopwatch total;
  std::string load = loadAverage();
  printf("generating about %.0f MB of XML...\n", o.megabytes);
  Document doc = generateDocument(o.megabytes);
  const EventList& events = doc.events;
  Digest reference = digestEvents(events);
  std::string xmlPath = o.dir + "/site.xml";
  double xmlMb = writeXml(events, xmlPath) / 1e6;  // decimal megabytes
  IndexWork work = makeIndexWork(doc);
  printf("  %.1f MB of XML, %zu events, %" PRIu64 " objects, %zu keys, checksum %016" PRIx64 "\n",
         xmlMb, events.events().size(), reference.objects(), work.keyed.size(), reference.value());

  SizeResults results;
  results.size = o.size;
  results.xmlMegabytes = xmlMb;
  results.objects = reference.objects();
  results.keys = work.keyed.size();
  results.lookups = work.lookups.size();
  results.ranges = work.ranges.size();
  results.repeat = o.repeat;
  results.machine = machineDescription();
  results.load = load;
  results.date = nowUtc();

  Checker check;
  bool havePaths = false;
  PathCounts wantPaths;
  bool haveIndex = false;
  uint64_t wantLookups = work.lookups.size();  // every key is stored once
  uint64_t wantRanges = 0;

  std::vector<std::unique_ptr<Peer>> peers;
  peers.push_back(makeQmdbPeer());
  peers.push_back(makeLibxml2Peer());
  peers.push_back(makePugixmlPeer());
  peers.push_back(makeSqlitePeer());
  peers.push_back(makeMultimapPeer());
  std::vector<std::string> saved(peers.size());

  for (size_t i = 0; i < peers.size(); ++i) {
    Peer& peer = *peers[i];
    PeerResult r;
    r.name = peer.name();
    printf("%s:", peer.name());
    fflush(stdout);
    if (peer.hasTree()) {
      saved[i] = o.dir + "/" + peer.name() + ".data";
      r.seconds["build"] = best(
          o.repeat, [&] { peer.build(events, saved[i]); }, [&] { peer.close(); });
      r.savedBytes = fileSize(saved[i]);
      PathCounts got;
      r.seconds["path"] = best(o.repeat, [&] { got = peer.findPaths(); });
      if (!havePaths) {
        wantPaths = got;
        havePaths = true;
      }
      check.equal("path .../item/name", peer.name(), got.itemNames, wantPaths.itemNames);
      check.equal("path site/regions/*/item", peer.name(), got.regionItems, wantPaths.regionItems);
      printf(" build %.3f s, paths %" PRIu64 "/%" PRIu64 " %.3f s;", r.seconds["build"],
             got.itemNames, got.regionItems, r.seconds["path"]);
    }
    if (peer.hasIndex()) {
      peer.indexPrepare(work);
      r.seconds["put"] = best(1, [&] { peer.indexPut(work); });
      uint64_t lookups = 0;
      uint64_t ranges = 0;
      r.seconds["lookup"] = best(o.repeat, [&] { lookups = peer.indexLookups(work); });
      r.seconds["range"] = best(o.repeat, [&] { ranges = peer.indexRanges(work); });
      if (!haveIndex) {
        wantRanges = ranges;
        haveIndex = true;
      }
      check.equal("exact lookups", peer.name(), lookups, wantLookups);
      check.equal("range scans", peer.name(), ranges, wantRanges);
      printf(" put %.3f s, lookups %" PRIu64 " %.3f s, ranges %" PRIu64 " %.3f s;",
             r.seconds["put"], lookups, r.seconds["lookup"], ranges, r.seconds["range"]);
    }
    peer.close();
    printf("\n");
    results.peers.push_back(r);
  }

  for (size_t i = 0; i < peers.size(); ++i) {
    if (!peers[i]->hasTree()) continue;
    PeerResult& r = results.peers[i];
    WalkReport best;
    for (int n = 0; n < o.repeat; ++n) {
      WalkReport w = runColdWalk(o.self, r.name, saved[i]);
      check.equal("walk checksum", r.name, w.checksum, reference.value());
      check.equal("walk objects", r.name, w.objects, reference.objects());
      if (n == 0 || w.seconds < best.seconds) best.seconds = w.seconds;
      best.peakRssKb = std::max(best.peakRssKb, w.peakRssKb);
      best.checksum = w.checksum;
    }
    r.seconds["walk"] = best.seconds;
    r.walkRssKb = best.peakRssKb;
    printf("%s: cold walk %.3f s, peak RSS %.1f MB, checksum %016" PRIx64 "\n", r.name.c_str(),
           best.seconds, best.peakRssKb / 1024.0, best.checksum);
  }

  bool xpathAgrees = runXPathWorkloads(o, xmlPath, saved[0]);

  // Qmdb's search and index work once more, in a process of its own, for its
  // peak memory. It adds an index to Qmdb's file, after every walk of it.
  if (!saved.empty() && !saved[0].empty()) {
    WalkReport w = runColdWalk(o.self, kQmdbWork, saved[0]);
    check.equal("search and index work", "Qmdb", w.checksum,
                wantPaths.itemNames + wantPaths.regionItems + kWorkLookups);
    results.peers[0].workRssKb = w.peakRssKb;
    printf("Qmdb: search and index work in a fresh process, peak RSS %.1f MB\n",
           w.peakRssKb / 1024.0);
  }

  long otherRss =
      o.results.empty() ? 0 : recordedQmdbRss(o.results, o.size == "small" ? "large" : "small");
  std::string section = renderSection(results, otherRss);
  printf("\n%s\n", section.c_str());
  if (!check.problems().empty() || !xpathAgrees) {
    fprintf(stderr, "FAILED: %zu disagreement(s) between the peers; results not written\n",
            check.problems().size());
    return 1;
  }
  if (!o.results.empty()) {
    updateResultsFile(o.results, o.size, section);
    printf("updated %s (%s section)\n", o.results.c_str(), o.size.c_str());
  }
  printf("all peers agree; total %.1f s\n", total.seconds());
  return 0;
}

}  // namespace bench
