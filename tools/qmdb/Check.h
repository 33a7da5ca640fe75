// The integrity check of a database, through the public interface only: the
// header's sizes against the file, every object of the document tree and the
// links between them, the attribute lists, and the entries of every index.
// Every walk is bounded by the heap's size, so a damaged file cannot make it
// loop. Used by `qmdb check`; a fuzz harness can call it on any open database
// (it needs Check.cpp and Tool.cpp, nothing else of the tool).
#ifndef QMDB_TOOLS_QMDB_CHECK_H
#define QMDB_TOOLS_QMDB_CHECK_H

#include <Qmdb/Qmdb>

#include <ostream>

namespace qmdbtool {

/// What a check found.
struct CheckReport {
  long problems = 0;  // lines written to the problem stream
  long objects = 0;   // objects of the document tree
  long indexes = 0;   // indexes in the catalogue
  long entries = 0;   // index entries
};

/// Checks the open database `db`, whose file is `name` (used in the messages);
/// writes each problem as one line "NAME: problem: ..." to `problems`.
CheckReport checkDatabase(Qmdb& db, const char* name, std::ostream& problems);

}  // namespace qmdbtool

#endif
