#include "Exercise.h"

#include <cstring>
#include <initializer_list>

#include <unistd.h>

#include <cstdlib>
#include <map>

#include "Qmdb/Qmdb"

namespace qmdb::fuzz {

namespace {

constexpr long kMaxSteps = 20000;

uint64_t mix(uint64_t digest, long value) {
  return (digest ^ static_cast<uint64_t>(value)) * 1099511628211ull;
}

uint64_t mixText(uint64_t digest, const char* text) {
  if (text == nullptr) return mix(digest, -1);
  return mix(digest, static_cast<long>(strlen(text)));
}

// Every reading operation on one number, whether or not it is an object.
uint64_t readObject(Qmdb& db, long h, uint64_t digest) {
  digest = mix(digest, db.isObject(h, QmdbNoObject));
  digest = mix(digest, db.objectType(h));
  digest = mix(digest, db.entityType(h));
  digest = mix(digest, db.isAttached(h));
  digest = mixText(digest, db.getId(h));
  digest = mixText(digest, db.getValue(h));
  digest = mixText(digest, db.getNotation(h));
  digest = mix(digest, db.parent(h));
  digest = mix(digest, db.first(h));
  digest = mix(digest, db.last(h));
  digest = mix(digest, db.next(h, QmdbSiblings));
  digest = mix(digest, db.previous(h, QmdbSiblings));
  digest = mix(digest, db.next(h, QmdbTree));
  digest = mix(digest, db.previous(h, QmdbTree));
  digest = mix(digest, db.root(h));
  digest = mix(digest, db.rank(h));
  digest = mix(digest, db.level(h));
  digest = mix(digest, db.count(h, QmdbSiblings));
  digest = mix(digest, db.byRank(h, 2));
  long attributes = 0;
  for (long a = db.attribute(h, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, true);
       a != 0 && attributes < 1000; a = db.nextAttribute(a), ++attributes) {
    digest = mixText(digest, db.attrName(a));
    digest = mixText(digest, db.attrValue(a));
    digest = mix(digest, db.attrType(a) + db.attrClass(a) + db.isAttrAttached(a));
  }
  digest = mix(digest, db.attribute(h, "id", QmdbNoAttributeType, QmdbNoAttributeClass, false));
  digest = mix(digest, db.getLinkedObject(h));
  digest = mix(digest, db.getLinkedDatabase(h) != nullptr);
  return digest;
}

}  // namespace

uint64_t readEverything(Qmdb& db, const uint8_t* data, size_t size) {
  uint64_t digest = 14695981039346656037ull;
  long steps = 0;
  for (long p = db.next(1, QmdbTree); p != 0 && steps < kMaxSteps; p = db.next(p, QmdbTree)) {
    ++steps;
    if (p > 0) digest = readObject(db, p, digest);
  }
  steps = 0;
  for (long p = db.previous(1, QmdbTree); p != 0 && steps < kMaxSteps;
       p = db.previous(p, QmdbTree)) {
    ++steps;
  }
  digest = mix(digest, db.count(1, QmdbTree));
  for (const char* path : {"...", "*/*", ".../*/..", "a/b", "/", "./.."}) {
    QmdbList found;
    digest = mix(digest, db.findPath(&found, path, 1, false));
  }
  long indexes = 0;
  for (long i = db.index(nullptr); i != 0 && indexes < 100; i = db.nextIndex(i), ++indexes) {
    digest = mixText(digest, db.indexName(i));
    QmdbStringList keys;
    digest = mix(digest, db.indexKeys(&keys, i));
    QmdbList entries;
    digest = mix(digest, db.getIndex(&entries, i, nullptr, nullptr));
    static char a[] = "a";
    static char m[] = "m";
    digest = mix(digest, db.getIndex(&entries, i, a, m));
    digest = mix(digest, db.getIndex(&entries, i, a, nullptr));
    if (keys.length() > 0) digest = mix(digest, db.getIndex(&entries, i, &keys));
  }
  // Numbers from the input, taken as handles: none may make an operation stray.
  for (size_t at = 0; at + 4 <= size && at < 64 * 4; at += 4) {
    int32_t number;
    memcpy(&number, data + at, 4);
    digest = readObject(db, number, digest);
    digest = readObject(db, number % (db.getSize() + 1), digest);
  }
  return digest;
}

const std::string& scratchFile(const char* tag) {
  static std::map<std::string, std::string> paths;
  std::string& path = paths[tag];
  if (path.empty()) {
    const char* dir = getenv("TMPDIR");
    path = std::string(dir != nullptr && *dir != '\0' ? dir : "/tmp") + "/qmdb_fuzz_" + tag + "_" +
           std::to_string(getpid()) + ".qmb";
  }
  return path;
}

}  // namespace qmdb::fuzz
