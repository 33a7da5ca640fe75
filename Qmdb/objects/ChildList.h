// Linking objects into and out of child lists.
//
// A child list belongs to a node record (or the root record): its first and
// last child, and the previous/next sibling fields of its members. Every
// member's parent content names that node record. Attach and detach keep
// these links consistent; neither checks kinds nor sets the changed flag:
// their callers do.
#ifndef QMDB_OBJECTS_CHILDLIST_H
#define QMDB_OBJECTS_CHILDLIST_H

#include "Qmdb/store/Store.h"

namespace qmdb::objects {

/// Links `object` into the child list of node record `list` directly after
/// the member `after` (first when 0), detaching it (whole tree) first if it is
/// attached. Gives `object`.
long attach(store::Store& s, long object, long list, long after);

/// attach() for an `object` known to be detached (a new one): links it in
/// without looking at its parent first. Gives `object`.
long attachDetached(store::Store& s, long object, long list, long after);

/// Takes `object` out of its child list. With `wholeTree` (always, for an
/// object that is not a node) its subtree goes with it; otherwise its children
/// take its place, in order. Gives `object`.
long detach(store::Store& s, long object, bool wholeTree);

}  // namespace qmdb::objects

#endif
