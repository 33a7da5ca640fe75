// qmdb export: writes the document of a database (or one subtree) back as XML
// through QmdbXml, to a file or to standard output, in UTF-8 or the encoding
// asked for.
#include "Tool.h"

#include <Qmdb/QmdbXml>

#include <cstdio>
#include <cstdlib>
#include <iostream>

namespace qmdbtool {

int exportCommand(const Args& args) {
  ParsedArgs parsed = parseArgs(args, {"--no-declaration"}, {"--encoding", "--node"});
  if (!parsed.error.empty()) return usageError("export", parsed.error);
  if (parsed.positional.empty() || parsed.positional.size() > 2) {
    return usageError("export", "expects DB.qmb and at most one output file");
  }
  const std::string& dbName = parsed.positional[0];
  QmdbXml::SaveOptions options;
  if (parsed.has("--encoding")) options.encoding = parsed.options.at("--encoding");
  options.declaration = !parsed.has("--no-declaration");
  long node = 1;
  if (parsed.has("--node")) {
    char* end = nullptr;
    node = strtol(parsed.options.at("--node").c_str(), &end, 10);
    if (end == nullptr || *end != '\0' || node <= 0) {
      return usageError("export", "--node takes a handle (a positive number)");
    }
  }
  std::unique_ptr<Qmdb> db = openDatabase(dbName, QmdbFileRead);
  if (!db) return kFailure;
  if (node != 1 && !db->isObject(node, QmdbNoObject)) {
    return failure(dbName, "no object " + std::to_string(node));
  }

  bool toFile = parsed.positional.size() == 2 && parsed.positional[1] != "-";
  QmdbXml::Result result;
  if (toFile) {
    result = QmdbXml::saveFile(*db, parsed.positional[1], options, node);
  } else {
    result = QmdbXml::saveStream(*db, std::cout, options, node);
    std::cout.flush();
    if (result.ok && !std::cout) {
      result.ok = false;
      result.message = "standard output: cannot write";
    }
  }
  if (!result.ok) {
    fprintf(stderr, "qmdb: %s\n", result.message.c_str());
    return kFailure;
  }
  return kOk;
}

}  // namespace qmdbtool
