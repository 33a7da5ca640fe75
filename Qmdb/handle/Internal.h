// The handle's view of its own parts, for the files that implement the
// methods of Qmdb: the store, the encoding stack, the database id, and the
// refusals every operation starts with.
#ifndef QMDB_HANDLE_INTERNAL_H
#define QMDB_HANDLE_INTERNAL_H

#include <cstdint>
#include <typeinfo>

#include "Qmdb/Qmdb"
#include "Qmdb/objects/Records.h"
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

  /// Whether `db` is a Qmdb itself, whose virtual methods nobody overrode: its
  /// composite operations may then read records instead of calling them.
  static bool plain(const Qmdb& db) { return typeid(db) == typeid(Qmdb); }

  /// The kind of object `h` (a positive handle other than the root) as the
  /// virtual objectType gives it, and its body record: both read from the
  /// object record at once when nobody overrode objectType.
  static QmdbObjectType kindAndBody(const Qmdb& db, store::Store& s, long h, long& body) {
    if (plain(db)) {
      const objects::object::Fields f = objects::object::fields(s, h);
      body = f.body;
      return static_cast<QmdbObjectType>(f.kind);
    }
    QmdbObjectType kind = const_cast<Qmdb&>(db).objectType(h);
    body = objects::object::body(s, h);
    return kind;
  }
};

}  // namespace qmdb::handle

#endif
