// The file header: heap addresses 0 to 39 of every database.
//
//   OFFSET  SIZE  MEANING
//        0     4  magic: 0xFF 'Q' 'M' 'B'
//        4     4  page size in bytes
//        8     4  heap top: bytes of heap in use
//       12     4  first index: heap address of the first index record, 0 for none
//       16     4  format version (5)
//       20    20  reserved, zero
//
// The accessors work on the 40 header bytes wherever they are: read from the
// file at open, or in the frame of page 0 at save.
#ifndef QMDB_STORE_HEADERRECORD_H
#define QMDB_STORE_HEADERRECORD_H

#include <cstdint>
#include <cstring>

#include "Qmdb/store/ByteOrder.h"

namespace qmdb::store::header {

constexpr int kMagic = 0;
constexpr int kPageSize = 4;
constexpr int kHeapTop = 4 + 4;
constexpr int kFirstIndex = 4 + 4 + 4;
constexpr int kVersion = 4 + 4 + 4 + 4;
constexpr int kReserved = 4 + 4 + 4 + 4 + 4;
constexpr int kSize = 4 + 4 + 4 + 4 + 4 + 20;

constexpr uint8_t kMagicBytes[4] = {0xFF, 'Q', 'M', 'B'};
/// The version this library writes.
constexpr int32_t kCurrentVersion = 5;
/// The versions it reads: decimal texts separated by ','.
constexpr const char* kAcceptedVersions = "5";

inline bool hasMagic(const uint8_t* h) {
  return memcmp(h + kMagic, kMagicBytes, 4) == 0;
}
inline int32_t pageSize(const uint8_t* h) {
  return decodeFixed32(h + kPageSize);
}
inline int32_t heapTop(const uint8_t* h) {
  return decodeFixed32(h + kHeapTop);
}
inline int32_t firstIndex(const uint8_t* h) {
  return decodeFixed32(h + kFirstIndex);
}
inline int32_t version(const uint8_t* h) {
  return decodeFixed32(h + kVersion);
}

/// Writes or clears the magic: a file's first save writes it last.
inline void setMagic(uint8_t* h, bool present) {
  if (present) {
    memcpy(h + kMagic, kMagicBytes, 4);
  } else {
    memset(h + kMagic, 0, 4);
  }
}

/// Fills the 40 bytes: magic, the three fields, the current version, zeros.
inline void write(uint8_t* h, int32_t pageSize, int32_t heapTop, int32_t firstIndex) {
  memset(h, 0, kSize);
  memcpy(h + kMagic, kMagicBytes, 4);
  encodeFixed32(h + kPageSize, pageSize);
  encodeFixed32(h + kHeapTop, heapTop);
  encodeFixed32(h + kFirstIndex, firstIndex);
  encodeFixed32(h + kVersion, kCurrentVersion);
}

}  // namespace qmdb::store::header

#endif
