// The handle's view of its own parts, for the files that implement the
// methods of Qmdb: the store, the encoding stack, the database id, and the
// refusals every operation starts with.
#ifndef QMDB_HANDLE_INTERNAL_H
#define QMDB_HANDLE_INTERNAL_H

#include <cstdint>

#include "Qmdb/Qmdb"
#include "Qmdb/store/Store.h"

class QmCEncoding;

namespace qmdb::handle {

/// Access to the private parts of a Qmdb object.
class Internal {
 public:
  /// The store, or null when it could not be made.
  static store::Store* store(const Qmdb& db) { return db.store_; }
  /// The store when the database is usable, else null.
  static store::Store* usable(const Qmdb& db) {
    return db.store_ != nullptr && !db.store_->failed ? db.store_ : nullptr;
  }
  /// The store when the database is usable and not read-only, else null.
  static store::Store* writable(const Qmdb& db) {
    store::Store* s = usable(db);
    return s != nullptr && !s->readOnly ? s : nullptr;
  }
  /// The encoding stack, or null.
  static QmCEncoding* encoding(const Qmdb& db) { return db.mp_Encoding; }
  /// The id under which other databases' records name this one.
  static uint32_t id(const Qmdb& db) { return db.id_; }
  /// The attribute list record in which free attributes are made (0 for none).
  static long& freeAttributes(Qmdb& db) { return db.freeAttributes_; }
};

}  // namespace qmdb::handle

#endif
