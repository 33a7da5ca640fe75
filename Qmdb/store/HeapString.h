// Heap strings: a text's bytes and one zero byte, in a block of (length + 1)
// rounded up to a multiple of 4, lying within one page.
//
// Only length + 1 bytes are written; the rest of the block keeps whatever it
// held. A heap string is never changed once written. Reading one finds its
// zero inside its page and below the heap top, or gives null: a heap string
// without its zero is absent.
#ifndef QMDB_STORE_HEAPSTRING_H
#define QMDB_STORE_HEAPSTRING_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Qmdb/store/PageCache.h"
#include "Qmdb/store/Store.h"

namespace qmdb::store {

/// The size of the block that holds a text of `length` bytes.
inline long heapStringBlockSize(size_t length) {
  return static_cast<long>((length + 1 + 3) & ~size_t{3});
}

/// Writes the `length` bytes of `text` and the terminating zero at `p`, in a
/// frame where a block of heapStringBlockSize(length) bytes was reserved.
inline void writeHeapStringAt(uint8_t* p, const char* text, size_t length) {
  if (length > 0) memcpy(p, text, length);
  p[length] = 0;
}

/// Writes a new heap string holding `length` bytes of `text` at the heap top;
/// its address, or 0 when the block does not fit in a page or the heap.
long writeHeapString(Store& store, const char* text, size_t length);

/// The slow part of readHeapString(): the text at `p`, whose zero is not in
/// its first eight bytes, or null when no zero lies in its `available` bytes.
const char* findHeapStringEnd(const uint8_t* p, long available);

/// The text of the heap string at `address`, pointing into its page frame;
/// null for 0 or when no terminating zero lies within the page below the heap top.
/// In line: every getter of a text ends here.
inline const char* readHeapString(Store& store, long address) {
  if (address <= 0 || address >= store.heapTop) return nullptr;
  const uint8_t* p = resolve(store, address);
  if (p == nullptr) return nullptr;
  // The head frame holds the address's page now: the zero is sought in the
  // rest of that page below the heap top.
  long available = store.head->base + store.pageSize - address;
  if (available > store.heapTop - address) available = store.heapTop - address;
  // Most names and many values end within their first eight bytes: one word
  // tells (a zero byte in it is what the classic bit trick finds).
  if (available >= 8) {
    uint64_t word;
    memcpy(&word, p, sizeof word);
    if (((word - 0x0101010101010101ULL) & ~word & 0x8080808080808080ULL) != 0) {
      return reinterpret_cast<const char*>(p);
    }
  }
  return findHeapStringEnd(p, available);
}

/// The first byte of the heap string at `address`, for a comparison that may
/// end there; -1 for 0 or when that byte is not below the heap top. It does not
/// tell whether the string is whole: readHeapString does.
int heapStringFirstByte(Store& store, long address);

}  // namespace qmdb::store

#endif
