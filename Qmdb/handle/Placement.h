// Where a new or moved object goes: the child list of a parent (a node or
// the database root) and the member of it after which the object is linked.
// Shared by the methods that add, insert, copy and move, which all check the
// place before anything is made or changed.
#ifndef QMDB_HANDLE_PLACEMENT_H
#define QMDB_HANDLE_PLACEMENT_H

#include "Qmdb/Qmdb"
#include "Qmdb/handle/Internal.h"
#include "Qmdb/objects/ChildList.h"
#include "Qmdb/objects/Records.h"

namespace qmdb::handle {

/// A child list and the member to link after (0: at the front).
struct Placement {
  long list = 0;   ///< the parent's node record (or the root record); 0 when refused
  long after = 0;  ///< |after|
};

/// The place after the child `after` (0: first) of `parent`; list 0 when `parent`
/// is no node or the root, or `after` is 1 or no child of it. Handles by absolute value.
inline Placement placeAfter(Qmdb& db, store::Store& s, long parent, long after) {
  Placement place;
  long p = objects::handleOf(parent);
  long list = 0;
  if (p == 0 || p == objects::kRoot) {
    if (db.objectType(p) != QmdbNode) return place;
    list = objects::childList(s, p);
  } else if (Internal::kindAndBody(db, s, p, list) != QmdbNode) {
    return place;  // the kind as objectType gives it, read with the body when not overridden
  }
  long a = objects::handleOf(after);
  if (list == 0 || (a != 0 && (a == objects::kRoot || objects::object::parent(s, a) != list))) {
    return place;
  }
  place.list = list;
  place.after = a;
  return place;
}

/// Checks the place first, then makes the object with `make` and links it in:
/// after `after`, or as the last child when `append`. The object, or 0.
/// `make` is called with Internal::plain(db), so that it may call the creating method
/// of this class directly when nothing overrides it. With `kNewWhenPlain`,
/// what `make` gives when called with true is a new object, detached, which
/// attach need not look for in another list.
template <bool kNewWhenPlain = false, typename Make>
long placeMade(Qmdb& db, long parent, long after, bool append, Make make) {
  store::Store* s = Internal::writable(db);
  if (s == nullptr) return 0;
  Placement place = placeAfter(db, *s, parent, append ? 0 : after);
  if (place.list == 0) return 0;
  const bool plain = Internal::plain(db);
  long o = make(plain);
  if (o == 0) return 0;
  long behind = append ? objects::nodeRecord::lastChild(*s, place.list) : place.after;
  if (kNewWhenPlain && plain) return objects::attachDetached(*s, o, place.list, behind);
  return objects::attach(*s, o, place.list, behind);
}

}  // namespace qmdb::handle

#endif
