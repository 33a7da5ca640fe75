// qmdb_bench: Qmdb side by side with libxml2, pugixml, SQLite and
// std::multimap on generated auction-site documents.
//
//   qmdb_bench run [--size small|large|huge] [--mb N] [--dir D] [--results F] [--repeat N]
//   qmdb_bench walk PEER FILE        (the cold walk, run in a fresh process by `run`)
//   qmdb_bench xpath PEER FILE EXPR  (one XPath query, run in a fresh process by `run`)
//   qmdb_bench generate MB FILE      (writes the generated document as XML)
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include "ColdWalk.h"
#include "Generator.h"
#include "Runner.h"
#include "XPathBench.h"
#include "XmlWriter.h"

namespace {

int usage() {
  fprintf(stderr,
          "usage: qmdb_bench run [--size small|large|huge] [--mb N] [--dir D] [--results F] "
          "[--repeat N]\n"
          "       qmdb_bench walk PEER FILE\n"
          "       qmdb_bench xpath PEER FILE EXPR\n"
          "       qmdb_bench generate MB FILE\n");
  return 2;
}

std::string selfPath(const char* argv0) {
  char buffer[PATH_MAX];
  ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  if (n <= 0) return argv0;
  buffer[n] = '\0';
  return buffer;
}

int run(int argc, char** argv) {
  bench::RunOptions o;
  o.self = selfPath(argv[0]);
  bool repeatGiven = false;
  bool mbGiven = false;
  for (int i = 2; i < argc; ++i) {
    std::string a = argv[i];
    if (i + 1 >= argc) return usage();
    std::string v = argv[++i];
    if (a == "--size") {
      if (v != "small" && v != "large" && v != "huge") return usage();
      o.size = v;
    } else if (a == "--mb") {
      o.megabytes = atof(v.c_str());
      mbGiven = true;
    } else if (a == "--dir") {
      o.dir = v;
    } else if (a == "--results") {
      o.results = v;
    } else if (a == "--repeat") {
      o.repeat = atoi(v.c_str());
      repeatGiven = true;
    } else {
      return usage();
    }
  }
  // The huge document is the largest whose database, with its index, fits the 2 GiB heap.
  if (!mbGiven) o.megabytes = o.size == "huge" ? 850 : o.size == "large" ? 100 : 10;
  if (!repeatGiven) o.repeat = o.size == "huge" ? 1 : o.size == "large" ? 2 : 5;
  if (o.megabytes <= 0 || o.repeat < 1) return usage();
  return bench::runBenchmarks(o);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return usage();
  std::string command = argv[1];
  try {
    if (command == "run") return run(argc, argv);
    if (command == "walk" && argc == 4) return bench::walkCommand(argv[2], argv[3]);
    if (command == "xpath" && argc == 5) return bench::xpathCommand(argv[2], argv[3], argv[4]);
    if (command == "generate" && argc == 4) {
      bench::Document doc = bench::generateDocument(atof(argv[2]));
      size_t bytes = bench::writeXml(doc.events, argv[3]);
      printf("%zu bytes\n", bytes);
      return 0;
    }
  } catch (const std::exception& e) {
    fprintf(stderr, "qmdb_bench %s: %s\n", command.c_str(), e.what());
    return 1;
  }
  return usage();
}
