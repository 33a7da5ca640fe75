// The page cache: the heap's pages in a few frames, spilling to the swap file.
//
// Every byte of the heap is reached through resolve(), which makes the page
// of the address the head of the most-recently-used list. A miss takes a new
// frame while the frame limit allows, else reuses the least recently used
// frame, writing it back first when it is dirty. Pages are read back from the
// swap file, which is a byte-for-byte image of the heap (page p at p x page
// size; only bytes below the heap top are ever written or read).
//
// Invariants kept here (beside those of Store.h):
//  1. A pointer from resolve() stays valid until its frame is reused by a miss
//     on a full cache (the frame is then the least recently used one) or freed.
//  2. Whoever writes through such a pointer marks the head dirty before it
//     resolves anything else; put32/put8 do this at once.
//  3. Nothing on disk is ever read past the heap top, and a record never
//     straddles a page, so a field is read or written within one frame.
#ifndef QMDB_STORE_PAGECACHE_H
#define QMDB_STORE_PAGECACHE_H

#include <cstdint>

#include "Qmdb/store/ByteOrder.h"
#include "Qmdb/store/Store.h"

namespace qmdb::store {

/// The slow part of resolve(): a miss of the head frame.
uint8_t* resolveMiss(Store& store, long address);

/// Makes `second`, the frame after `head`, the head: walks often alternate
/// between two pages (an object's and its pooled name's), and this keeps
/// the switch in line, without a division or a call.
inline void promoteSecond(Store& store, Frame* head, Frame* second) {
  head->next = second->next;
  if (second->next != nullptr) {
    second->next->previous = head;
  } else {
    store.tail = head;
  }
  head->previous = second;
  second->previous = nullptr;
  second->next = head;
  store.head = second;
}

/// A pointer to the byte at heap `address` inside a frame, or null (reported
/// when a file operation fails). Afterwards that frame is the head.
inline uint8_t* resolve(Store& store, long address) {
  Frame* head = store.head;
  if (head != nullptr) {
    // One subtraction and one unsigned comparison: no division on a hit.
    unsigned long offset =
        static_cast<unsigned long>(address) - static_cast<unsigned long>(head->base);
    if (offset < static_cast<unsigned long>(store.pageSize)) return head->data + offset;
    Frame* second = head->next;
    if (second != nullptr) {
      offset = static_cast<unsigned long>(address) - static_cast<unsigned long>(second->base);
      if (offset < static_cast<unsigned long>(store.pageSize)) {
        promoteSecond(store, head, second);
        return second->data + offset;
      }
    }
  }
  return resolveMiss(store, address);
}

/// Marks the head frame dirty: call after writing through a resolved pointer.
inline void markDirty(Store& store) {
  if (store.head != nullptr) store.head->dirty = true;
}

/// The slow part of reserve(): the heap top's page is not the head, or `n`
/// bytes do not fit on it.
long reserveMiss(Store& store, long n);

/// A heap address where `n` bytes fit within one page, or 0. The caller moves
/// the heap top past them and writes the record before it resolves any other
/// address. Skipping the rest of a page marks that page dirty.
inline long reserve(Store& store, long n) {
  Frame* head = store.head;
  if (head != nullptr && n >= 0) {
    // The heap top lies on the head's page, which has room: no division, no I/O.
    unsigned long offset =
        static_cast<unsigned long>(store.heapTop) - static_cast<unsigned long>(head->base);
    if (offset < static_cast<unsigned long>(store.pageSize) &&
        static_cast<unsigned long>(store.pageSize) - offset >= static_cast<unsigned long>(n) &&
        store.heapTop + n <= kHeapLimit) {
      return store.heapTop;
    }
  }
  return reserveMiss(store, n);
}

/// Writes back and frees the least recently used frame; false (no message)
/// below 3 frames, false (reported) when the page cannot be written.
bool releaseLeastRecentlyUsed(Store& store);

/// Writes every dirty frame below the heap top; the bytes written, or -1.
long writeAllDirty(Store& store);

/// Gives every frame that maps its page from the file a copy of its own (or
/// frees it when memory runs out), before a store that only read starts
/// writing: mapped bytes never go back to the file.
void unmapFrames(Store& store);

/// Frees frames from the head until `keep` remain.
void freeFrames(Store& store, int32_t keep);

/// Makes sure the swap file is open, making a temporary one for a nameless
/// store; a failed open is reported with `messageNumber` (157 or 158).
bool ensureSwapFile(Store& store, int messageNumber);

/// The slow part of fieldPointer(): the field lies on neither of the two most
/// recently used pages, or is not wholly below the heap top within one page.
uint8_t* fieldPointerMiss(Store& store, long address, long width);

/// A pointer to `width` bytes at `address` when they lie wholly below the heap
/// top and within one page; null otherwise. Nothing read from the heap is
/// followed without passing through here.
inline uint8_t* fieldPointer(Store& store, long address, long width) {
  Frame* head = store.head;
  if (head != nullptr && address <= store.heapTop - width) {
    // A negative address or one off a frame's page wraps to a large offset;
    // a field that fits a frame's page does not straddle two.
    const unsigned long last = static_cast<unsigned long>(store.pageSize - width);
    unsigned long offset =
        static_cast<unsigned long>(address) - static_cast<unsigned long>(head->base);
    if (offset <= last) return head->data + offset;
    Frame* second = head->next;
    if (second != nullptr) {
      offset = static_cast<unsigned long>(address) - static_cast<unsigned long>(second->base);
      if (offset <= last) {
        promoteSecond(store, head, second);
        return second->data + offset;
      }
    }
  }
  return fieldPointerMiss(store, address, width);
}

/// Reserves `size` bytes for a record and moves the heap top past them, so that
/// its fields can be written; the record's address, or 0.
inline long reserveRecord(Store& store, long size) {
  long address = reserve(store, size);
  if (address != 0) store.heapTop = static_cast<int32_t>(address + size);
  return address;
}

/// Whether `n` more bytes fit on the heap top's page: then records reserved
/// one after the other, n bytes in all, lie side by side exactly where
/// reservations one by one would put them, and one pointer may write them all.
inline bool fitsOnTopPage(const Store& store, long n) {
  return store.pageSize - store.heapTop % store.pageSize >= n && store.heapTop + n <= kHeapLimit;
}

/// The 32-bit field at `address`; 0 when it is not wholly below the heap top.
inline int32_t get32(Store& store, long address) {
  const uint8_t* p = fieldPointer(store, address, 4);
  return p != nullptr ? decodeFixed32(p) : 0;
}

/// Writes the 32-bit field at `address` and marks its page dirty; false when
/// the field is not wholly below the heap top or its page cannot be had.
inline bool put32(Store& store, long address, int32_t value) {
  uint8_t* p = fieldPointer(store, address, 4);
  if (p == nullptr) return false;
  encodeFixed32(p, value);
  markDirty(store);
  return true;
}

/// Writes the 32-bit field at `address`, marks its page dirty, and gives the
/// value it replaces; 0 (nothing written) when the field is not there.
inline long exchange32(Store& store, long address, int32_t value) {
  uint8_t* p = fieldPointer(store, address, 4);
  if (p == nullptr) return 0;
  long old = decodeFixed32(p);
  encodeFixed32(p, value);
  markDirty(store);
  return old;
}

/// The byte at `address`; 0 when it is not below the heap top.
inline uint8_t get8(Store& store, long address) {
  const uint8_t* p = fieldPointer(store, address, 1);
  return p != nullptr ? *p : 0;
}

/// Writes the byte at `address` and marks its page dirty.
inline bool put8(Store& store, long address, uint8_t value) {
  uint8_t* p = fieldPointer(store, address, 1);
  if (p == nullptr) return false;
  *p = value;
  markDirty(store);
  return true;
}

}  // namespace qmdb::store

#endif
