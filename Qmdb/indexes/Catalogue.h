// The catalogue of named indexes: the chain of index records that starts at
// the store's first index (kept in the file header) and runs through their
// next fields, in the order the indexes were made.
//
// An index record is a key node whose label is the index name and whose
// children are the first level of its key tree. Dropping or renaming leaves
// the old records and names in the heap. Names are compared byte for byte.
// Refusals for unusable or read-only databases are the caller's.
#ifndef QMDB_INDEXES_CATALOGUE_H
#define QMDB_INDEXES_CATALOGUE_H

#include "Qmdb/store/Store.h"

namespace qmdb::indexes {

/// The first index of the catalogue named exactly `name`, or 0.
long findIndex(store::Store& s, const char* name);

/// A new, empty index named `name` at the end of the catalogue; its handle,
/// or 0 when heap space could not be had.
long appendIndex(store::Store& s, const char* name);

/// Unlinks `index` from the catalogue; false when it is not in it.
bool unlinkIndex(store::Store& s, long index);

/// Gives `index` a new heap string holding `name`; `index`, or 0 on failure.
long renameIndex(store::Store& s, long index, const char* name);

/// The name of `index`, pointing into its page frame; null when it has none.
const char* indexNameText(store::Store& s, long index);

}  // namespace qmdb::indexes

#endif
