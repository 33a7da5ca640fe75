// CRC-32 (the polynomial of zlib and Ethernet), for the journal's records.
//
// A journal is applied only when its records match the checksum in its
// header, so that a journal that was cut short, damaged or left by another
// file is never written over a database.
#ifndef QMDB_STORE_CHECKSUM_H
#define QMDB_STORE_CHECKSUM_H

#include <cstddef>
#include <cstdint>

namespace qmdb::store {

/// Extends the CRC-32 `crc` (0 to start) over `length` bytes at `bytes`.
uint32_t extendChecksum(uint32_t crc, const uint8_t* bytes, size_t length);

}  // namespace qmdb::store

#endif
