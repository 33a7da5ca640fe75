// qmdb index, lookup, keys and indexes: fill a named index with the objects a
// path finds (under an attribute's value or under their own text), look
// objects up by key or key range, and list the keys and the indexes.
#include "Tool.h"

#include <iostream>

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

IndexFill fillIndex(Qmdb& db, long index, QmdbList& objects, const std::string& attribute) {
  IndexFill fill;
  for (long object = objects.first(); object != 0; object = objects.next()) {
    long stored = 0;
    if (attribute.empty()) {
      stored = db.putIndex(index, object, nullptr, false);
    } else {
      long a =
          db.attribute(object, attribute.c_str(), QmdbNoAttributeType, QmdbNoAttributeClass, true);
      const char* value = a != 0 ? db.attrValue(a) : nullptr;
      if (value != nullptr) stored = db.putIndex(index, object, copyText(value).c_str(), false);
    }
    if (stored != 0) {
      ++fill.indexed;
    } else {
      ++fill.skipped;
    }
  }
  return fill;
}

std::string describeFill(const std::string& indexName, const std::string& attribute,
                         const IndexFill& fill) {
  return indexName + ": " + std::to_string(fill.indexed) + " indexed, " +
         std::to_string(fill.skipped) + " skipped (" +
         (attribute.empty() ? "no text" : "no attribute " + attribute) + ")";
}

void printKeys(Qmdb& db, long index, std::ostream& out) {
  QmdbStringList keys;
  db.indexKeys(&keys, index);
  for (const char* key = keys.first(); key != nullptr; key = keys.next()) out << key << '\n';
}

void printIndexes(Qmdb& db, std::ostream& out) {
  long limit = db.getSize() / 16;
  for (long index = db.index(nullptr); index != 0 && limit-- > 0; index = db.nextIndex(index)) {
    out << copyText(db.indexName(index)) << '\t' << db.indexKeys(nullptr, index) << '\n';
  }
}

void printLookup(Qmdb& db, long index, const std::string& from, const std::string* to,
                 std::ostream& out) {
  std::string key = from, end = to != nullptr ? *to : "";
  QmdbList found;
  db.getIndex(&found, index, &key[0], to != nullptr ? &end[0] : nullptr);
  printObjects(db, found, out);
}

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

  IndexFill fill = fillIndex(*db, index, found, attribute);
  db->flush(false);
  if (!db->isValid() || hasError(*db)) {
    return failure(dbName, "cannot update the index '" + indexName + "'", db.get());
  }
  std::cout << describeFill(indexName, attribute, fill) << '\n';
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
  const std::string* to = parsed.positional.size() == 4 ? &parsed.positional[3] : nullptr;
  printLookup(*db, index, parsed.positional[2], to, std::cout);
  return kOk;
}

int keysCommand(const Args& args) {
  ParsedArgs parsed = parseArgs(args, {});
  if (!parsed.error.empty()) return usageError("keys", parsed.error);
  if (parsed.positional.size() != 2) return usageError("keys", "expects DB.qmb and NAME");
  std::unique_ptr<Qmdb> db;
  long index = openIndex(parsed.positional[0], parsed.positional[1], db);
  if (index == 0) return kFailure;
  printKeys(*db, index, std::cout);
  return kOk;
}

int indexesCommand(const Args& args) {
  ParsedArgs parsed = parseArgs(args, {});
  if (!parsed.error.empty()) return usageError("indexes", parsed.error);
  if (parsed.positional.size() != 1) return usageError("indexes", "expects DB.qmb");
  std::unique_ptr<Qmdb> db = openDatabase(parsed.positional[0], QmdbFileRead);
  if (!db) return kFailure;
  printIndexes(*db, std::cout);
  return kOk;
}

}  // namespace qmdbtool
