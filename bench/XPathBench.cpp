// The XPath workloads (see XPathBench.h). A query's count is the number of
// nodes of a node-set, or the value of a number.
#include "XPathBench.h"

#include <libxml/parser.h>
#include <libxml/xpath.h>
#include <sys/stat.h>

#include <Qmdb/QmdbXPath>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <pugixml.hpp>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "ColdWalk.h"
#include "Measure.h"
#include "Report.h"

namespace bench {
namespace {

struct Query {
  const char* label;
  std::string expression;
  bool indexed;  // Qmdb answers from the copy with an "item/@id" index
};

struct Timing {
  double seconds = 0;
  long rssKb = 0;
  double count = 0;
  bool ran = false;
};

double countQmdb(const std::string& path, const std::string& expression) {
  Qmdb db(path.c_str(), QmdbFileRead);
  if (!db.isValid()) throw std::runtime_error("cannot open " + path);
  double count = 0;
  QmdbXPath::Result r = QmdbXPath::forEach(db, expression, 1, {}, [&](const QmdbXPath::Node&) {
    ++count;
    return true;
  });
  if (!r) throw std::runtime_error("Qmdb: " + r.message);
  return r.value.kind == QmdbXPath::Value::Number ? r.value.number : count;
}

double countLibxml2(const std::string& path, const std::string& expression) {
  xmlDocPtr doc = xmlReadFile(path.c_str(), nullptr, XML_PARSE_NONET | XML_PARSE_HUGE);
  if (doc == nullptr) throw std::runtime_error("libxml2 cannot read " + path);
  xmlXPathContextPtr ctx = xmlXPathNewContext(doc);
  xmlXPathObjectPtr r =
      xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>(expression.c_str()), ctx);
  // No result at all: libxml2 gave up (its node-sets stop at ten million nodes).
  double count = r == nullptr ? std::nan("") : 0;
  if (r != nullptr && r->type == XPATH_NODESET) {
    count = r->nodesetval != nullptr ? r->nodesetval->nodeNr : 0;
  } else if (r != nullptr) {
    count = xmlXPathCastToNumber(r);
  }
  xmlXPathFreeObject(r);
  xmlXPathFreeContext(ctx);
  xmlFreeDoc(doc);
  return count;
}

double countPugixml(const std::string& path, const std::string& expression) {
  pugi::xml_document doc;
  if (!doc.load_file(path.c_str(), pugi::parse_default | pugi::parse_pi)) {
    throw std::runtime_error("pugixml cannot read " + path);
  }
  pugi::xpath_query query(expression.c_str());
  if (query.return_type() == pugi::xpath_type_node_set) {
    return static_cast<double>(query.evaluate_node_set(doc).size());
  }
  return query.evaluate_number(doc);
}

// A copy of the saved database with the index "item/@id" that the equality
// predicate on items' ids can use.
void makeIndexedCopy(const std::string& from, const std::string& to) {
  {
    std::ifstream in(from, std::ios::binary);
    std::ofstream out(to, std::ios::binary | std::ios::trunc);
    out << in.rdbuf();
    if (!out) throw std::runtime_error("cannot copy " + from);
  }
  Qmdb db(to.c_str(), QmdbFileUpdate);
  long index = db.addIndex("item/@id");
  QmdbXPath::Result r = QmdbXPath::forEach(db, "//item[@id]", 1, {}, [&](const QmdbXPath::Node& n) {
    long a = db.attribute(n.object, "id", QmdbNoAttributeType, QmdbNoAttributeClass, true);
    std::string key = db.attrValue(a);
    return db.putIndex(index, n.object, key.c_str(), false) != 0;
  });
  if (!r || !db.flush(false) || !db.isValid()) throw std::runtime_error("cannot index " + to);
}

std::string millis(double seconds) {
  char buffer[32];
  snprintf(buffer, sizeof buffer, seconds < 0.1 ? "%.1f ms" : "%.0f ms", seconds * 1000);
  return buffer;
}

void writeSection(const std::string& file, const std::string& size, const std::string& text) {
  std::string begin = "<!-- xpath:" + size + " begin -->";
  std::string end = "<!-- xpath:" + size + " end -->";
  std::stringstream old;
  old << std::ifstream(file).rdbuf();
  std::string all = old.str();
  if (all.empty()) {
    all =
        "# XPath benchmarks\n\nWritten by `scripts/bench` with the peer benchmarks. Each query "
        "runs in a fresh process: Qmdb opens the saved database and evaluates lazily, libxml2 "
        "and pugixml parse the XML and then evaluate, as a command-line query would. Times are "
        "the best of the repeats, open or parse included; RSS is the process's peak.\n";
  }
  std::string block = begin + "\n" + text + end + "\n";
  size_t b = all.find(begin);
  size_t e = all.find(end);
  if (b != std::string::npos && e != std::string::npos) {
    all.replace(b, e + end.size() + 1 - b, block);
  } else {
    all += "\n" + block;
  }
  std::ofstream(file, std::ios::trunc) << all;
}

}  // namespace

