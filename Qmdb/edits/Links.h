// Links: an object's reference to an object of a database open in this process.
//
// An object's link field names its link record, or is 0. Filling a link record
// reuses the object's record when it has one and always sets the store's
// link-cleanup flag, so that the next save clears the links of the document
// tree (an id means nothing outside this process). Records are never freed:
// a link that is removed or replaced leaves its record in the heap.
#ifndef QMDB_EDITS_LINKS_H
#define QMDB_EDITS_LINKS_H

#include <cstdint>

#include "Qmdb/store/Store.h"

namespace qmdb::edits {

/// A new link record with no target, made the link of `object` unless it is 0;
/// its address, or 0 when space runs out.
long makeLinkRecord(store::Store& s, long object);

/// Links `object` to `target` of the database with id `database`, reusing its
/// link record; false when no record can be made. Sets the link-cleanup flag.
bool setLink(store::Store& s, long object, uint32_t database, long target);

}  // namespace qmdb::edits

#endif
