// The link record: an object's reference to an object of an open database.
//
// The database is named by its 32-bit id in the process's registry of live
// databases (handle/DatabaseRegistry.h), never by a pointer; an id whose
// database is gone, or that comes from a file of another process, names none.
#ifndef QMDB_EDITS_LINKRECORD_H
#define QMDB_EDITS_LINKRECORD_H

#include <cstdint>

#include "Qmdb/store/PageCache.h"

namespace qmdb::edits {

// Link record (8 bytes)
//   OFFSET  SIZE  MEANING
//        0     4  linked database: the id of the database linked into; 0 for none
//        4     4  linked object: the handle in that database, exactly as given; 0 for none
namespace linkRecord {
constexpr long kDatabase = 0;
constexpr long kObject = 4;
constexpr long kSize = 4 + 4;

inline uint32_t database(store::Store& s, long r) {
  return static_cast<uint32_t>(get32(s, r + kDatabase));
}
inline long object(store::Store& s, long r) {
  return get32(s, r + kObject);
}
inline bool setDatabase(store::Store& s, long r, uint32_t id) {
  return put32(s, r + kDatabase, static_cast<int32_t>(id));
}
inline bool setObject(store::Store& s, long r, long o) {
  return put32(s, r + kObject, static_cast<int32_t>(o));
}
}  // namespace linkRecord

}  // namespace qmdb::edits

#endif
