#include "Qmdb/store/ByteOrder.h"

#include <gtest/gtest.h>

namespace qmdb::store {
namespace {

TEST(ByteOrder, WritesLittleEndianAndRoundTripsNearEveryPowerOfTwo) {
  uint8_t bytes[4];
  encodeFixed32(bytes, 0x04030201);
  EXPECT_EQ(bytes[0], 1);
  EXPECT_EQ(bytes[1], 2);
  EXPECT_EQ(bytes[2], 3);
  EXPECT_EQ(bytes[3], 4);
  encodeFixed32(bytes, -2);
  EXPECT_EQ(bytes[0], 0xFE);
  EXPECT_EQ(bytes[3], 0xFF);
  for (int shift = 0; shift < 32; ++shift) {
    for (int64_t delta : {-1, 0, 1}) {
      int32_t value = static_cast<int32_t>((int64_t{1} << shift) + delta);
      encodeFixed32(bytes, value);
      EXPECT_EQ(decodeFixed32(bytes), value);
      int32_t negated = static_cast<int32_t>(-static_cast<int64_t>(value));
      encodeFixed32(bytes, negated);
      EXPECT_EQ(decodeFixed32(bytes), negated);
    }
  }
}

}  // namespace
}  // namespace qmdb::store
