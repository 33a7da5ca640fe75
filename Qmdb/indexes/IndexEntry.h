// The index entry: one object stored under one key of an index.
//
// The entries of a key form a chain from the key node's first entry, in the
// order they were stored. An entry names an object of this database (database
// field 0) or of another open database, by that database's 32-bit registry id;
// the id means nothing outside the process that wrote it. Object 0 marks a
// dead entry, which every lookup skips. Offsets are the file format.
#ifndef QMDB_INDEXES_INDEXENTRY_H
#define QMDB_INDEXES_INDEXENTRY_H

#include <cstdint>

#include "Qmdb/store/PageCache.h"

namespace qmdb::indexes {

// Index entry (12 bytes)
//   OFFSET  SIZE  MEANING
//        0     4  next: the next entry under the same key; 0 for the last
//        4     4  database: 0 for this database, else the other database's registry id
//        8     4  object: the object's handle (positive); 0 for a dead entry
namespace indexEntry {
constexpr long kNext = 0;
constexpr long kDatabase = 4;
constexpr long kObject = 4 + 4;
constexpr long kSize = 4 + 4 + 4;

inline long next(store::Store& s, long e) {
  return store::get32(s, e + kNext);
}
inline uint32_t database(store::Store& s, long e) {
  return static_cast<uint32_t>(store::get32(s, e + kDatabase));
}
inline long object(store::Store& s, long e) {
  return store::get32(s, e + kObject);
}

inline bool setNext(store::Store& s, long e, long v) {
  return store::put32(s, e + kNext, static_cast<int32_t>(v));
}
inline bool setDatabase(store::Store& s, long e, uint32_t id) {
  return store::put32(s, e + kDatabase, static_cast<int32_t>(id));
}
inline bool setObject(store::Store& s, long e, long v) {
  return store::put32(s, e + kObject, static_cast<int32_t>(v));
}
}  // namespace indexEntry

}  // namespace qmdb::indexes

#endif
