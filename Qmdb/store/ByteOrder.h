// Little-endian encoding of the fixed-width integers of the file format.
//
// Every integer in a database file is little-endian whatever the host; these
// two pairs of functions are the only place that knows the byte order.
#ifndef QMDB_STORE_BYTEORDER_H
#define QMDB_STORE_BYTEORDER_H

#include <cstdint>
#include <cstring>

namespace qmdb::store {

/// Whether the host stores integers little-endian, as the file does.
constexpr bool kLittleEndianHost = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

/// Writes `value` as 4 little-endian bytes at `out`.
inline void encodeFixed32(uint8_t* out, int32_t value) {
  uint32_t v = static_cast<uint32_t>(value);
  if constexpr (kLittleEndianHost) {
    // One unaligned store: the compiler does not always merge the four below.
    memcpy(out, &v, 4);
  } else {
    out[0] = static_cast<uint8_t>(v);
    out[1] = static_cast<uint8_t>(v >> 8);
    out[2] = static_cast<uint8_t>(v >> 16);
    out[3] = static_cast<uint8_t>(v >> 24);
  }
}

/// Reads 4 little-endian bytes at `in`.
inline int32_t decodeFixed32(const uint8_t* in) {
  uint32_t v;
  if constexpr (kLittleEndianHost) {
    memcpy(&v, in, 4);
  } else {
    v = static_cast<uint32_t>(in[0]) | static_cast<uint32_t>(in[1]) << 8 |
        static_cast<uint32_t>(in[2]) << 16 | static_cast<uint32_t>(in[3]) << 24;
  }
  return static_cast<int32_t>(v);
}

}  // namespace qmdb::store

#endif
