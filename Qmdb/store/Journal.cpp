#include "Qmdb/store/Journal.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "Qmdb/store/Allocation.h"
#include "Qmdb/store/ByteOrder.h"
#include "Qmdb/store/Checksum.h"
#include "Qmdb/store/HeaderRecord.h"
#include "Qmdb/store/Messages.h"
#include "Qmencoding/QmCFile.h"

namespace qmdb::store::journal {

namespace {

// The checksum of a journal's records begins over its page size and saved
// heap top, so that records of another journal never match.
uint32_t seedChecksum(const uint8_t* head) {
  return extendChecksum(0, head + kPageSize, 4 + 4);
}

void fillHeader(uint8_t* head, const Store& store) {
  memset(head, 0, kHeaderSize);
  memcpy(head + kMagic, kMagicBytes, 4);
  encodeFixed32(head + kPageSize, store.pageSize);
  encodeFixed32(head + kSavedHeapTop, store.savedHeapTop);
  encodeFixed32(head + kRecordCount, store.journalRecords);
  encodeFixed32(head + kChecksum, static_cast<int32_t>(store.journalChecksum));
}

// Writes `length` bytes at `offset` and syncs; true when all of it is durable.
bool writeDurably(FILE* file, long offset, const void* bytes, size_t length) {
  return QmCFileSeek(file, offset) == 0 && QmCFileWrite(bytes, length, file) == length &&
         QmCFileSync(file) == 0;
}

bool failWrite(Store& store, const std::string& name) {
  report(store, kFatalError, "NOFILEWRITE", kMsgCannotOpenOutput, name.c_str(), "writing");
  return false;
}

// Makes the journal with a header that counts no record, durably, name included.
bool begin(Store& store) {
  const std::string& name = store.journalName;
  store.journal = QmCFileOpen(name.c_str(), "w+b");
  if (store.journal == nullptr) return failWrite(store, name);
  store.journalRecords = 0;
  uint8_t head[kHeaderSize];
  fillHeader(head, store);
  store.journalChecksum = seedChecksum(head);
  fillHeader(head, store);
  if (!writeDurably(store.journal, 0, head, sizeof head) ||
      QmCFileSyncDirectory(name.c_str()) != 0) {
    return failWrite(store, name);
  }
  store.journalEnd = kHeaderSize;
  return true;
}

bool isJournaled(const Store& store, int32_t page) {
  return static_cast<size_t>(page) < store.journaled.size() && store.journaled[page] != 0;
}

bool markJournaled(Store& store, int32_t page) {
  if (static_cast<size_t>(page) < store.journaled.size()) {
    store.journaled[page] = 1;
    return true;
  }
  if (!allocationAllowed()) return false;
  try {
    store.journaled.resize(static_cast<size_t>(page) + 1, 0);
  } catch (const std::bad_alloc&) {
    return false;
  }
  store.journaled[page] = 1;
  return true;
}

// Removes the journal `name` and makes the removal durable.
bool removeDurably(const std::string& name) {
  return QmCFileRemove(name.c_str()) == 0 && QmCFileSyncDirectory(name.c_str()) == 0;
}

}  // namespace

bool prepare(Store& store) {
  if (store.journalBuffer != nullptr) return true;
  store.journalBuffer =
      static_cast<uint8_t*>(allocate(static_cast<size_t>(kRecordHeaderSize + store.pageSize)));
  return store.journalBuffer != nullptr;
}

namespace {

// Appends the saved bytes of `page` to the journal as a record that the
// header does not count yet; `appended` tells whether there was anything to
// save away. False (reported) on failure.
bool appendRecord(Store& store, int32_t page, bool& appended) {
  appended = false;
  if (!store.named || store.readOnly) return true;
  long start = static_cast<long>(page) * store.pageSize;
  if (start >= store.savedHeapTop) return true;  // nothing saved there yet
  if (isJournaled(store, page)) return true;
  if (store.journalBuffer == nullptr) {
    report(store, kFatalError, "MEMORYOVERFLOW", kMsgMemoryOverflow, "the journal");
    return false;
  }
  if (store.journal == nullptr && !begin(store)) return false;

  long end = start + store.pageSize;
  if (end > store.savedHeapTop) end = store.savedHeapTop;
  size_t length = static_cast<size_t>(end - start);
  uint8_t* record = store.journalBuffer;
  encodeFixed32(record + kRecordPage, page);
  encodeFixed32(record + kRecordLength, static_cast<int32_t>(length));
  if (QmCFileSeek(store.swapFile, start) != 0) {
    report(store, kFatalError, "NOFILESEEK", kMsgSeekFailed, static_cast<long>(page), "reading");
    return false;
  }
  if (QmCFileRead(record + kRecordHeaderSize, length, store.swapFile) != length) {
    report(store, kFatalError, "NOFILEREAD", kMsgReadFailed, static_cast<long>(page));
    return false;
  }
  if (!markJournaled(store, page)) {
    report(store, kFatalError, "MEMORYOVERFLOW", kMsgMemoryOverflow, "the journal");
    return false;
  }
  size_t size = kRecordHeaderSize + length;
  if (QmCFileSeek(store.journal, store.journalEnd) != 0 ||
      QmCFileWrite(record, size, store.journal) != size) {
    report(store, kFatalError, "NOFILEWRITE", kMsgWriteFailed, static_cast<long>(page));
    return false;
  }
  store.journalEnd += static_cast<long>(size);
  store.journalRecords += 1;
  store.journalChecksum = extendChecksum(store.journalChecksum, record, size);
  appended = true;
  return true;
}

// Makes the appended records durable, then the header that counts them: a
// header never counts a record that is not wholly on disk. Only then may the
// pages they saved away be overwritten.
bool countRecords(Store& store, int32_t page) {
  uint8_t head[kHeaderSize];
  fillHeader(head, store);
  if (QmCFileSync(store.journal) != 0 || !writeDurably(store.journal, 0, head, sizeof head)) {
    report(store, kFatalError, "NOFILEWRITE", kMsgWriteFailed, static_cast<long>(page));
    return false;
  }
  return true;
}

}  // namespace

bool protectPage(Store& store, int32_t page) {
  bool appended = false;
  if (!appendRecord(store, page, appended)) return false;
  return !appended || countRecords(store, page);
}

bool protectDirtyPages(Store& store) {
  if (store.failed) return false;
  bool any = false;
  int32_t last = 0;
  for (Frame* frame = store.head; frame != nullptr; frame = frame->next) {
    if (!frame->dirty || frame->page < 0) continue;
    bool appended = false;
    if (!appendRecord(store, frame->page, appended)) return false;
    if (appended) last = frame->page;
    any = any || appended;
  }
  return !any || countRecords(store, last);
}

bool protectAll(Store& store) {
  int32_t pages = store.savedHeapTop / store.pageSize + (store.savedHeapTop % store.pageSize != 0);
  bool any = false;
  for (int32_t page = 0; page < pages; ++page) {
    bool appended = false;
    if (!appendRecord(store, page, appended)) return false;
    any = any || appended;
  }
  return !any || countRecords(store, pages - 1);
}

bool commit(Store& store) {
  if (store.journal != nullptr) {
    const std::string& name = store.journalName;
    // The save is acknowledged the moment the journal is durably invalid.
    static constexpr uint8_t kZeros[4] = {};
    bool invalidated = writeDurably(store.journal, kMagic, kZeros, sizeof kZeros);
    QmCFileClose(store.journal);
    store.journal = nullptr;
    if (!invalidated) return failWrite(store, name);
    // A journal that outlives a crash here is invalid and merely removed later.
    removeDurably(name);
  }
  store.journaled.clear();
  store.journalRecords = 0;
  store.savedHeapTop = store.heapTop;
  return true;
}

namespace {

// A journal read into memory and checked against itself and its file.
struct Contents {
  int32_t pageSize = 0;
  int32_t savedHeapTop = 0;
  std::vector<uint8_t> records;  // the counted records, as in the file
};

enum class Reading { kNone, kValid, kRefused, kUnreadable };

Reading readJournal(FILE* journal, Contents& out) {
  uint8_t head[kHeaderSize];
  if (QmCFileSeek(journal, 0) != 0) return Reading::kUnreadable;
  if (QmCFileRead(head, sizeof head, journal) != sizeof head ||
      memcmp(head + kMagic, kMagicBytes, 4) != 0) {
    // Never begun, or invalidated after its save was done: nothing to undo.
    return Reading::kNone;
  }
  out.pageSize = decodeFixed32(head + kPageSize);
  out.savedHeapTop = decodeFixed32(head + kSavedHeapTop);
  int32_t count = decodeFixed32(head + kRecordCount);
  uint32_t expected = static_cast<uint32_t>(decodeFixed32(head + kChecksum));
  if (out.pageSize < kMinimumPageSize || out.savedHeapTop < kHeaderSize || count < 0) {
    return Reading::kRefused;
  }
  uint32_t crc = seedChecksum(head);
  uint8_t record[kRecordHeaderSize];
  for (int32_t i = 0; i < count; ++i) {
    if (QmCFileRead(record, sizeof record, journal) != sizeof record) return Reading::kRefused;
    int32_t page = decodeFixed32(record + kRecordPage);
    int32_t length = decodeFixed32(record + kRecordLength);
    if (page < 0 || length < 0 || length > out.pageSize) return Reading::kRefused;
    size_t at = out.records.size();
    try {
      out.records.resize(at + sizeof record + static_cast<size_t>(length));
    } catch (const std::bad_alloc&) {
      return Reading::kUnreadable;
    }
    memcpy(out.records.data() + at, record, sizeof record);
    if (QmCFileRead(out.records.data() + at + sizeof record, static_cast<size_t>(length),
                    journal) != static_cast<size_t>(length)) {
      return Reading::kRefused;
    }
  }
  crc = extendChecksum(crc, out.records.data(), out.records.size());
  return crc == expected ? Reading::kValid : Reading::kRefused;
}

// The header the file will have once the journal is applied: page 0's saved
// bytes when the journal holds them, else the file's own.
bool restoredHeaderMatches(const Contents& contents, FILE* file) {
  uint8_t h[header::kSize];
  // The page size of a file never changes: a file that still has its header
  // must agree with the journal on it (clear() leaves a file without one).
  if (QmCFileSeek(file, 0) != 0) return false;
  if (QmCFileRead(h, sizeof h, file) == sizeof h && header::hasMagic(h) &&
      header::pageSize(h) != contents.pageSize) {
    return false;
  }
  bool found = false;
  for (size_t at = 0; at < contents.records.size();) {
    int32_t page = decodeFixed32(contents.records.data() + at + kRecordPage);
    int32_t length = decodeFixed32(contents.records.data() + at + kRecordLength);
    if (page == 0 && length >= header::kSize && !found) {
      memcpy(h, contents.records.data() + at + kRecordHeaderSize, sizeof h);
      found = true;
    }
    at += kRecordHeaderSize + static_cast<size_t>(length);
  }
  if (!found && (QmCFileSeek(file, 0) != 0 || QmCFileRead(h, sizeof h, file) != sizeof h)) {
    return false;
  }
  return header::hasMagic(h) && header::pageSize(h) == contents.pageSize &&
         header::heapTop(h) == contents.savedHeapTop;
}

bool apply(const Contents& contents, FILE* file) {
  for (size_t at = 0; at < contents.records.size();) {
    const uint8_t* record = contents.records.data() + at;
    int32_t page = decodeFixed32(record + kRecordPage);
    size_t length = static_cast<size_t>(decodeFixed32(record + kRecordLength));
    if (QmCFileSeek(file, static_cast<long>(page) * contents.pageSize) != 0 ||
        QmCFileWrite(record + kRecordHeaderSize, length, file) != length) {
      return false;
    }
    at += kRecordHeaderSize + length;
  }
  return QmCFileTruncate(file, contents.savedHeapTop) == 0 && QmCFileSync(file) == 0;
}

}  // namespace

bool recover(Store& store) {
  const char* name = store.fileName.c_str();
  const std::string& journalName = store.journalName;
  if (!QmCFileExists(journalName.c_str())) return true;
  FILE* journal = QmCFileOpen(journalName.c_str(), "rb");
  if (journal == nullptr) {
    report(store, kFatalError, "NOFILEOPEN", kMsgCannotOpen, journalName.c_str());
    return false;
  }
  Contents contents;
  Reading reading = readJournal(journal, contents);
  QmCFileClose(journal);
  if (reading == Reading::kNone) {
    if (removeDurably(journalName)) return true;
    return failWrite(store, journalName);
  }
  if (reading == Reading::kUnreadable) {
    report(store, kFatalError, "NOFILEOPEN", kMsgCannotOpen, journalName.c_str());
    return false;
  }
  FILE* file = QmCFileOpen(name, "r+b");
  if (file == nullptr) {
    report(store, kFatalError, "NOFILEWRITE", kMsgCannotOpenOutput, name, "updating");
    return false;
  }
  if (reading == Reading::kRefused || !restoredHeaderMatches(contents, file)) {
    QmCFileClose(file);
    report(store, kFatalError, "ILLEGALJOURNAL", kMsgIllegalJournal, journalName.c_str());
    return false;
  }
  bool restored = apply(contents, file);
  QmCFileClose(file);
  if (!restored) {
    report(store, kFatalError, "NOFILEWRITE", kMsgCannotOpenOutput, name, "updating");
    return false;
  }
  // The file is whole and durable again; a journal that survives a crash
  // from here on only restores the same bytes once more.
  if (!removeDurably(journalName)) return failWrite(store, journalName);
  return true;
}

}  // namespace qmdb::store::journal
