// The store: everything one open database keeps in memory.
//
// A store owns the page cache (frames of the heap's pages), the swap file
// (the database file itself, or a temporary file for a nameless database),
// the string pool, the error state and the hook table. Engine code reads and
// writes the heap only through the page cache (PageCache.h); the handle owns
// exactly one store per database.
//
// Invariants:
//  1. head..tail is one doubly linked list of frameCount frames, most
//     recently used first; no two frames hold the same page; the page table
//     maps each held page number to its frame.
//  2. heapTop is the first free heap byte (>= 60 once the root record exists);
//     every byte below it belongs to the header, a record, or a skipped page end.
//  3. failed is never cleared once set.
#ifndef QMDB_STORE_STORE_H
#define QMDB_STORE_STORE_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "Qmdb/store/HookTable.h"
#include "Qmdb/store/StringPool.h"

namespace qmdb::store {

/// The first heap address after the file header, where the root record lies.
constexpr int32_t kHeaderSize = 40;
/// The root record is a node record of this many bytes, all zero when new.
constexpr int32_t kRootRecordSize = 20;
/// The heap top of a new, empty database.
constexpr int32_t kEmptyHeapTop = kHeaderSize + kRootRecordSize;
/// Page size and frame limit when neither argument nor environment says.
constexpr int32_t kDefaultPageSize = 262144;
constexpr int32_t kDefaultFrameLimit = 8;
/// The most bytes of frames an adaptive frame limit may reach: enough for the
/// working set of a large index, small enough to keep a process lean.
constexpr int64_t kAdaptiveCacheBytes = 16L << 20;

/// The highest adaptive frame limit for pages of `pageSize` bytes (never below
/// the default limit).
inline int32_t adaptiveFrameBound(int32_t pageSize) {
  int64_t frames = pageSize > 0 ? kAdaptiveCacheBytes / pageSize : 0;
  return frames > kDefaultFrameLimit ? static_cast<int32_t>(frames) : kDefaultFrameLimit;
}
/// The smallest page size accepted: page 0 must hold the header and root record.
constexpr int32_t kMinimumPageSize = kEmptyHeapTop;
/// The heap may not grow past this address: every address fits in 31 bits.
constexpr int64_t kHeapLimit = 0x7fffffff;

/// The base of a frame that holds no page: no address minus it is small.
constexpr long kNoBase = -(1L << 62);

/// One cached page.
struct Frame {
  Frame* next = nullptr;      ///< less recently used
  Frame* previous = nullptr;  ///< more recently used
  uint8_t* data = nullptr;    ///< pageSize bytes, never cleared; null until first filled
  bool mapped = false;        ///< data is a private mapping of the page in the file
  int32_t page = -1;          ///< the page held; -1 for none
  long base = kNoBase;        ///< heap address of the page's first byte; kNoBase for none
  bool dirty = false;         ///< holds changes not yet in the swap file
  bool fresh = true;          ///< its buffer is still all zeros (it never held a page)
  Frame* hashNext = nullptr;  ///< next frame in the same page-table bucket
};

/// A text of the error state, kept in a buffer of its own so that recording a
/// problem (running out of memory among them) never needs memory.
template <size_t kCapacity>
class ErrorText {
 public:
  /// Replaces the text by `text`, cut to the capacity.
  ErrorText& operator=(const char* text) {
    snprintf(bytes_, kCapacity, "%s", text != nullptr ? text : "");
    return *this;
  }
  /// Empties the text.
  void clear() { bytes_[0] = '\0'; }
  /// The text, zero-terminated; owned by the store.
  char* data() { return bytes_; }
  const char* c_str() const { return bytes_; }

 private:
  char bytes_[kCapacity] = {};
};

/// The longest formatted message, with its terminating zero.
constexpr size_t kMessageBufferSize = 1028;

/// The state of one open database.
struct Store {
  Store() = default;
  /// Frees what a close left (or everything, when the store was never closed).
  ~Store();
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  bool failed = false;       ///< unusable for good (failed open or severity above 9)
  bool linkCleanup = false;  ///< links were made since the last save

  // Page cache.
  int32_t frameCount = 0;
  Frame* head = nullptr;
  Frame* tail = nullptr;
  std::vector<Frame*> pageTable;  ///< buckets of frames by page number (power of 2)
  int32_t swapPages = 0;          ///< pages the swap file holds
  int32_t pageSize = kDefaultPageSize;
  int32_t frameLimit = kDefaultFrameLimit;  ///< 0: no limit
  /// Set when neither the caller nor QMPAGES chose the frame limit: the cache
  /// then raises its own limit while pages come back soon after eviction
  /// (PageCache.cpp), up to adaptiveFrameBound(). A chosen limit is kept exactly.
  bool adaptiveLimit = false;
  std::vector<int32_t> evicted;  ///< the pages evicted last, a ring (adaptive limit only)
  size_t evictedNext = 0;        ///< where the ring's next eviction goes
  int32_t rereads = 0;           ///< pages read back soon after eviction, since the last raise
  int32_t heapTop = kHeaderSize;
  /// Bytes below the heap top that the file did not hold when it was opened (a
  /// file cut short): no read reaches them, so no walk may count on them.
  int32_t unreadable = 0;
  /// The file bytes [writtenFrom, writtenTo) hold evicted pages whose write
  /// to the disk was not started yet (both 0: none); see PageCache.cpp.
  long writtenFrom = 0;
  long writtenTo = 0;
  int32_t firstIndex = 0;

  // Files.
  FILE* swapFile = nullptr;
  std::string fileName;
  bool hasFileName = false;
  bool named = false;     ///< made with a file name (else the swap file is temporary)
  bool readOnly = false;  ///< refuses every modification
  bool changed = false;   ///< modified since hasChanged() last asked

  int lockDescriptor = -1;  ///< holds the advisory lock on a named file; -1 for none

  // Rollback journal (Journal.h).
  std::string journalName;           ///< "<file>-journal", made at open so saves need no memory
  int32_t savedHeapTop = 0;          ///< the file's length at the last save; 0 for a new file
  std::vector<uint8_t> journaled;    ///< 1 for pages whose saved bytes are in the journal
  FILE* journal = nullptr;           ///< the open journal, while a save is pending
  int32_t journalRecords = 0;        ///< records the journal's header counts
  uint32_t journalChecksum = 0;      ///< checksum of those records
  long journalEnd = 0;               ///< where the next record goes
  uint8_t* journalBuffer = nullptr;  ///< one record's room, allocated when the store
                                     ///< becomes updatable, so that saving allocates nothing

  std::unique_ptr<StringPool> pool;  ///< null while read-only (never made)

  // Error state and tracing.
  int traceLevel = 0;
  FILE* traceStream = nullptr;
  bool hasError = false;
  ErrorText<32> errorCode;
  ErrorText<kMessageBufferSize> errorMessage;
  FILE* errorStream = nullptr;

  HookTable hooks{*this};

  /// Called by save, before the pages are written, when links were made:
  /// clears the links of the document tree and the index entries that name
  /// other databases. Set by the handle, which knows the layers above.
  void (*clearLinks)(Store&) = nullptr;
};

/// The bytes of the heap that can be read: what bounds every walk over it, so
/// that a damaged heap (a cycle) or a header that claims more than its file
/// holds cannot make a walk run, or collect, without end.
inline long readableHeap(const Store& s) {
  return static_cast<long>(s.heapTop) - s.unreadable;
}

}  // namespace qmdb::store

#endif
