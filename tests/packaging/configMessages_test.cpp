// The messages that repeat a codec's configuration.

#include <gtest/gtest.h>

#include "packaging/CodecBoxes.h"
#include "packaging/HintDescription.h"
#include "packaging/K2RSampleWriter.h"
#include "packaging/MediaTime.h"
#include "packaging/RefCountedMemoryArena.h"
#include "tests/support/hex.h"

namespace {

using namespace ruvo::k2rpkgutil;
using namespace qvs::util;
using test::fromHex;
using test::hex;

class ConfigMessages : public testing::Test, public IPackagerContext {
 protected:
  IMemoryArena& getArena() override { return arena_; }

  RefCountedMemoryArena arena_;
  const K2RSampleWriter writer_{*this};
};

TEST_F(ConfigMessages, AreSequenceHeadersByteForByte) {
  const auto expect = [](const NQMessage& message, const char* tag, std::uint32_t sampleOffset) {
    EXPECT_EQ(hex({message.header(), message.totalSize()}), tag);
    EXPECT_EQ(message.time(), 4000U);
    EXPECT_EQ(message.sampleOffset(), sampleOffset);
    EXPECT_EQ(message.sampleOffset() + message.sampleSize() + 4, message.totalSize());
  };
  const ByteBuffer avcC(fromHex("0000000f 61766343 0164001e ffe100"));
  for (const FourCC code : {"H264"_4cc, "h264"_4cc, "avc1"_4cc}) {
    expect(writer_.buildVideoConfig(code, 4000, 0x01020304, avcC),
           "0900000c 02030401 00000017 00000000 0164001e ffe10000 000017", 16);
  }
  expect(writer_.buildAudioConfig("mp4a"_4cc, 4000, 0x01020304, makeEsdsBox(fromHex("1210"))),
         "08000004 02030401 000000af 00121000 00000f", 13);
}

TEST_F(ConfigMessages, AreEmptyWhereThereIsNothingToRepeat) {
  const ByteBuffer avcC = makeAvcCBox(fromHex("0164"));
  const ByteBuffer esds = makeEsdsBox(fromHex("1210"));
  EXPECT_TRUE(writer_.buildVideoConfig("VP6F"_4cc, 0, 0, avcC).empty());
  EXPECT_TRUE(writer_.buildVideoConfig("mp4v"_4cc, 0, 0, avcC).empty());
  EXPECT_TRUE(writer_.buildVideoConfig("H264"_4cc, 0, 0, esds).empty());
  EXPECT_TRUE(writer_.buildAudioConfig(".mp3"_4cc, 0, 0, esds).empty());
  EXPECT_TRUE(writer_.buildAudioConfig("mp4a"_4cc, 0, 0, makeEsdsBox({})).empty());
}

TEST(HintDescription, IsWrittenByteForByte) {
  ByteWriter out;
  const HintDescriptionEntry entries[] = {{.first = 2, .flags = {1, 0, 9, 0, 255}, .last = 3}, {}};
  writeHintDescription(out, entries);
  EXPECT_EQ(hex(out.bytes()), "00000013 616d6870 00000000 0202a803 000000");
}

TEST(MediaTime, RoundsIntoAnotherTimescale) {
  const struct {
    std::uint64_t value;
    std::uint32_t from;
    std::uint32_t to;
    std::uint64_t result;
  } rows[] = {{4000, 1000, 1000, 4000}, {1, 1000, 90000, 90}, {1, 3, 1000, 333}, {2, 3, 1000, 667},
              {5, 0, 1000, 5000},       {0, 1000, 0, 0},      {3, 2, 1, 2},      {~0ULL, 1, 1000, ~0ULL}};
  for (const auto& row : rows) {
    EXPECT_EQ((MediaTime{row.value, row.from}.in(row.to)), row.result) << row.value << " " << row.from;
  }
}

}  // namespace
