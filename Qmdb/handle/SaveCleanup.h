// Clearing links at a save.
//
// A link names another database by an id that means nothing outside this
// process, so a save that follows the making of links clears them: the link
// field of every object of the document tree, and, through the indexes, the
// entries that name other databases and the links of indexed detached objects.
#ifndef QMDB_HANDLE_SAVECLEANUP_H
#define QMDB_HANDLE_SAVECLEANUP_H

#include "Qmdb/store/Store.h"

namespace qmdb::handle {

/// Clears the link fields of the document tree, then runs the index clean-up.
void clearLinksAtSave(store::Store& s);

}  // namespace qmdb::handle

#endif
