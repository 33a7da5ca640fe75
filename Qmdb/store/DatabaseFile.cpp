#include "Qmdb/store/DatabaseFile.h"

#include <errno.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "Qmdb/store/HeaderRecord.h"
#include "Qmdb/store/Journal.h"
#include "Qmdb/store/Messages.h"
#include "Qmdb/store/PageCache.h"
#include "Qmencoding/QmCFile.h"

namespace qmdb::store {

namespace {

// Page sizes above this are refused, as arguments and in files: every frame is
// one allocation of a page.
constexpr long kMaximumPageSize = 1L << 26;

void warnIllegal(Store& store, const char* name, const char* value, int32_t fallback) {
  report(store, kWarning, "ILLEGALVALUE", kMsgIllegalValue, name, value, fallback);
}

void warnIllegal(Store& store, const char* name, long value, int32_t fallback) {
  char text[32];
  snprintf(text, sizeof text, "%ld", value);
  warnIllegal(store, name, text, fallback);
}

// Makes the string pool and the root record of an empty heap.
bool makePoolAndRoot(Store& store) {
  store.pool.reset(new (std::nothrow) StringPool);
  if (store.pool == nullptr) return false;
  store.heapTop = kHeaderSize;
  long root = reserve(store, kRootRecordSize);
  if (root != kHeaderSize) return false;
  store.heapTop = kEmptyHeapTop;
  uint8_t* page0 = resolve(store, 0);
  if (page0 == nullptr) return false;
  // The header bytes are written for real by every save; zero them now so that
  // page 0 never reaches the file with stale bytes.
  memset(page0, 0, kEmptyHeapTop);
  markDirty(store);
  return true;
}

bool versionAccepted(int32_t version) {
  char text[32];
  snprintf(text, sizeof text, "%ld", static_cast<long>(version));
  const char* item = header::kAcceptedVersions;
  size_t length = strlen(text);
  while (true) {
    const char* end = strchr(item, ',');
    size_t itemLength = end != nullptr ? static_cast<size_t>(end - item) : strlen(item);
    if (itemLength == length && strncmp(item, text, length) == 0) return true;
    if (end == nullptr) return false;
    item = end + 1;
  }
}

// Reads and checks the header of an opened file; on success the file becomes
// the swap file.
void acceptFile(Store& store, FILE* file) {
  const char* name = store.fileName.c_str();
  uint8_t h[header::kSize];
  if (QmCFileSeek(file, 0) != 0) {
    QmCFileClose(file);
    store.failed = true;
    return;
  }
  if (QmCFileRead(h, sizeof h, file) != sizeof h) {
    QmCFileClose(file);
    report(store, kFatalError, "ILLEGALQMB", kMsgIllegalFile, name);
    return;
  }
  if (!header::hasMagic(h)) {
    QmCFileClose(file);
    report(store, kFatalError, "ILLEGALQMB", kMsgIllegalFile, name);
    return;
  }
  if (!versionAccepted(header::version(h))) {
    QmCFileClose(file);
    report(store, kFatalError, "OLDVERSION", kMsgOldVersion, name);
    return;
  }
  // A page must hold the header and the root record; a heap must hold the header.
  int32_t pageSize = header::pageSize(h);
  int32_t heapTop = header::heapTop(h);
  if (pageSize < kMinimumPageSize || pageSize > kMaximumPageSize || heapTop < kHeaderSize) {
    QmCFileClose(file);
    report(store, kFatalError, "INCOMPLETEFILE", kMsgIncompleteFile, name);
    return;
  }
  // Nothing else is read now: a file cut short fails at the first read of a
  // page it does not wholly hold.
  store.swapFile = file;
  store.pageSize = pageSize;
  store.heapTop = heapTop;
  store.savedHeapTop = heapTop;
  store.firstIndex = header::firstIndex(h);
  store.swapPages = heapTop / pageSize + (heapTop % pageSize != 0 ? 1 : 0);
  long length = QmCFileLength(file);
  if (length >= 0 && length < heapTop) store.unreadable = static_cast<int32_t>(heapTop - length);
}

}  // namespace

void configure(Store& store, long pages, long pageSize) {
  if (pageSize != 0) {
    if (pageSize < kMinimumPageSize || pageSize > kMaximumPageSize) {
      warnIllegal(store, "pageSize", pageSize, kDefaultPageSize);
      store.pageSize = kDefaultPageSize;
    } else {
      store.pageSize = static_cast<int32_t>(pageSize);
    }
  } else if (const char* value = getenv("QMPAGESIZE")) {
    int size = atoi(value);
    if (size < 1024) {
      warnIllegal(store, "QMPAGESIZE", value, kDefaultPageSize);
      store.pageSize = kDefaultPageSize;
    } else {
      store.pageSize = size;
    }
  } else {
    store.pageSize = kDefaultPageSize;
  }

  if (pages != 0) {
    if (pages < 0 || pages > INT_MAX) {
      warnIllegal(store, "pages", pages, kDefaultFrameLimit);
      store.frameLimit = kDefaultFrameLimit;
    } else {
      store.frameLimit = static_cast<int32_t>(pages);
    }
  } else if (const char* value = getenv("QMPAGES")) {
    int limit = atoi(value);
    if (limit < 1) {
      warnIllegal(store, "QMPAGES", value, kDefaultFrameLimit);
      store.frameLimit = kDefaultFrameLimit;
    } else {
      store.frameLimit = limit;
    }
  } else {
    store.frameLimit = kDefaultFrameLimit;
    store.adaptiveLimit = true;
  }
  store.heapTop = kHeaderSize;
  store.swapPages = 0;
}

namespace {

// Reports that the file cannot be opened in `mode`, as the open of that mode would.
void reportCannotOpen(Store& store, const char* name, char mode) {
  if (mode == 'r') {
    report(store, kFatalError, "NOFILEOPEN", kMsgCannotOpen, name);
  } else {
    report(store, kFatalError, "NOFILEWRITE", kMsgCannotOpenOutput, name,
           mode == 'u' ? "updating" : "writing");
  }
}

// Makes the file `file`, opened for a new database, one that no opening
// accepts: its magic, if it has any bytes, becomes zeros on disk before any
// page of the new database reaches it. False when that fails.
bool unmarkOldFile(FILE* file) {
  static constexpr uint8_t kZeros[4] = {};
  long length = QmCFileLength(file);
  if (length < 0) return false;
  if (length == 0) return true;
  size_t size = length < 4 ? static_cast<size_t>(length) : sizeof kZeros;
  return QmCFileSeek(file, 0) == 0 && QmCFileWrite(kZeros, size, file) == size &&
         QmCFileSync(file) == 0;
}

// Takes the opening's lock on its file, rolling back a journal left by a
// crashed writer first: shared for reading, exclusive for the other modes and
// for the roll-back. Nothing is touched when another opening holds a lock that
// conflicts. False, reported, when the opening cannot go on.
bool lockAndRecover(Store& store, const char* name, char mode) {
  store.lockDescriptor = QmCFileLockOpen(name, mode == 'w');
  if (store.lockDescriptor < 0) {
    reportCannotOpen(store, name, mode);
    return false;
  }
  // A reader that finds a journal takes the exclusive lock, and gets it only
  // when no writer is alive: the journal is then left by a crash, not live.
  bool hotJournal = QmCFileExists(store.journalName.c_str());
  QmCLockKind kind = mode == 'r' && !hotJournal ? QmCSharedLock : QmCExclusiveLock;
  if (QmCFileLock(store.lockDescriptor, kind) != 0) {
    if (errno == EBADF) {
      // Only readable: the journal cannot be rolled back by this opening.
      reportCannotOpen(store, name, 'u');
    } else {
      report(store, kFatalError, "LOCKED", kMsgLocked, name);
    }
    return false;
  }
  if (hotJournal && !journal::recover(store)) return false;
  if (mode == 'r' && kind == QmCExclusiveLock) QmCFileLock(store.lockDescriptor, QmCSharedLock);
  return true;
}

}  // namespace

void open(Store& store, const char* name, char mode, long pages, long pageSize) {
  configure(store, pages, pageSize);
  if (name == nullptr) {
    if (mode != 'w' || !makePoolAndRoot(store)) store.failed = true;
    return;
  }
  if (mode != 'r' && mode != 'u' && mode != 'w') {
    store.failed = true;
    return;
  }
  store.fileName = name;
  store.journalName = journal::nameFor(store.fileName);
  store.hasFileName = true;
  store.named = true;
  // Whether the directory already holds the name: then emptying the file
  // changes the file, not the directory, and the directory needs no sync.
  const bool existed = mode == 'w' && QmCFileExists(name);
  if (!lockAndRecover(store, name, mode)) return;
  FILE* file = nullptr;
  switch (mode) {
    case 'r':
      file = QmCFileOpen(name, "rb");
      if (file == nullptr) {
        report(store, kFatalError, "NOFILEOPEN", kMsgCannotOpen, name);
        return;
      }
      store.readOnly = true;
      break;
    case 'u':
      file = QmCFileOpen(name, "r+b");
      if (file == nullptr) {
        report(store, kFatalError, "NOFILEWRITE", kMsgCannotOpenOutput, name, "updating");
        return;
      }
      store.pool.reset(new (std::nothrow) StringPool);
      if (store.pool == nullptr) {
        QmCFileClose(file);
        store.failed = true;
        return;
      }
      break;
    default:  // 'w': any journal of the old file was rolled back and removed above
      // A file that is there is not cut now (cutting hundreds of megabytes
      // costs more than writing them): its magic is cleared durably, so
      // that it is refused until the first save, which writes every page
      // below the new heap top and cuts the file there.
      file = QmCFileOpen(name, existed ? "r+b" : "w+b");
      if (file == nullptr || (existed && !unmarkOldFile(file)) ||
          (!existed && QmCFileSyncDirectory(name) != 0)) {
        QmCFileClose(file);
        report(store, kFatalError, "NOFILEWRITE", kMsgCannotOpenOutput, name, "writing");
        return;
      }
      store.swapFile = file;
      if (!makePoolAndRoot(store) || !journal::prepare(store)) store.failed = true;
      return;
  }
  acceptFile(store, file);
  if (mode == 'u' && !store.failed && !journal::prepare(store)) store.failed = true;
}

namespace {

// Writes the magic of a file's first save, once everything else is on disk: a
// new file that was never completely saved has no magic and is refused.
bool writeMagic(Store& store) {
  if (QmCFileSeek(store.swapFile, 0) != 0) {
    report(store, kFatalError, "NOFILESEEK", kMsgSeekFailed, 0L, "writing");
    return false;
  }
  if (QmCFileWrite(header::kMagicBytes, 4, store.swapFile) != 4 ||
      QmCFileSync(store.swapFile) != 0) {
    report(store, kFatalError, "NOFILEWRITE", kMsgWriteFailed, 0L);
    return false;
  }
  return true;
}

}  // namespace

namespace {

// Whether the file already holds exactly what a save would leave: no page
// written into it since the last save (which would have begun a journal or
// raised the heap top), no dirty frame, and the header as a save writes it.
// Then a save would only rewrite page 0 with the same bytes and sync.
bool alreadySaved(Store& store, const uint8_t* page0) {
  if (!store.named || store.savedHeapTop != store.heapTop || store.journal != nullptr ||
      store.linkCleanup) {
    return false;
  }
  for (const Frame* frame = store.head; frame != nullptr; frame = frame->next) {
    if (frame->dirty) return false;
  }
  uint8_t h[header::kSize];
  header::write(h, store.pageSize, store.heapTop, store.firstIndex);
  return memcmp(h, page0, header::kSize) == 0;
}

}  // namespace

long save(Store& store) {
  uint8_t* page0 = resolve(store, 0);
  if (page0 == nullptr) return -1;
  if (alreadySaved(store, page0)) return 0;
  bool firstSave = store.named && store.savedHeapTop == 0;
  header::write(page0, store.pageSize, store.heapTop, store.firstIndex);
  if (firstSave) header::setMagic(page0, false);
  markDirty(store);
  if (store.linkCleanup) {
    if (store.clearLinks != nullptr) store.clearLinks(store);
    store.linkCleanup = false;
  }
  // One sync of the journal for all the pages this save overwrites.
  if (store.named && !journal::protectDirtyPages(store)) return -1;
  long written = writeAllDirty(store);
  if (written < 0) return -1;
  // A file that held something else before its first save ends at the heap top.
  if (firstSave && store.swapFile != nullptr && QmCFileLength(store.swapFile) > store.heapTop &&
      QmCFileTruncate(store.swapFile, store.heapTop) != 0) {
    report(store, kFatalError, "NOFILEWRITE", kMsgWriteFailed,
           static_cast<long>((store.heapTop - 1) / store.pageSize));
    return -1;
  }
  // The save is complete only when it is on disk, not in stdio's buffer.
  if (store.swapFile != nullptr &&
      (store.named ? QmCFileSync(store.swapFile) : QmCFileFlush(store.swapFile)) != 0) {
    report(store, kFatalError, "NOFILEWRITE", kMsgWriteFailed,
           static_cast<long>((store.heapTop - 1) / store.pageSize));
    return -1;
  }
  if (firstSave) {
    if (!writeMagic(store)) return -1;
    page0 = resolve(store, 0);
    if (page0 != nullptr) header::setMagic(page0, true);
  }
  if (store.named && !journal::commit(store)) return -1;
  return written;
}

void shrink(Store& store) {
  while (store.frameCount > 2 && releaseLeastRecentlyUsed(store)) {
  }
}

void makeReadOnly(Store& store) {
  save(store);
  store.readOnly = true;
  // Other readers may come in now; the saved file is what they see.
  if (store.named && !store.failed) QmCFileLock(store.lockDescriptor, QmCSharedLock);
}

bool makeUpdatable(Store& store) {
  if (store.named) {
    // Another reader keeps the file as it is: stay read-only, still shared.
    if (QmCFileLock(store.lockDescriptor, QmCExclusiveLock) != 0) return false;
    if (!journal::prepare(store)) {
      QmCFileLock(store.lockDescriptor, QmCSharedLock);
      return false;
    }
    QmCFileClose(store.swapFile);
    store.swapFile = QmCFileOpen(store.fileName.c_str(), "r+b");
    if (store.swapFile == nullptr) {
      // Stay read-only on the same file; never reopen it for writing.
      store.swapFile = QmCFileOpen(store.fileName.c_str(), "rb");
      QmCFileLock(store.lockDescriptor, QmCSharedLock);
      return false;
    }
  }
  if (store.pool == nullptr) {
    store.pool.reset(new (std::nothrow) StringPool);
    if (store.pool == nullptr) return false;
  }
  unmapFrames(store);
  store.readOnly = false;
  return true;
}

bool clear(Store& store) {
  if (store.named) {
    // The whole saved file goes into the journal before the file is emptied:
    // until the next save completes, a crash brings the old content back.
    if (!journal::protectAll(store)) return false;
    if (store.swapFile == nullptr || QmCFileTruncate(store.swapFile, 0) != 0) {
      report(store, kFatalError, "NOFILEWRITE", kMsgCannotOpenOutput, store.fileName.c_str(),
             "writing");
      return false;
    }
  } else if (store.swapFile != nullptr) {
    QmCFileClose(store.swapFile);
    store.swapFile = nullptr;
  }
  if (!store.named && store.hasFileName) {
    remove(store.fileName.c_str());
    store.fileName.clear();
    store.hasFileName = false;
  }
  freeFrames(store, 1);
  store.pool.reset();
  store.swapPages = 0;
  store.heapTop = kHeaderSize;
  store.firstIndex = 0;
  if (!makePoolAndRoot(store)) {
    store.failed = true;
    return false;
  }
  store.changed = true;
  return true;
}

void close(Store& store) {
  store.hooks.destroyAll();
  if (!store.failed && store.named && !store.readOnly) save(store);
  if (store.swapFile != nullptr) {
    QmCFileClose(store.swapFile);
    store.swapFile = nullptr;
  }
  if (!store.named && store.hasFileName) remove(store.fileName.c_str());
  // A journal left open belongs to an unfinished save: it stays on disk for
  // the next opening, which may take the lock once this one drops it.
  if (store.journal != nullptr) {
    QmCFileClose(store.journal);
    store.journal = nullptr;
  }
  QmCFileLockClose(store.lockDescriptor);
  store.lockDescriptor = -1;
  store.fileName.clear();
  store.hasFileName = false;
  freeFrames(store, 0);
  store.pool.reset();
  store.hasError = false;
  store.errorCode.clear();
  store.errorMessage.clear();
}

}  // namespace qmdb::store
