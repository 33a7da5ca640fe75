// The index part of the link clean-up that a save runs after links were made.
//
// An entry that names another database holds that database's registry id,
// which means nothing once this process ends: the clean-up kills it (object
// field 0). An entry of this database whose object lies outside the document
// tree would carry that object's link into the file, since the save's walk
// of the tree never reaches it: the clean-up clears the object's link, and,
// for a detached node, the links of every object below it.
#ifndef QMDB_INDEXES_INDEXCLEANUP_H
#define QMDB_INDEXES_INDEXCLEANUP_H

#include "Qmdb/store/Store.h"

namespace qmdb::indexes {

/// Runs the clean-up over every entry of every index in the catalogue.
void cleanUpIndexes(store::Store& s);

}  // namespace qmdb::indexes

#endif
