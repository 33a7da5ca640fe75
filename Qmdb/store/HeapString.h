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

/// The text of the heap string at `address`, pointing into its page frame;
/// null for 0 or when no terminating zero lies within the page below the heap top.
const char* readHeapString(Store& store, long address);

/// The first byte of the heap string at `address`, for a comparison that may
/// end there; -1 for 0 or when that byte is not below the heap top. It does not
/// tell whether the string is whole: readHeapString does.
int heapStringFirstByte(Store& store, long address);

}  // namespace qmdb::store

#endif
