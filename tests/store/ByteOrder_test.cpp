#include "Qmdb/store/ByteOrder.h"

#include <gtest/gtest.h>

#include <vector>

namespace qmdb::store {
namespace {

TEST(ByteOrder, WritesLittleEndianAndRoundTripsNearEveryPowerOfTwo) {
  uint8_t bytes[4];
  encodeFixed32(bytes, 0x04030201);
  EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 4), (std::vector<uint8_t>{1, 2, 3, 4}));
  encodeFixed32(bytes, -2);
  EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 4), (std::vector<uint8_t>{0xFE, 0xFF, 0xFF, 0xFF}));
  for (int shift = 0; shift < 32; ++shift) {
    for (int64_t delta : {-1, 0, 1}) {
      int32_t value = static_cast<int32_t>((int64_t{1} << shift) + delta);
      for (int32_t v : {value, static_cast<int32_t>(-static_cast<int64_t>(value))}) {
        encodeFixed32(bytes, v);
        EXPECT_EQ(decodeFixed32(bytes), v);
      }
    }
  }
}

}  // namespace
}  // namespace qmdb::store
