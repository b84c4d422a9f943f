#include "packaging/mp4/K2MAdaptor/source/CBitstreamReader.h"

#include <gtest/gtest.h>

#include "tests/support/hex.h"

namespace {

using ruvo::k2rpkgutil::CBitstreamReader;

class CBitstreamReaderTest : public testing::Test {
 protected:
  CBitstreamReaderTest() { bits.attach(bytes.data(), static_cast<std::int32_t>(bytes.size())); }

  const std::vector<std::byte> bytes = test::fromHex("a5 0f 80 01 7e");
  CBitstreamReader bits;
};

TEST_F(CBitstreamReaderTest, ReadsTheMostSignificantBitFirst) {
  EXPECT_EQ(bits.readBit(), 1U);
  EXPECT_EQ(bits.readBits(3), 2U);
  EXPECT_EQ(bits.readBits(0), 0U);
  EXPECT_EQ(bits.readBits(32), 0x50F80017U);
  EXPECT_EQ(bits.bitsRead(), 36);
  EXPECT_EQ(bits.bitsLeft(), 4);
  EXPECT_EQ(bits.bytesRead(), 4);
  EXPECT_EQ(bits.bytesLeft(), 1);
  EXPECT_FALSE(bits.error());
}

TEST_F(CBitstreamReaderTest, GivesOnesBehindTheEndAndStaysInError) {
  bits.skipBits(36);
  EXPECT_EQ(bits.readBits(8), 0xEFU);
  EXPECT_TRUE(bits.error());
  EXPECT_EQ(bits.peekBit(), 1U);
  bits.skipBits(-40);
  EXPECT_EQ(bits.readBits(2), 3U) << "an error outlasts a step back";
  EXPECT_EQ(bits.bitsRead(), 0) << "and holds the position";
  bits.rewind();
  EXPECT_FALSE(bits.error());
  EXPECT_EQ(bits.readBits(4), 0xAU);
}

TEST_F(CBitstreamReaderTest, PeeksWithoutMoving) {
  EXPECT_EQ(bits.peekBits(12), 0xA50U);
  EXPECT_EQ(bits.bitsRead(), 0);
  bits.skipBits(12);
  EXPECT_EQ(bits.peek32(), 0xF80017EFU) << "missing bits are ones";
  EXPECT_FALSE(bits.error()) << "and no error";
  bits.peekBits(32);
  EXPECT_TRUE(bits.error()) << "which a plain peek leaves";
  bits.skipBits(-12);
  EXPECT_EQ(bits.peek32(), 0xA50F8001U) << "whole bytes are seen in spite of an error";
}

TEST_F(CBitstreamReaderTest, SkipsWithinItsBytes) {
  bits.readBits(3);
  bits.skipBytes(1);
  EXPECT_EQ(bits.bitsRead(), 8) << "the bits read are forgotten";
  bits.align();
  EXPECT_EQ(bits.bitsRead(), 8) << "aligned already";
  EXPECT_EQ(bits.skipBits(-20), -8);
  bits.readBit();
  bits.align();
  EXPECT_EQ(bits.bitsRead(), 8);
  bits.skipBytes(4);
  EXPECT_FALSE(bits.error()) << "the end itself is no error";
  bits.skipBytes(-9);
  EXPECT_EQ(bits.bitsRead(), 0);
  bits.readBits(5);
  bits.mark();
  EXPECT_EQ(bits.skipBits(41), 35);
  EXPECT_TRUE(bits.error());
  bits.backToMark();
  EXPECT_EQ(bits.bitsRead(), 5);
  EXPECT_FALSE(bits.error());
}

TEST(CBitstreamReader, RefusesWhatIsNoRange) {
  CBitstreamReader bits;
  const std::byte byte{};
  EXPECT_EQ(bits.attach(nullptr, 1), -2);
  EXPECT_EQ(bits.attach(&byte, -1), -2);
  EXPECT_EQ(bits.attach(&byte, 0), 0);
  EXPECT_EQ(bits.readBits(3), 7U);
  EXPECT_TRUE(bits.error());
}

}  // namespace
