// Storing texts into fields of records.
//
// Names (gids, entity names, pi targets, notations, attribute names) are
// stored with storeName: equal names set while the database is open share one
// heap string through the string pool. Values (string texts, entity values,
// pi data, attribute values) are stored with storeCopy: every call writes a
// new heap string. Neither ever changes a heap string in place; the old text
// stays in the heap, unreferenced.
//
// The text must not point into a page frame of the same store: storing may
// evict that frame. Callers copy such texts first.
#ifndef QMDB_OBJECTS_STOREDTEXT_H
#define QMDB_OBJECTS_STOREDTEXT_H

#include "Qmdb/store/Store.h"

namespace qmdb::objects {

/// Points the field at `field` to a pooled heap string holding `text`; its
/// address, or 0 (null text: the field becomes 0; failure: the field is kept).
long storeName(store::Store& s, long field, const char* text);

/// Points the field at `field` to a new heap string holding `text`; its
/// address, or 0 (null text: the field becomes 0; failure: the field is kept).
long storeCopy(store::Store& s, long field, const char* text);

/// The text of the heap string named by the field at `field`, or null.
const char* fieldText(store::Store& s, long field);

}  // namespace qmdb::objects

#endif
