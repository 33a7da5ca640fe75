// Attribute lists: making records, appending, taking out, naming and valuing.
//
// A list keeps its attributes in the order they were added or attached; both
// append at the end. Taking an attribute out links its predecessor (or the
// list's first field) to its successor. An attached attribute's next field is
// 0 or another record; a free one holds the free marker and is in no list.
// Every walk of a list is bounded by the heap's size, so a damaged list cannot
// make it loop. Nothing here checks kinds, the read-only flag or the changed
// flag: the Qmdb methods do.
#ifndef QMDB_EDITS_ATTRIBUTES_H
#define QMDB_EDITS_ATTRIBUTES_H

#include "Qmdb/store/Store.h"

namespace qmdb::edits {

/// More steps than any attribute list of a sound heap of this size can take.
inline long attributeWalkLimit(const store::Store& s) {
  return store::readableHeap(s) / 16 + 16;
}

/// A new, empty attribute list record, hung on body record `body` unless it is 0.
long makeAttributeList(store::Store& s, long body);

/// A new attribute record with no name, value, type or class, appended to list `list`;
/// 0 when `list` is 0 (the record then stays unreachable) or space runs out.
long makeAttribute(store::Store& s, long list);

/// A new attribute at the end of the attribute list of the body record
/// `body`, whose list is made first when it has none: exactly as
/// makeAttributeList and makeAttribute make them (written at once when both
/// fit on the heap top's page). The attribute, or 0.
long makeBodyAttribute(store::Store& s, long body);

/// Appends the free attribute `a` to `list`; 0 when `a` is 0 or not free.
long attachAttribute(store::Store& s, long list, long a);

/// Points the name of `a` to a pooled heap string of `name`; false when it
/// cannot be stored (the old name is kept). A null name clears it.
bool setAttributeName(store::Store& s, long a, const char* name);

/// Sets the value (a new copy, or none for null), type and class of `a`; the
/// copy's address, or 0 (null value, or failure with `a` unchanged).
long setAttributeValue(store::Store& s, long a, const char* value, long type, long cls);

/// Takes `a` out of `list`; false when it is not there.
bool unlinkAttribute(store::Store& s, long list, long a);

}  // namespace qmdb::edits

#endif
