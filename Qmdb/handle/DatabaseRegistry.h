// The process-wide registry of live databases.
//
// Records in the heap (link records, index entries) name another database by
// a 32-bit id, never by a pointer. Ids start from a random value and are never
// reused in a process, so an id read from a file written by another process
// practically never names a live database; an id with no live database reads
// as "no database".
#ifndef QMDB_HANDLE_DATABASEREGISTRY_H
#define QMDB_HANDLE_DATABASEREGISTRY_H

#include <cstdint>

class Qmdb;

namespace qmdb::handle {

/// Registers a new database and gives its id (never 0).
uint32_t registerDatabase(Qmdb* database);
/// Forgets the database of `id`.
void unregisterDatabase(uint32_t id);
/// The live database of `id`, or null.
Qmdb* findDatabase(uint32_t id);

}  // namespace qmdb::handle

#endif
