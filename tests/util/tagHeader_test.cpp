#include <gtest/gtest.h>

#include <vector>

#include "tests/support/hex.h"
#include "util/tagHeader.h"

namespace qvs::util {
namespace {

TEST(TagHeader, IsWrittenByteForByte) {
  std::vector<std::byte> header(kTagHeaderSize, std::byte{0xEE});
  writeTagHeader(header.data(), 0x29, 0x010203, 0xA1B2C3D4);
  EXPECT_EQ(test::hex(header), "29010203 b2c3d4a1 000000");
}

TEST(TagHeader, IsReadByteForByte) {
  const auto header = test::fromHex("29010203 b2c3d4a1 000000");
  EXPECT_EQ(tagRawType(header.data()), 0x29);
  EXPECT_EQ(tagRawType(header.data()) & kTagTypeMask, 9);
  EXPECT_EQ(tagDataSize(header.data()), 0x010203U);
  EXPECT_EQ(tagTimestamp(header.data()), 0xA1B2C3D4U);
}

TEST(TagHeader, NewTimestampLeavesTheRest) {
  auto header = test::fromHex("09010203 b2c3d4a1 000000");
  setTagTimestamp(header.data(), 0x01000002);
  EXPECT_EQ(test::hex(header), "09010203 00000201 000000");
}

TEST(TagBackPointer, CountsTheHeader) {
  std::vector<std::byte> bytes(kTagBackPointerSize);
  writeTagBackPointer(bytes.data(), kMaxTagDataSize);
  EXPECT_EQ(test::hex(bytes), "0100000a");
}

}  // namespace
}  // namespace qvs::util
