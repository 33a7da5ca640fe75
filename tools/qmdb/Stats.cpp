// qmdb stats: what a database holds. Sizes come from the file and the header;
// the object counts from a walk of the document tree, so that objects that
// were detached or dropped are not counted; then the indexes and their keys.
#include "Tool.h"

#include <sys/stat.h>

#include <algorithm>
#include <iostream>

namespace qmdbtool {

bool printStats(Qmdb& db, const std::string& dbName, std::ostream& out) {
  long counts[5] = {0, 0, 0, 0, 0};  // by QmdbObjectType
  long comments = 0, attributes = 0, maxDepth = 0, depth = 0;
  long steps = walkLimit(db);
  for (long p = db.next(1, QmdbTree); p != 0; p = db.next(p, QmdbTree)) {
    if (--steps < 0) return false;
    if (p < 0) {
      --depth;
      continue;
    }
    QmdbObjectType kind = db.objectType(p);
    if (kind < QmdbNode || kind > QmdbPi) kind = QmdbNoObject;
    ++counts[kind];
    if (kind == QmdbPi && copyText(db.getId(p)) == kCommentTarget) ++comments;
    if (kind == QmdbNode) maxDepth = std::max(maxDepth, ++depth);
    if (kind == QmdbNode || kind == QmdbEntity || kind == QmdbPi) {
      long limit = db.getSize() / 16;
      for (long a = db.attribute(p, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, true);
           a != 0 && limit-- > 0; a = db.nextAttribute(a)) {
        ++attributes;
      }
    }
  }

  struct stat info;
  long long fileSize = stat(dbName.c_str(), &info) == 0 ? static_cast<long long>(info.st_size) : -1;
  out << "file         " << dbName << "\n";
  out << "file size    " << fileSize << " bytes\n";
  out << "page size    " << db.getPageSize() << " bytes\n";
  out << "heap size    " << db.getSize() << " bytes\n";
  out << "nodes        " << counts[QmdbNode] << "\n";
  out << "strings      " << counts[QmdbString] << "\n";
  out << "entities     " << counts[QmdbEntity] << "\n";
  out << "pis          " << counts[QmdbPi] << " (" << comments << " of them comments)\n";
  if (counts[QmdbNoObject] != 0) out << "unknown      " << counts[QmdbNoObject] << "\n";
  out << "attributes   " << attributes << "\n";
  out << "depth        " << maxDepth << "\n";

  long indexes = 0;
  std::string lines;
  long limit = db.getSize() / 16;
  for (long index = db.index(nullptr); index != 0 && limit-- > 0; index = db.nextIndex(index)) {
    ++indexes;
    lines += "  " + copyText(db.indexName(index)) + "\t" +
             std::to_string(db.indexKeys(nullptr, index)) + " keys\n";
  }
  out << "indexes      " << indexes << "\n" << lines;
  return true;
}

int statsCommand(const Args& args) {
  ParsedArgs parsed = parseArgs(args, {});
  if (!parsed.error.empty()) return usageError("stats", parsed.error);
  if (parsed.positional.size() != 1) return usageError("stats", "expects DB.qmb");
  const std::string& dbName = parsed.positional[0];
  std::unique_ptr<Qmdb> db = openDatabase(dbName, QmdbFileRead);
  if (!db) return kFailure;
  if (!printStats(*db, dbName, std::cout)) {
    return failure(dbName, "the document tree is damaged (run 'qmdb check')");
  }
  return kOk;
}

}  // namespace qmdbtool
