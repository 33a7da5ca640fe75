// qmdb index, lookup, keys and indexes: fill a named index with the objects a
// path finds (under an attribute's value or under their own text), look
// objects up by key or key range, and list the keys and the indexes.
#include "Tool.h"

#include <cstdio>

namespace qmdbtool {
namespace {

// Opens the database read-only and finds the index; prints the error and
// gives 0 when either fails.
long openIndex(const std::string& dbName, const std::string& indexName, std::unique_ptr<Qmdb>& db) {
  db = openDatabase(dbName, QmdbFileRead);
  if (!db) return 0;
  long index = db->index(indexName.c_str());
  if (index == 0) failure(dbName, "no index named '" + indexName + "'");
  return index;
}

}  // namespace

int indexCommand(const Args& args) {
  ParsedArgs parsed = parseArgs(args, {}, {"--key"});
  if (!parsed.error.empty()) return usageError("index", parsed.error);
  if (parsed.positional.size() != 3) return usageError("index", "expects DB.qmb, NAME and PATH");
  std::string attribute;
  if (parsed.has("--key")) {
    attribute = parsed.options["--key"];
    if (attribute.size() < 2 || attribute[0] != '@') {
      return usageError("index", "--key takes @ATTR, an attribute name after '@'");
    }
    attribute.erase(0, 1);
  }
  const std::string& dbName = parsed.positional[0];
  const std::string& indexName = parsed.positional[1];
  std::unique_ptr<Qmdb> db = openDatabase(dbName, QmdbFileUpdate);
  if (!db) return kFailure;
  db->clearError();

  QmdbList found;
  db->findPath(&found, parsed.positional[2].c_str(), 1, true);
  long index = db->index(indexName.c_str());
  if (index == 0) index = db->addIndex(indexName.c_str());
  if (index == 0) return failure(dbName, "cannot make the index '" + indexName + "'", db.get());

  long indexed = 0, skipped = 0;
  for (long object = found.first(); object != 0; object = found.next()) {
    long stored = 0;
    if (attribute.empty()) {
      stored = db->putIndex(index, object, nullptr, false);
    } else {
      long a =
          db->attribute(object, attribute.c_str(), QmdbNoAttributeType, QmdbNoAttributeClass, true);
      const char* value = a != 0 ? db->attrValue(a) : nullptr;
      if (value != nullptr) stored = db->putIndex(index, object, copyText(value).c_str(), false);
    }
    if (stored != 0) {
      ++indexed;
    } else {
      ++skipped;
    }
  }
  db->flush(false);
  if (!db->isValid() || hasError(*db)) {
    return failure(dbName, "cannot update the index '" + indexName + "'", db.get());
  }
  printf("%s: %ld indexed, %ld skipped (%s)\n", indexName.c_str(), indexed, skipped,
         attribute.empty() ? "no text" : ("no attribute " + attribute).c_str());
  return kOk;
}

int lookupCommand(const Args& args) {
  ParsedArgs parsed = parseArgs(args, {});
  if (!parsed.error.empty()) return usageError("lookup", parsed.error);
  if (parsed.positional.size() != 3 && parsed.positional.size() != 4) {
    return usageError("lookup", "expects DB.qmb, NAME, KEY and perhaps TO");
  }
  std::unique_ptr<Qmdb> db;
  long index = openIndex(parsed.positional[0], parsed.positional[1], db);
  if (index == 0) return kFailure;
  std::string from = parsed.positional[2];
  std::string to = parsed.positional.size() == 4 ? parsed.positional[3] : "";
  QmdbList found;
  db->getIndex(&found, index, &from[0], parsed.positional.size() == 4 ? &to[0] : nullptr);
  for (long object = found.first(); object != 0; object = found.next()) {
    printf("%s\n", describeObject(*db, object).c_str());
  }
  return kOk;
}

int keysCommand(const Args& args) {
  ParsedArgs parsed = parseArgs(args, {});
  if (!parsed.error.empty()) return usageError("keys", parsed.error);
  if (parsed.positional.size() != 2) return usageError("keys", "expects DB.qmb and NAME");
  std::unique_ptr<Qmdb> db;
  long index = openIndex(parsed.positional[0], parsed.positional[1], db);
  if (index == 0) return kFailure;
  QmdbStringList keys;
  db->indexKeys(&keys, index);
  for (const char* key = keys.first(); key != nullptr; key = keys.next()) printf("%s\n", key);
  return kOk;
}

int indexesCommand(const Args& args) {
  ParsedArgs parsed = parseArgs(args, {});
  if (!parsed.error.empty()) return usageError("indexes", parsed.error);
  if (parsed.positional.size() != 1) return usageError("indexes", "expects DB.qmb");
  std::unique_ptr<Qmdb> db = openDatabase(parsed.positional[0], QmdbFileRead);
  if (!db) return kFailure;
  long limit = db->getSize() / 16;
  for (long index = db->index(nullptr); index != 0 && limit-- > 0; index = db->nextIndex(index)) {
    std::string name = copyText(db->indexName(index));
    printf("%s\t%ld\n", name.c_str(), db->indexKeys(nullptr, index));
  }
  return kOk;
}

}  // namespace qmdbtool
