// The rollback journal: what makes a save all or nothing, and durable.
//
// Evicted pages go straight into the database file between saves, and a save
// writes many pages; a crash, a power cut or a failing disk in between would
// leave a file that mixes old and new pages. So before a page that the last
// save left in the file is overwritten for the first time, its saved bytes
// are appended to "<file>-journal" and made durable, and only then does the
// header count the record. A completed save is made durable first (the file
// synced), then acknowledged by invalidating the journal durably; the journal
// is then removed. Opening a file that still has a valid journal copies the
// saved pages back and cuts the file to its saved length, so it opens with
// exactly its last saved content. A journal whose records do not match their
// checksum, or whose saved header would not be the file's, is reported and
// left alone: applying it could only do harm.
//
// Journal file layout:
//   OFFSET  SIZE  MEANING
//        0     4  magic: 'Q' 'M' 'B' 'J' (zeros once the save it guards is done)
//        4     4  page size of the database
//        8     4  heap top of the last save: the file's length to restore
//       12     4  number of records that count
//       16     4  CRC-32 of those records, begun over bytes 4 to 11
//       20     4  reserved, zero
//   then one record a page, in the order they were saved away:
//        0     4  page number
//        4     4  length in bytes (at most the page size)
//        8     n  the page's saved bytes
// Invariants: a page is overwritten only after its record is durable and
// counted; the journal's name is durable before any record counts.
#ifndef QMDB_STORE_JOURNAL_H
#define QMDB_STORE_JOURNAL_H

#include <cstdint>
#include <string>

#include "Qmdb/store/Store.h"

namespace qmdb::store::journal {

constexpr int kMagic = 0;
constexpr int kPageSize = 4;
constexpr int kSavedHeapTop = 4 + 4;
constexpr int kRecordCount = 4 + 4 + 4;
constexpr int kChecksum = 4 + 4 + 4 + 4;
constexpr int kHeaderSize = 4 + 4 + 4 + 4 + 4 + 4;
constexpr int kRecordPage = 0;
constexpr int kRecordLength = 4;
constexpr int kRecordHeaderSize = 4 + 4;
constexpr uint8_t kMagicBytes[4] = {'Q', 'M', 'B', 'J'};

/// The journal's file name for database file `name`.
inline std::string nameFor(const std::string& name) {
  return name + "-journal";
}

/// Allocates the room for one record, so that saves need no memory later;
/// false when there is none.
bool prepare(Store& store);

/// Saves away the file's bytes of `page` before they are first overwritten
/// since the last save; false (reported) when that cannot be done.
bool protectPage(Store& store, int32_t page);

/// Saves away, with one sync for all, the pages of the dirty frames that the
/// last save left and that are not yet in the journal, so that a save can
/// write them; false (reported) when that cannot be done.
bool protectDirtyPages(Store& store);

/// Saves away every page the last save left that is not yet in the journal,
/// so that the file may be emptied; false (reported) when that cannot be done.
bool protectAll(Store& store);

/// After the file holds a completed save durably: acknowledges it by
/// invalidating the journal durably, then removes the journal. False
/// (reported) when the journal cannot be invalidated.
bool commit(Store& store);

/// Rolls the file of `store` back to its last save when a valid journal was
/// left, and removes the journal durably. Needs the exclusive lock. False,
/// reported, when the journal is refused or the file cannot be restored.
bool recover(Store& store);

}  // namespace qmdb::store::journal

#endif
