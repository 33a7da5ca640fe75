// Walking the document tree: the parent of an object and the tree step.
//
// A forward walk meets every object once with its positive handle and every
// node a second time, after its descendants, with its negative handle (its
// end position). A backward walk mirrors it. Positions are trusted; every
// walk over a heap is bounded by walkLimit(), which no sound heap of that
// size can reach, so that a damaged file cannot make a walk loop forever.
#ifndef QMDB_OBJECTS_NAVIGATION_H
#define QMDB_OBJECTS_NAVIGATION_H

#include "Qmdb/objects/Records.h"
#include "Qmdb/qmdb.h"
#include "Qmdb/store/Store.h"

namespace qmdb::objects {

/// More steps than any walk over a sound heap of this size can take: every
/// object takes at least 28 bytes and is met at most twice.
inline long walkLimit(const store::Store& s) {
  return 2 * (store::readableHeap(s) / 28) + 16;
}

/// The owner of the node record whose child list holds `object` (0 for a
/// top-level or detached object).
long parentOf(store::Store& s, long object);

/// treeStep from a non-zero `position` whose object record the caller has
/// read already (`record` holds the fields of the object it names).
inline long treeStepFrom(store::Store& s, long limit, long position, bool forward,
                         const object::Fields& record) {
  if (position > 0 && record.kind == QmdbNode && record.body != 0) {
    long child =
        forward ? nodeRecord::firstChild(s, record.body) : nodeRecord::lastChild(s, record.body);
    return child != 0 ? child : -position;
  }
  long sibling = forward ? record.next : record.previous;
  if (sibling != 0) return sibling;
  if (record.parent == limit || record.parent == 0) return 0;
  return -nodeRecord::owner(s, record.parent);
}

/// One step of a walk in document order (`forward`) or backward from
/// `position`, confined to the child list of node record `limit` (0: the
/// whole tree). Position 0 starts the walk at the first (last) child of
/// limit. In line: every walk takes it once per object.
inline long treeStep(store::Store& s, long limit, long position, bool forward) {
  if (position == 0) {
    if (limit == 0) return 0;
    return forward ? nodeRecord::firstChild(s, limit) : nodeRecord::lastChild(s, limit);
  }
  return treeStepFrom(s, limit, position, forward, object::fields(s, handleOf(position)));
}

}  // namespace qmdb::objects

#endif
