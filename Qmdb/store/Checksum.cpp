#include "Qmdb/store/Checksum.h"

#include <array>

namespace qmdb::store {

namespace {

constexpr std::array<uint32_t, 256> makeTable() {
  std::array<uint32_t, 256> table{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t c = i;
    for (int bit = 0; bit < 8; ++bit) c = (c & 1) != 0 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    table[i] = c;
  }
  return table;
}

constexpr std::array<uint32_t, 256> kTable = makeTable();

}  // namespace

uint32_t extendChecksum(uint32_t crc, const uint8_t* bytes, size_t length) {
  uint32_t c = ~crc;
  for (size_t i = 0; i < length; ++i) c = kTable[(c ^ bytes[i]) & 0xFF] ^ (c >> 8);
  return ~c;
}

}  // namespace qmdb::store
