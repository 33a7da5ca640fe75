// The database file: opening, saving, clearing and closing a store.
//
// A database file is the image of the heap: the 40-byte header, then the
// records, page after page. While a database is open its file is also the
// swap file, so evicted pages go straight into it; the file is consistent
// only after a save, which rewrites the header into page 0 and writes every
// dirty page. A nameless store lives in a temporary swap file removed at close.
#ifndef QMDB_STORE_DATABASEFILE_H
#define QMDB_STORE_DATABASEFILE_H

#include "Qmdb/store/Store.h"

namespace qmdb::store {

/// Sets page size and frame limit from the arguments, else from QMPAGESIZE
/// and QMPAGES, warning ("ILLEGALVALUE") of values that cannot be used.
void configure(Store& store, long pages, long pageSize);

/// Configures the store and opens or creates its database: mode 'r', 'u' or
/// 'w' with a name; only 'w' without one. Failures leave the failed flag set.
void open(Store& store, const char* name, char mode, long pages, long pageSize);

/// Writes the header into page 0, clears links when any were made, and writes
/// every dirty page; the bytes written, or -1. A named store with nothing
/// changed since its last save is left alone: 0, and no file is touched.
long save(Store& store);

/// Releases least recently used frames down to two, stopping at one that
/// cannot be written.
void shrink(Store& store);

/// Saves and makes the store read-only (the file stays open as it is).
void makeReadOnly(Store& store);

/// Reopens the file for writing; false (still read-only) when it cannot be.
bool makeUpdatable(Store& store);

/// Empties the heap in place; false when the file cannot be emptied or the
/// new root record cannot be made.
bool clear(Store& store);

/// Destroys the hooks, saves a usable named updatable database, closes the
/// swap file (removing a temporary one) and frees the frames.
void close(Store& store);

}  // namespace qmdb::store

#endif
