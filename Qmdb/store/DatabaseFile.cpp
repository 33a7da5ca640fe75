#include "Qmdb/store/DatabaseFile.h"

#include <unistd.h>

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
  // Every save leaves the file exactly heap top bytes long; a shorter file was
  // cut off or never completely written, and its missing pages cannot be read.
  if (fseek(file, 0, SEEK_END) != 0 || ftell(file) < heapTop) {
    QmCFileClose(file);
    report(store, kFatalError, "INCOMPLETEFILE", kMsgIncompleteFile, name);
    return;
  }
  store.swapFile = file;
  store.pageSize = pageSize;
  store.heapTop = heapTop;
  store.savedHeapTop = heapTop;
  store.firstIndex = header::firstIndex(h);
  store.swapPages = heapTop / pageSize + (heapTop % pageSize != 0 ? 1 : 0);
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

void open(Store& store, const char* name, char mode, long pages, long pageSize) {
  configure(store, pages, pageSize);
  if (name == nullptr) {
    if (mode != 'w' || !makePoolAndRoot(store)) store.failed = true;
    return;
  }
  store.fileName = name;
  store.hasFileName = true;
  store.named = true;
  FILE* file = nullptr;
  if ((mode == 'r' || mode == 'u') && !journal::recover(store.fileName)) {
    // A save was cut short and the file cannot be rolled back to the one before.
    report(store, kFatalError, "NOFILEWRITE", kMsgCannotOpenOutput, name, "updating");
    return;
  }
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
    case 'w':
      file = QmCFileOpen(name, "w+b");
      if (file == nullptr) {
        report(store, kFatalError, "NOFILEWRITE", kMsgCannotOpenOutput, name, "writing");
        return;
      }
      store.swapFile = file;
      journal::discard(store);  // a journal of an earlier file of that name is void now
      if (!makePoolAndRoot(store)) store.failed = true;
      return;
    default:
      store.failed = true;
      return;
  }
  acceptFile(store, file);
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
      QmCFileFlush(store.swapFile) != 0 || fsync(fileno(store.swapFile)) != 0) {
    report(store, kFatalError, "NOFILEWRITE", kMsgWriteFailed, 0L);
    return false;
  }
  return true;
}

}  // namespace

long save(Store& store) {
  uint8_t* page0 = resolve(store, 0);
  if (page0 == nullptr) return -1;
  bool firstSave = store.named && store.savedHeapTop == 0;
  header::write(page0, store.pageSize, store.heapTop, store.firstIndex);
  if (firstSave) header::setMagic(page0, false);
  markDirty(store);
  if (store.linkCleanup) {
    if (store.clearLinks != nullptr) store.clearLinks(store);
    store.linkCleanup = false;
  }
  long written = writeAllDirty(store);
  if (written < 0) return -1;
  // The save is complete only when it is on disk, not in stdio's buffer.
  if (store.swapFile != nullptr &&
      (QmCFileFlush(store.swapFile) != 0 || (store.named && fsync(fileno(store.swapFile)) != 0))) {
    report(store, kFatalError, "NOFILEWRITE", kMsgWriteFailed,
           static_cast<long>((store.heapTop - 1) / store.pageSize));
    return -1;
  }
  if (firstSave) {
    if (!writeMagic(store)) return -1;
    page0 = resolve(store, 0);
    if (page0 != nullptr) header::setMagic(page0, true);
  }
  journal::commit(store);
  return written;
}

void shrink(Store& store) {
  while (store.frameCount > 2 && releaseLeastRecentlyUsed(store)) {
  }
}

void makeReadOnly(Store& store) {
  save(store);
  store.readOnly = true;
}

bool makeUpdatable(Store& store) {
  if (store.named) {
    QmCFileClose(store.swapFile);
    store.swapFile = QmCFileOpen(store.fileName.c_str(), "r+b");
    if (store.swapFile == nullptr) {
      // Stay read-only on the same file; never reopen it for writing.
      store.swapFile = QmCFileOpen(store.fileName.c_str(), "rb");
      return false;
    }
  }
  if (store.pool == nullptr) {
    store.pool.reset(new (std::nothrow) StringPool);
    if (store.pool == nullptr) return false;
  }
  store.readOnly = false;
  return true;
}

bool clear(Store& store) {
  if (store.swapFile != nullptr) {
    QmCFileClose(store.swapFile);
    store.swapFile = nullptr;
  }
  if (store.named) {
    store.swapFile = QmCFileOpen(store.fileName.c_str(), "w+b");
    if (store.swapFile == nullptr) {
      report(store, kFatalError, "NOFILEWRITE", kMsgCannotOpenOutput, store.fileName.c_str(),
             "writing");
      return false;
    }
    journal::discard(store);
  } else if (store.hasFileName) {
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
  store.fileName.clear();
  store.hasFileName = false;
  freeFrames(store, 0);
  store.pool.reset();
  store.hasError = false;
  store.errorCode.clear();
  store.errorMessage.clear();
}

}  // namespace qmdb::store
