#include "Qmdb/store/Journal.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "Qmdb/store/ByteOrder.h"
#include "Qmdb/store/Messages.h"
#include "Qmencoding/QmCFile.h"

namespace qmdb::store::journal {

namespace {

// Writes, flushes and syncs; true when all of it reached the disk.
bool writeDurably(FILE* file, const void* bytes, size_t length) {
  return QmCFileWrite(bytes, length, file) == length && QmCFileFlush(file) == 0 &&
         fsync(fileno(file)) == 0;
}

bool exists(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0;
}

}  // namespace

bool protectPage(Store& store, int32_t page) {
  if (!store.named || store.readOnly) return true;
  long start = static_cast<long>(page) * store.pageSize;
  if (start >= store.savedHeapTop) return true;  // nothing saved there yet
  if (static_cast<size_t>(page) < store.journaled.size() && store.journaled[page]) return true;

  std::string name = nameFor(store.fileName);
  if (store.journal == nullptr) {
    store.journal = QmCFileOpen(name.c_str(), "w+b");
    if (store.journal == nullptr) {
      report(store, kFatalError, "NOFILEWRITE", kMsgCannotOpenOutput, name.c_str(), "writing");
      return false;
    }
    uint8_t head[kHeaderSize] = {};
    memcpy(head + kMagic, kMagicBytes, 4);
    encodeFixed32(head + kPageSize, store.pageSize);
    encodeFixed32(head + kSavedHeapTop, store.savedHeapTop);
    if (!writeDurably(store.journal, head, sizeof head)) {
      report(store, kFatalError, "NOFILEWRITE", kMsgWriteFailed, static_cast<long>(page));
      return false;
    }
  }
  long end = start + store.pageSize;
  if (end > store.savedHeapTop) end = store.savedHeapTop;
  std::vector<uint8_t> record(static_cast<size_t>(kRecordHeaderSize + end - start));
  encodeFixed32(record.data() + kRecordPage, page);
  encodeFixed32(record.data() + kRecordLength, static_cast<int32_t>(end - start));
  if (QmCFileSeek(store.swapFile, start) != 0) {
    report(store, kFatalError, "NOFILESEEK", kMsgSeekFailed, static_cast<long>(page), "reading");
    return false;
  }
  if (QmCFileRead(record.data() + kRecordHeaderSize, static_cast<size_t>(end - start),
                  store.swapFile) != static_cast<size_t>(end - start)) {
    report(store, kFatalError, "NOFILEREAD", kMsgReadFailed, static_cast<long>(page));
    return false;
  }
  if (!writeDurably(store.journal, record.data(), record.size())) {
    report(store, kFatalError, "NOFILEWRITE", kMsgWriteFailed, static_cast<long>(page));
    return false;
  }
  if (store.journaled.size() <= static_cast<size_t>(page)) store.journaled.resize(page + 1, false);
  store.journaled[page] = true;
  return true;
}

void commit(Store& store) {
  if (store.journal != nullptr) {
    QmCFileClose(store.journal);
    store.journal = nullptr;
    remove(nameFor(store.fileName).c_str());
  }
  store.journaled.clear();
  store.savedHeapTop = store.heapTop;
}

void discard(Store& store) {
  if (store.journal != nullptr) {
    QmCFileClose(store.journal);
    store.journal = nullptr;
  }
  if (store.named) remove(nameFor(store.fileName).c_str());
  store.journaled.clear();
  store.savedHeapTop = 0;
}

bool recover(const std::string& name) {
  std::string journalName = nameFor(name);
  if (!exists(journalName)) return true;
  FILE* journal = fopen(journalName.c_str(), "rb");
  if (journal == nullptr) return false;
  uint8_t head[kHeaderSize];
  bool complete = fread(head, 1, sizeof head, journal) == sizeof head &&
                  memcmp(head + kMagic, kMagicBytes, 4) == 0;
  if (!complete) {
    // The journal was being begun: nothing in the file was overwritten yet.
    fclose(journal);
    remove(journalName.c_str());
    return true;
  }
  int32_t pageSize = decodeFixed32(head + kPageSize);
  int32_t savedHeapTop = decodeFixed32(head + kSavedHeapTop);
  FILE* file = fopen(name.c_str(), "r+b");
  if (file == nullptr || pageSize <= 0 || savedHeapTop < 0) {
    if (file != nullptr) fclose(file);
    fclose(journal);
    return false;
  }
  std::vector<uint8_t> bytes;
  bool restored = true;
  uint8_t record[kRecordHeaderSize];
  // Records cut short by a crash were never acted on: their pages were not
  // overwritten before the record was on disk.
  while (fread(record, 1, sizeof record, journal) == sizeof record) {
    int32_t page = decodeFixed32(record + kRecordPage);
    int32_t length = decodeFixed32(record + kRecordLength);
    if (page < 0 || length < 0 || length > pageSize) break;
    bytes.resize(static_cast<size_t>(length));
    if (fread(bytes.data(), 1, bytes.size(), journal) != bytes.size()) break;
    if (fseek(file, static_cast<long>(page) * pageSize, SEEK_SET) != 0 ||
        fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size()) {
      restored = false;
      break;
    }
  }
  fclose(journal);
  restored = restored && fflush(file) == 0 && ftruncate(fileno(file), savedHeapTop) == 0 &&
             fsync(fileno(file)) == 0;
  fclose(file);
  if (restored) remove(journalName.c_str());
  return restored;
}

}  // namespace qmdb::store::journal
