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
  const auto header = test::fromHex("29010203 b2c3d4a1 0708ff");
  EXPECT_EQ(tagRawType(header.data()), 0x29);
  EXPECT_EQ(tagRawType(header.data()) & kTagTypeMask, 9);
  EXPECT_EQ(tagDataSize(header.data()), 0x010203U);
  EXPECT_EQ(tagTimestamp(header.data()), 0xA1B2C3D4U);
  EXPECT_EQ(tagStreamId(header.data()), 0x0708FFU);
}

TEST(TagHeader, NewFieldsLeaveTheRest) {
  auto header = test::fromHex("09010203 b2c3d4a1 0708ff");
  setTagTimestamp(header.data(), 0x01000002);
  EXPECT_EQ(test::hex(header), "09010203 00000201 0708ff");
  setTagDataSize(header.data(), 0xEE112233);
  EXPECT_EQ(test::hex(header), "09112233 00000201 0708ff");
  setTagStreamId(header.data(), 0xEE445566);
  EXPECT_EQ(test::hex(header), "09112233 00000201 445566");
}

TEST(TagBackPointer, CountsTheHeader) {
  std::vector<std::byte> bytes(kTagBackPointerSize);
  writeTagBackPointer(bytes.data(), kMaxTagDataSize);
  EXPECT_EQ(test::hex(bytes), "0100000a");
}

}  // namespace
}  // namespace qvs::util
