// Telling whether a number is the handle of a sound object.
//
// This is the one check that trusts nothing: it reads only whole records
// below the heap top and verifies the links that a sound tree keeps between
// an object, its siblings and its parent's child list.
#ifndef QMDB_OBJECTS_CLASSIFY_H
#define QMDB_OBJECTS_CLASSIFY_H

#include "Qmdb/store/Store.h"

namespace qmdb::objects {

/// True when `object` is the handle of a sound object of kind `type` (any
/// kind 1 to 4 for 0). Negative handles, the root and the header are refused.
bool isSoundObject(store::Store& s, long object, int type);

}  // namespace qmdb::objects

#endif
