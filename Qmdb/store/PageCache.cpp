// The page cache's misses, write-back and read-in, and the swap file.
#include "Qmdb/store/PageCache.h"

#include <sys/types.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "Qmdb/store/Allocation.h"
#include "Qmdb/store/Journal.h"
#include "Qmdb/store/Messages.h"
#include "Qmencoding/QmCFile.h"

namespace qmdb::store {

namespace {

// --- the page table: page number -> frame, for hits that miss the head ---

size_t bucketOf(const Store& store, int32_t page) {
  return static_cast<uint32_t>(page) & (store.pageTable.size() - 1);
}

Frame* tableFind(const Store& store, int32_t page) {
  if (store.pageTable.empty()) return nullptr;
  for (Frame* f = store.pageTable[bucketOf(store, page)]; f != nullptr; f = f->hashNext) {
    if (f->page == page) return f;
  }
  return nullptr;
}

void tableRemove(Store& store, Frame* frame) {
  frame->base = kNoBase;
  if (frame->page < 0 || store.pageTable.empty()) return;
  Frame** link = &store.pageTable[bucketOf(store, frame->page)];
  while (*link != nullptr && *link != frame) link = &(*link)->hashNext;
  if (*link == frame) *link = frame->hashNext;
  frame->hashNext = nullptr;
}

// Keeps the table at least as large as the number of frames, so chains stay short.
bool tableGrow(Store& store) {
  size_t wanted = 16;
  while (wanted < static_cast<size_t>(store.frameCount) + 1) wanted *= 2;
  if (wanted <= store.pageTable.size()) return true;
  std::vector<Frame*> old;
  old.swap(store.pageTable);
  try {
    store.pageTable.assign(wanted, nullptr);
  } catch (const std::bad_alloc&) {
    store.pageTable.swap(old);
    return false;
  }
  for (Frame* bucket : old) {
    for (Frame* f = bucket; f != nullptr;) {
      Frame* next = f->hashNext;
      f->hashNext = store.pageTable[bucketOf(store, f->page)];
      store.pageTable[bucketOf(store, f->page)] = f;
      f = next;
    }
  }
  return true;
}

void tableInsert(Store& store, Frame* frame) {
  frame->base = static_cast<long>(frame->page) * store.pageSize;
  size_t bucket = bucketOf(store, frame->page);
  frame->hashNext = store.pageTable[bucket];
  store.pageTable[bucket] = frame;
}

// --- the most-recently-used list ---

void unlinkFrame(Store& store, Frame* frame) {
  if (frame->previous != nullptr) {
    frame->previous->next = frame->next;
  } else {
    store.head = frame->next;
  }
  if (frame->next != nullptr) {
    frame->next->previous = frame->previous;
  } else {
    store.tail = frame->previous;
  }
  frame->next = frame->previous = nullptr;
}

void linkAtHead(Store& store, Frame* frame) {
  frame->previous = nullptr;
  frame->next = store.head;
  if (store.head != nullptr) store.head->previous = frame;
  store.head = frame;
  if (store.tail == nullptr) store.tail = frame;
}

// The number of bytes of `page` that lie below the heap top.
long pageLength(const Store& store, int32_t page) {
  long start = static_cast<long>(page) * store.pageSize;
  long end = start + store.pageSize;
  return end > store.heapTop ? store.heapTop - start : store.pageSize;
}

// A new temporary file name "qmb_XXXXXX" in $TMPDIR (else /tmp); the file is made
// empty so that the name is ours.
std::string makeTemporaryName() {
  const char* dir = getenv("TMPDIR");
  std::string pattern = std::string(dir != nullptr && *dir != '\0' ? dir : "/tmp") + "/qmb_XXXXXX";
  std::string name = pattern;
  int fd = mkstemp(name.data());
  if (fd < 0) return pattern;
  close(fd);
  return name;
}

// Copies the saved bytes of `page` to the journal before they are overwritten.
// Without memory for the copy the page cannot be written safely: a fatal
// problem, like a failed write, and never an exception out of the cache.
bool protectPage(Store& store, int32_t page) {
  try {
    return journal::protectPage(store, page);
  } catch (const std::bad_alloc&) {
    report(store, kFatalError, "MEMORYOVERFLOW", kMsgMemoryOverflow, "the journal");
    return false;
  }
}

// Writes the frame's page below the heap top; reports and fails on any error.
bool writePage(Store& store, Frame* frame, int openMessage) {
  if (store.failed) return false;
  if (!ensureSwapFile(store, openMessage)) return false;
  if (!protectPage(store, frame->page)) return false;
  long position = static_cast<long>(frame->page) * store.pageSize;
  if (QmCFileSeek(store.swapFile, position) != 0) {
    report(store, kFatalError, "NOFILESEEK", kMsgSeekFailed, static_cast<long>(frame->page),
           "writing");
    return false;
  }
  long length = pageLength(store, frame->page);
  if (QmCFileWrite(frame->data, static_cast<size_t>(length), store.swapFile) !=
      static_cast<size_t>(length)) {
    report(store, kFatalError, "NOFILEWRITE", kMsgWriteFailed, static_cast<long>(frame->page));
    return false;
  }
  if (frame->page >= store.swapPages) store.swapPages = frame->page + 1;
  return true;
}

bool readPage(Store& store, Frame* frame, int32_t page) {
  if (!ensureSwapFile(store, kMsgCannotOpenOutput)) return false;
  long position = static_cast<long>(page) * store.pageSize;
  if (QmCFileSeek(store.swapFile, position) != 0) {
    report(store, kFatalError, "NOFILESEEK", kMsgSeekFailed, static_cast<long>(page), "reading");
    return false;
  }
  long length = pageLength(store, page);
  if (length > 0 && QmCFileRead(frame->data, static_cast<size_t>(length), store.swapFile) !=
                        static_cast<size_t>(length)) {
    report(store, kFatalError, "NOFILEREAD", kMsgReadFailed, static_cast<long>(page));
    return false;
  }
  // The heap top's page read back: records made above the heap top leave
  // bytes unwritten (padding, the rest of a text's block), which must be the
  // zeros of a new page, not what the frame held before.
  if (length >= 0 && length < store.pageSize && !frame->fresh) {
    memset(frame->data + length, 0, static_cast<size_t>(store.pageSize - length));
  }
  return true;
}

// --- zero-copy frames of a store that only reads ---
//
// A store that only reads never writes a frame (every modification is
// refused before it reaches the cache), so a frame may map its page from the
// file instead of copying it into a buffer of its own: no copy, and nothing
// to zero. The mapping may only be read, is made whole at once, and is
// unmapped when the frame takes another page, so the resident memory stays
// that of the frames. Pages the file does not hold whole (its last one, a
// file cut short) are read as before, so that a short file is still
// reported, not a fault.

// Mapping pays for its system calls only with large pages.
constexpr int32_t kSmallestMappedPage = 65536;

bool mapsPages(const Store& store) {
  static const long systemPage = sysconf(_SC_PAGESIZE);
  return store.readOnly && store.named && store.swapFile != nullptr &&
         store.pageSize >= kSmallestMappedPage && systemPage > 0 &&
         store.pageSize % systemPage == 0;
}

void releaseData(Store& store, Frame* frame) {
  if (frame->mapped) {
    QmCFileUnmap(frame->data, static_cast<size_t>(store.pageSize));
  } else {
    free(frame->data);
  }
  frame->data = nullptr;
  frame->mapped = false;
}

// Makes sure the frame has a buffer of its own; false when memory ran out.
bool ownBuffer(Store& store, Frame* frame) {
  if (frame->data != nullptr && !frame->mapped) return true;
  releaseData(store, frame);
  // Zeroed memory: large blocks come straight from the system, already zero.
  frame->data = static_cast<uint8_t*>(allocateZeroed(static_cast<size_t>(store.pageSize)));
  frame->fresh = true;
  return frame->data != nullptr;
}

Frame* newFrame(Store& store) {
  void* memory = allocate(sizeof(Frame));
  if (memory == nullptr) return nullptr;
  Frame* frame = new (memory) Frame;
  // A store that maps its pages gives the frame its bytes when it fills it.
  if (!mapsPages(store) && !ownBuffer(store, frame)) {
    free(memory);
    return nullptr;
  }
  return frame;
}

// Gives the frame the bytes of `page`: its mapping, a read into the frame's
// own buffer, or (a page past the swap file) zeros.
bool fillFrame(Store& store, Frame* frame, int32_t page) {
  if (page < store.swapPages && mapsPages(store)) {
    void* view = QmCFileMap(store.swapFile, static_cast<long>(page) * store.pageSize,
                            static_cast<size_t>(store.pageSize));
    if (view != nullptr) {
      releaseData(store, frame);
      frame->data = static_cast<uint8_t*>(view);
      frame->mapped = true;
      frame->fresh = false;
      return true;
    }
  }
  if (!ownBuffer(store, frame)) {
    report(store, kFatalError, "MEMORYOVERFLOW", kMsgMemoryOverflow, "a page frame");
    return false;
  }
  if (page < store.swapPages) return readPage(store, frame, page);
  if (!frame->fresh) {
    // A new page starts as zeros, so that bytes no record writes (padding, the
    // rest of a text's block, a skipped page end) never carry stale memory
    // into the file.
    memset(frame->data, 0, static_cast<size_t>(store.pageSize));
  }
  return true;
}

// --- the adaptive frame limit ---
//
// A default cache starts at the default limit and doubles it whenever, since
// the last raise, half as many pages as it holds were read back while their
// eviction was still among the last frameLimit ones: the working set is larger
// than the cache. A walk that reads each page once never raises it, so its
// memory stays flat in the size of the heap.

void noteEviction(Store& store, int32_t page) {
  if (!store.adaptiveLimit || page < 0) return;
  if (store.evicted.empty()) {
    // A refused allocation ends adapting; the limit stays where it is.
    try {
      if (!allocationAllowed()) throw std::bad_alloc();
      store.evicted.assign(static_cast<size_t>(adaptiveFrameBound(store.pageSize)), -1);
    } catch (const std::bad_alloc&) {
      store.adaptiveLimit = false;
      return;
    }
  }
  store.evicted[store.evictedNext] = page;
  store.evictedNext = (store.evictedNext + 1) % store.evicted.size();
}

void noteReadBack(Store& store, int32_t page) {
  if (!store.adaptiveLimit || store.evicted.empty()) return;
  const int32_t bound = adaptiveFrameBound(store.pageSize);
  if (store.frameLimit >= bound) return;
  const size_t size = store.evicted.size();
  size_t window = static_cast<size_t>(store.frameLimit);
  if (window > size) window = size;
  for (size_t i = 1; i <= window; ++i) {
    if (store.evicted[(store.evictedNext + size - i) % size] != page) continue;
    if (++store.rereads >= store.frameLimit / 2) {
      store.frameLimit = store.frameLimit > bound / 2 ? bound : store.frameLimit * 2;
      store.rereads = 0;
    }
    return;
  }
}

// Evicted pages are handed to the disk a few megabytes at a time, so that
// it writes them while the heap grows rather than all at once when the next
// save syncs the file. Page by page, the many small starts would keep the
// file system's journal busy and slow the writes that follow. A temporary
// swap file is never synced, and is never written out early.
constexpr long kWriteBackBytes = 2L << 20;

void startWriteBack(Store& store, int32_t page) {
  long from = static_cast<long>(page) * store.pageSize;
  long to = from + pageLength(store, page);
  if (store.writtenTo == 0) {
    store.writtenFrom = from;
    store.writtenTo = to;
  } else {
    if (from < store.writtenFrom) store.writtenFrom = from;
    if (to > store.writtenTo) store.writtenTo = to;
  }
  if (store.writtenTo - store.writtenFrom < kWriteBackBytes) return;
  QmCFileStartWriteBack(store.swapFile, store.writtenFrom, store.writtenTo - store.writtenFrom);
  store.writtenFrom = store.writtenTo = 0;
}

void deleteFrame(Store& store, Frame* frame) {
  releaseData(store, frame);
  frame->~Frame();
  free(frame);
}

}  // namespace

bool ensureSwapFile(Store& store, int messageNumber) {
  if (store.swapFile != nullptr) return true;
  if (store.named) {
    // A named database whose file could not be reopened: never recreate it,
    // which would empty it.
    report(store, kFatalError, "NOFILEOPEN", kMsgCannotOpen, store.fileName.c_str());
    return false;
  }
  if (!store.hasFileName) {
    try {
      store.fileName = makeTemporaryName();
    } catch (const std::bad_alloc&) {
      report(store, kFatalError, "MEMORYOVERFLOW", kMsgMemoryOverflow, "the swap file's name");
      return false;
    }
    store.hasFileName = true;
  }
  store.swapFile = QmCFileOpen(store.fileName.c_str(), "w+b");
  if (store.swapFile != nullptr) return true;
  if (messageNumber == kMsgCannotOpenOutput) {
    report(store, kFatalError, "NOFILEOPEN", kMsgCannotOpenOutput, store.fileName.c_str(),
           "writing");
  } else {
    report(store, kFatalError, "NOFILEOPEN", kMsgCannotOpen, store.fileName.c_str());
  }
  return false;
}

uint8_t* resolveMiss(Store& store, long address) {
  if (address < 0) {
    report(store, kFatalBug, "CANNOTHAPPEN", kMsgNegativeAddress, address);
    return nullptr;
  }
  // After a failed file operation nothing more reaches the file: the rest of
  // an operation that was cut short must not write over what was saved.
  if (address > kHeapLimit || store.failed) return nullptr;

  // Walks often alternate between two pages (an object's and its name's): the
  // second frame is tried first, without a division, and swapped with the head.
  Frame* head = store.head;
  Frame* second = head != nullptr ? head->next : nullptr;
  if (second != nullptr) {
    unsigned long secondOffset =
        static_cast<unsigned long>(address) - static_cast<unsigned long>(second->base);
    if (secondOffset < static_cast<unsigned long>(store.pageSize)) {
      promoteSecond(store, head, second);
      return second->data + secondOffset;
    }
  }

  int32_t page = static_cast<int32_t>(address / store.pageSize);
  long offset = address % store.pageSize;
  Frame* frame = tableFind(store, page);
  if (frame != nullptr) {
    if (frame != store.head) {
      unlinkFrame(store, frame);
      linkAtHead(store, frame);
    }
    return frame->data + offset;
  }

  if (page < store.swapPages) noteReadBack(store, page);
  frame = nullptr;
  if (store.frameLimit == 0 || store.frameCount < store.frameLimit) {
    frame = newFrame(store);
    if (frame != nullptr) {
      ++store.frameCount;
      if (!tableGrow(store)) {
        --store.frameCount;
        deleteFrame(store, frame);
        frame = nullptr;
      }
    }
    if (frame == nullptr) {
      store.frameLimit = store.frameCount;  // the cache stops growing from now on
      store.adaptiveLimit = false;
    } else {
      linkAtHead(store, frame);
    }
  }
  if (frame == nullptr) {
    frame = store.tail;
    if (frame == nullptr) return nullptr;
    unlinkFrame(store, frame);
    linkAtHead(store, frame);
    noteEviction(store, frame->page);
    if (frame->dirty && frame->page >= 0 &&
        store.heapTop > static_cast<long>(frame->page) * store.pageSize) {
      if (!writePage(store, frame, kMsgCannotOpenOutput)) return nullptr;
      if (store.named) startWriteBack(store, frame->page);
    }
    tableRemove(store, frame);
    frame->page = -1;
    frame->dirty = false;
  }
  if (!fillFrame(store, frame, page)) return nullptr;
  frame->fresh = false;
  frame->page = page;
  frame->dirty = false;
  tableInsert(store, frame);
  return frame->data + offset;
}

uint8_t* fieldPointerMiss(Store& store, long address, long width) {
  if (address < 0 || address > store.heapTop - width) return nullptr;
  if (address % store.pageSize > store.pageSize - width) return nullptr;  // straddles a page
  return resolveMiss(store, address);
}

long reserveMiss(Store& store, long n) {
  if (n > store.pageSize || n < 0) return 0;
  long room = store.pageSize - store.heapTop % store.pageSize;
  if (room >= n) {
    if (store.heapTop + n > kHeapLimit) return 0;
    // The caller moves the heap top past the record before it writes it. The
    // record's page is brought in now, while a read-in still asks the file only
    // for the bytes below the old heap top, which the file holds.
    if (resolve(store, store.heapTop) == nullptr) return 0;
    return store.heapTop;
  }
  if (store.heapTop + room + n > kHeapLimit) return 0;
  if (resolve(store, store.heapTop) == nullptr) return 0;
  store.heapTop += static_cast<int32_t>(room);
  // The page left behind grows from its short length to a full page on disk.
  // The record goes on a new page, which is never read in.
  markDirty(store);
  return store.heapTop;
}

bool releaseLeastRecentlyUsed(Store& store) {
  if (store.frameCount < 3) return false;
  Frame* frame = store.tail;
  if (frame->dirty && frame->page >= 0 &&
      store.heapTop > static_cast<long>(frame->page) * store.pageSize) {
    if (!writePage(store, frame, kMsgCannotOpen)) return false;
  }
  unlinkFrame(store, frame);
  tableRemove(store, frame);
  deleteFrame(store, frame);
  --store.frameCount;
  return true;
}

long writeAllDirty(Store& store) {
  long total = 0;
  for (Frame* frame = store.head; frame != nullptr; frame = frame->next) {
    if (!frame->dirty || frame->page < 0 ||
        static_cast<long>(frame->page) * store.pageSize >= store.heapTop) {
      continue;
    }
    if (!writePage(store, frame, kMsgCannotOpen)) return -1;
    total += pageLength(store, frame->page);
    frame->dirty = false;
  }
  return total;
}

void unmapFrames(Store& store) {
  for (Frame* frame = store.head; frame != nullptr;) {
    Frame* next = frame->next;
    if (frame->mapped) {
      void* copy = allocate(static_cast<size_t>(store.pageSize));
      if (copy != nullptr) {
        memcpy(copy, frame->data, static_cast<size_t>(store.pageSize));
        QmCFileUnmap(frame->data, static_cast<size_t>(store.pageSize));
        frame->data = static_cast<uint8_t*>(copy);
        frame->mapped = false;
      } else {
        // Clean, since the store only read: the page can be read again later.
        unlinkFrame(store, frame);
        tableRemove(store, frame);
        deleteFrame(store, frame);
        --store.frameCount;
      }
    }
    frame = next;
  }
}

void freeFrames(Store& store, int32_t keep) {
  while (store.frameCount > keep && store.head != nullptr) {
    Frame* frame = store.head;
    unlinkFrame(store, frame);
    tableRemove(store, frame);
    deleteFrame(store, frame);
    --store.frameCount;
  }
}

}  // namespace qmdb::store
