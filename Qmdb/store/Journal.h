// The rollback journal: what makes a save all or nothing.
//
// Evicted pages go straight into the database file between saves, and a save
// writes many pages; a crash or a failing disk in between would leave a file
// that mixes old and new pages. So before a page that the last save left in
// the file is overwritten for the first time, its saved bytes are copied into
// "<file>-journal" and flushed to disk. A completed save removes the journal;
// opening a file that still has one copies the saved pages back and cuts the
// file to its saved length, so it opens with exactly its last saved content.
//
// Journal file layout:
//   OFFSET  SIZE  MEANING
//        0     4  magic: 'Q' 'M' 'B' 'J'
//        4     4  page size of the database
//        8     4  heap top of the last save: the file's length to restore
//       12     4  reserved, zero
//   then one record a page, in the order they were saved away:
//        0     4  page number
//        4     4  length in bytes (at most the page size)
//        8     n  the page's saved bytes
#ifndef QMDB_STORE_JOURNAL_H
#define QMDB_STORE_JOURNAL_H

#include <cstdint>
#include <string>

#include "Qmdb/store/Store.h"

namespace qmdb::store::journal {

constexpr int kMagic = 0;
constexpr int kPageSize = 4;
constexpr int kSavedHeapTop = 4 + 4;
constexpr int kHeaderSize = 4 + 4 + 4 + 4;
constexpr int kRecordPage = 0;
constexpr int kRecordLength = 4;
constexpr int kRecordHeaderSize = 4 + 4;
constexpr uint8_t kMagicBytes[4] = {'Q', 'M', 'B', 'J'};

/// The journal's file name for database file `name`.
inline std::string nameFor(const std::string& name) {
  return name + "-journal";
}

/// Saves away the file's bytes of `page` before they are first overwritten
/// since the last save; false (reported) when that cannot be done.
bool protectPage(Store& store, int32_t page);

/// After a completed save: the journal is no longer needed.
void commit(Store& store);

/// Forgets the journal of a file that is being emptied.
void discard(Store& store);

/// Rolls the file `name` back to its last save when a journal was left;
/// false when the journal exists but the file cannot be restored.
bool recover(const std::string& name);

}  // namespace qmdb::store::journal

#endif