int xpathCommand(const std::string& peer, const std::string& path, const std::string& expression) {
  Stopwatch clock;
  double count = 0;
  if (peer == "Qmdb") {
    count = countQmdb(path, expression);
  } else if (peer == "libxml2") {
    count = countLibxml2(path, expression);
  } else if (peer == "pugixml") {
    count = countPugixml(path, expression);
  } else {
    fprintf(stderr, "xpath: unknown peer %s\n", peer.c_str());
    return 2;
  }
  double seconds = clock.seconds();
  printf("count=%.17g usec=%lld hwm_kb=%ld\n", count, static_cast<long long>(seconds * 1e6),
         peakResidentKb());
  return 0;
}

bool runXPathWorkloads(const RunOptions& o, const std::string& xmlPath,
                       const std::string& qmdbPath) {
  std::string indexedPath = qmdbPath + ".indexed";
  makeIndexedCopy(qmdbPath, indexedPath);
  const std::string byId = "//item[@id='item100']";
  const std::vector<Query> queries = {
      {"//item/name", "//item/name", false},
      {"//item[@id='item100'], no index", byId, false},
      {"//item[@id='item100'], index", byId, true},
      {"count(//*)", "count(//*)", false},
  };
  const char* peers[] = {"Qmdb", "libxml2", "pugixml"};
  bool agree = true;
  std::ostringstream table;
  bool gaveUp = false;
  table << "## " << sizeTitle(o.size) << " (" << nowUtc() << ")\n\n"
        << "- machine: " << machineDescription() << "; load average (1, 5, 15 min) "
        << loadAverage() << "; best of " << o.repeat << "\n\n"
        << "| query | Qmdb | libxml2 | pugixml | nodes |\n|---|---:|---:|---:|---:|\n";
  for (const Query& q : queries) {
    Timing t[3];
    for (int p = 0; p < 3; ++p) {
      if (q.indexed && p != 0) continue;
      const std::string& file = p == 0 ? (q.indexed ? indexedPath : qmdbPath) : xmlPath;
      for (int n = 0; n < o.repeat; ++n) {
        std::string out = runSelf(o.self, {"xpath", peers[p], file, q.expression});
        long long usec = 0;
        long hwm = 0;
        double count = 0;
        if (sscanf(out.c_str(), "count=%lf usec=%lld hwm_kb=%ld", &count, &usec, &hwm) != 3) {
          throw std::runtime_error(std::string("xpath run of ") + peers[p] + " said: " + out);
        }
        double s = usec / 1e6;
        if (!t[p].ran || s < t[p].seconds) t[p].seconds = s;
        t[p].rssKb = std::max(t[p].rssKb, hwm);
        t[p].count = count;
        t[p].ran = true;
      }
      if (std::isnan(t[p].count)) {
        gaveUp = true;
      } else if (t[p].count != t[0].count) {
        fprintf(stderr, "MISMATCH xpath %s: %s found %.17g, Qmdb %.17g\n", q.label, peers[p],
                t[p].count, t[0].count);
        agree = false;
      }
    }
    table << "| `" << q.label << "` |";
    for (int p = 0; p < 3; ++p) {
      if (!t[p].ran) {
        table << " - |";
        continue;
      }
      char cell[96];
      if (std::isnan(t[p].count)) {
        snprintf(cell, sizeof cell, " gave up, %.1f MB |", t[p].rssKb / 1024.0);
      } else {
        snprintf(cell, sizeof cell, " %s, %.1f MB |", millis(t[p].seconds).c_str(),
                 t[p].rssKb / 1024.0);
      }
      table << cell;
    }
    table << " " << static_cast<long long>(t[0].count) << " |\n";
  }
  if (gaveUp) {
    table << "\n- gave up: libxml2's XPath returned no result (its node-sets stop at ten "
             "million nodes).\n";
  }
  std::string text = table.str();
  printf("\nXPath (time, peak RSS):\n%s\n", text.c_str());
  if (agree && !o.results.empty()) {
    std::string file = o.results.substr(0, o.results.find_last_of('/') + 1) + "xpath-results.md";
    writeSection(file, o.size, text);
    printf("updated %s\n", file.c_str());
  }
  std::remove(indexedPath.c_str());
  return agree;
}

}  // namespace bench
