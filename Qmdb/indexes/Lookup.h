// Reading key trees: collecting the entries stored under keys, a key range or
// a whole index, optionally detaching them (pulling), and listing the keys.
//
// One walk serves every operation, steered by its mode (exact keys or range),
// the pull flag and the keys-only flag. It visits keys in ascending byte
// order, a key before every longer key that begins with it, so the two range
// bounds, once passed, stay passed for the rest of the walk. An exact lookup
// visits only the nodes on the sought keys' paths; a range lookup stops at the
// first key above the range. The walk is bounded by keyWalkLimit() steps.
#ifndef QMDB_INDEXES_LOOKUP_H
#define QMDB_INDEXES_LOOKUP_H

#include <cstdint>
#include <vector>

#include "Qmdb/store/Store.h"

namespace qmdb::indexes {

/// Receives the live entries that a lookup collects.
class EntrySink {
 public:
  virtual ~EntrySink() = default;
  /// Takes the entry naming `object` of database id `database` (0: this one);
  /// false when it was not taken, so that it does not count as collected.
  virtual bool take(uint32_t database, long object) = 0;
};

/// Receives the keys that listKeys finds.
class KeySink {
 public:
  virtual ~KeySink() = default;
  /// Takes one key (zero-terminated, valid only during the call); false when not taken.
  virtual bool take(const char* key) = 0;
};

/// Collects the entries of every key in `keys`, each key once, in key order;
/// `pull` detaches the entries of every key that gave one.
void collectKeys(store::Store& s, long index, const std::vector<const char*>& keys, bool pull,
                 EntrySink& out);

/// Collects the entries of the key `from` when `to` is null and `from` is not;
/// otherwise of every key not below `from` (null: no lower limit) and not above
/// `to` or beginning with it (null or "": no upper limit). `pull` detaches them.
void collectRange(store::Store& s, long index, const char* from, const char* to, bool pull,
                  EntrySink& out);

/// Lists, in ascending order, every key of the index that has entries (dead
/// ones included). A work area that cannot grow is reported (MEMORYOVERFLOW)
/// and ends the listing; the keys given before stay given.
void listKeys(store::Store& s, long index, KeySink& out);

}  // namespace qmdb::indexes

#endif
