// Rendering the results as Markdown and keeping one section per size in the
// results file (between HTML comment markers), so that running one size
// leaves the other size's numbers in place.
#include "Report.h"

#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace bench {

const std::vector<std::pair<std::string, std::string>> kWorkloads = {
    {"build", "1. build + save"},
    {"walk", "2. cold walk (open/parse + walk)"},
    {"path", "3. path search (both paths)"},
    {"put", "4a. index: store all keys"},
    {"lookup", "4b. index: exact lookups"},
    {"range", "4c. index: range scans"},
};

namespace {

const char kIntro[] =
    "# Qmdb peer benchmarks\n\n"
    "Written by `scripts/bench` (`make bench`: about 10 MB of XML, `make bench-large`: about "
    "100 MB, `make bench-huge`: about 850 MB, best of one). One program run per size measures "
    "Qmdb and its peers on the same generated "
    "auction-site document. Times are wall-clock, the best of the repeats; a ratio is the "
    "peer's time divided by Qmdb's (above 1: Qmdb is faster). The cold walk runs in a fresh "
    "process (the OS file cache is warm); its time is measured inside that process and its "
    "peak RSS is the child's VmHWM (its own high-water mark; `ru_maxrss` of a spawned child would "
    "include the parent's memory). Every peer's checksum of what it read, and every "
    "result count, equals the reference, or the program fails.\n\n"
    "Qmdb's search and index work runs once more in a fresh process of its own for its peak "
    "RSS (both path searches from a fresh open, then the ids indexed and 200 000 lookups); "
    "its build is not measured for memory, since the generated input lives in the same "
    "process.\n\n"
    "How each peer is used: Qmdb with its default cache (8 frames of 256 KiB, raised by the "
    "cache up to 64 while pages come back soon after eviction), a named "
    "database built with addNode/addAttribute/addString/addPi and saved with flush(false), "
    "walked read-only with next(p, QmdbTree), searched from a fresh read-only open of the "
    "saved file (pages mapped, not copied) with findPath(\".../item/name\") and "
    "findPath(\"site/regions/*/item\"), indexed with addIndex/putIndex/getIndex; libxml2's "
    "tree API, xmlSaveFile, xmlReadFile and XPath (//item/name, /site/regions/*/item); "
    "pugixml's append_child/append_attribute, save_file (raw), load_file (with PIs) and "
    "XPath; SQLite with default settings, one table of nodes in document order (rows in one "
    "transaction), path searches as joins by parent id, and a key table with an index, "
    "batches of reads in one read transaction; std::multimap<std::string, ordinal> for keys. "
    "The index workload stores the id of every item and person, then runs 200 000 exact "
    "lookups of random stored keys and 1000 range scans of 50 consecutive keys each "
    "(Qmdb's range rule: from `from` to the keys not above `to` or beginning with it).\n";

std::string beginMarker(const std::string& size) {
  return "<!-- results:" + size + " begin -->";
}
std::string endMarker(const std::string& size) {
  return "<!-- results:" + size + " end -->";
}

std::string readFile(const std::string& file) {
  std::ifstream in(file);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

std::string section(const std::string& text, const std::string& size) {
  size_t b = text.find(beginMarker(size));
  size_t e = text.find(endMarker(size));
  if (b == std::string::npos || e == std::string::npos || e < b) return "";
  return text.substr(b, e + endMarker(size).size() - b);
}

std::string format(const char* fmt, double v) {
  char buffer[64];
  snprintf(buffer, sizeof buffer, fmt, v);
  return buffer;
}

std::string timeText(double seconds) {
  if (seconds >= 10) return format("%.1f s", seconds);
  if (seconds >= 0.01) return format("%.0f ms", seconds * 1e3);
  return format("%.2f ms", seconds * 1e3);
}

const PeerResult* find(const SizeResults& r, const std::string& name) {
  for (const PeerResult& p : r.peers) {
    if (p.name == name) return &p;
  }
  return nullptr;
}

// The peer's time over Qmdb's for a workload; 0 when either is missing.
double ratio(const SizeResults& r, const std::string& peer, const std::string& workload) {
  const PeerResult* q = find(r, "Qmdb");
  const PeerResult* p = find(r, peer);
  if (q == nullptr || p == nullptr) return 0;
  auto qs = q->seconds.find(workload);
  auto ps = p->seconds.find(workload);
  if (qs == q->seconds.end() || ps == p->seconds.end() || qs->second <= 0) return 0;
  return ps->second / qs->second;
}

// One table row of a size per peer, in MB; "-" where the peer has none.
template <class Bytes>
void sizeRow(std::ostream& out, const SizeResults& r, const char* what, Bytes bytes) {
  out << "| " << what << " |";
  for (const PeerResult& p : r.peers) {
    double b = bytes(p);
    out << (b > 0 ? format(" %.1f MB |", b / 1048576.0) : std::string(" - |"));
  }
  out << "\n";
}

std::string verdict(bool holds) {
  return holds ? "**holds**" : "**missed**";
}

void target(std::ostream& out, const std::string& what, double measured, double wanted,
            const std::string& relation) {
  out << "| " << what << " | " << relation << format(" %.2fx", wanted) << " | "
      << format("%.2fx", measured) << " | " << verdict(measured >= wanted && measured > 0)
      << " |\n";
}

}  // namespace

const char* sizeTitle(const std::string& size) {
  return size == "huge" ? "Huge" : size == "large" ? "Large" : "Small";
}

std::string renderSection(const SizeResults& r, long otherRssKb) {
  std::ostringstream out;
  out << beginMarker(r.size) << "\n";
  out << "## " << sizeTitle(r.size) << ": " << format("%.1f", r.xmlMegabytes) << " MB of XML\n\n";
  out << "- machine: " << r.machine << "\n- date: " << r.date << "\n";
  out << "- load average when the run started (1, 5, 15 min): " << r.load
      << " (other work on the machine makes times noisier)\n";
  out << "- document: " << r.objects << " objects; index: " << r.keys << " keys, " << r.lookups
      << " exact lookups, " << r.ranges << " range scans; best of " << r.repeat << "\n\n";

  out << "| workload |";
  for (const PeerResult& p : r.peers) out << " " << p.name << " |";
  out << "\n|---|";
  for (size_t i = 0; i < r.peers.size(); ++i) out << "---:|";
  out << "\n";
  for (const auto& w : kWorkloads) {
    out << "| " << w.second << " |";
    for (const PeerResult& p : r.peers) {
      auto s = p.seconds.find(w.first);
      if (s == p.seconds.end()) {
        out << " - |";
        continue;
      }
      out << " " << timeText(s->second);
      if (p.name != "Qmdb") {
        double x = ratio(r, p.name, w.first);
        if (x > 0) out << format(" (%.2fx)", x);
      }
      out << " |";
    }
    out << "\n";
  }
  sizeRow(out, r, "peak RSS of the cold walk",
          [](const PeerResult& p) { return p.walkRssKb * 1024.0; });
  sizeRow(out, r, "peak RSS of the search and index work",
          [](const PeerResult& p) { return p.workRssKb * 1024.0; });
  sizeRow(out, r, "size of the saved data",
          [](const PeerResult& p) { return static_cast<double>(p.savedBytes); });
  out << "\n";

  out << "| target | wanted | measured | |\n|---|---|---|---|\n";
  target(out, "build + save vs libxml2", ratio(r, "libxml2", "build"), 2, "at least");
  target(out, "build + save vs SQLite", ratio(r, "SQLite", "build"), 10, "at least");
  target(out, "build + save vs pugixml", ratio(r, "pugixml", "build"), 1.5, "at least");
  target(out, "cold walk vs libxml2", ratio(r, "libxml2", "walk"), 3, "at least");
  target(out, "cold walk vs pugixml", ratio(r, "pugixml", "walk"), 2.5, "at least");
  target(out, "path search vs pugixml (its tree in memory)", ratio(r, "pugixml", "path"), 1,
         "at least");
  target(out, "exact lookup vs SQLite", ratio(r, "SQLite", "lookup"), 2, "at least");
  {
    double x = ratio(r, "multimap", "lookup");
    out << "| exact lookup vs std::multimap | at least 0.67x (within 1.5x) | " << format("%.2fx", x)
        << " | " << verdict(x > 0 && x >= 1 / 1.5) << " |\n";
  }
  const PeerResult* q = find(r, "Qmdb");
  if (q != nullptr && q->walkRssKb > 0) {
    double mb = q->walkRssKb / 1024.0;
    out << "| peak RSS of Qmdb's cold walk | under 16 MB";
    if (otherRssKb > 0)
      out << format(", within 2 MB of the other size's %.1f MB", otherRssKb / 1024.0);
    bool holds = mb < 16;
    if (otherRssKb > 0) {
      double other = otherRssKb / 1024.0;
      holds = holds && (mb - other < 2 && other - mb < 2);
    }
    out << " | " << format("%.1f MB", mb) << " | " << verdict(holds) << " |\n";
  }
  if (q != nullptr && q->workRssKb > 0) {
    double mb = q->workRssKb / 1024.0;
    out << "| peak RSS of Qmdb's search and index work | under 32 MB | " << format("%.1f MB", mb)
        << " | " << verdict(mb < 32) << " |\n";
  }
  out << "\n<!-- qmdb-walk-rss-kb: " << (q != nullptr ? q->walkRssKb : 0) << " -->\n";
  out << endMarker(r.size) << "\n";
  return out.str();
}

long recordedQmdbRss(const std::string& file, const std::string& size) {
  std::string s = section(readFile(file), size);
  const std::string key = "<!-- qmdb-walk-rss-kb: ";
  size_t at = s.find(key);
  return at == std::string::npos ? 0 : std::atol(s.c_str() + at + key.size());
}

void updateResultsFile(const std::string& file, const std::string& size, const std::string& text) {
  std::string old = readFile(file);
  std::ofstream out(file, std::ios::trunc);
  out << kIntro;
  for (const char* each : {"small", "large", "huge"}) {
    std::string kept = size == each ? text : section(old, each);
    if (!kept.empty()) out << "\n" << kept;
  }
  if (!out) throw std::runtime_error("cannot write " + file);
}

}  // namespace bench
