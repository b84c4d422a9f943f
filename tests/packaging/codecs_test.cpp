// What a track says of its codec: the description made of its first message, the boxes in that, and the messages that
// repeat the configuration.

#include <gtest/gtest.h>

#include <string>

#include "packaging/CodecBoxes.h"
#include "packaging/HintDescription.h"
#include "packaging/K2RSampleWriter.h"
#include "packaging/MediaTime.h"
#include "packaging/RefMessage.h"
#include "packaging/SampleDescriptors.h"
#include "tests/packaging/recordingFixture.h"

namespace {

using namespace ruvo::k2rpkgutil;
using namespace qvs::util;
using test::fromHex;
using test::hex;

/// What a first message tells of its track, or "none".
std::string describe(std::uint8_t type, const char* firstData) {
  const auto data = fromHex(firstData);
  const auto made =
      makeSampleDescriptor(RefMessage(type, data.data(), static_cast<std::uint32_t>(data.size()), 0), 640, 360);
  return made ? test::describe(*made) : "none";
}

TEST(SampleDescriptors, AreMadeOfTheFirstMessageOfATrack) {
  const std::string picture = "640x360 72x72 1 24 ";
  const struct {
    std::uint8_t type;
    const char* data;
    std::string descriptor;
  } rows[] = {{9, "17 00 000000 0164001e 5a5a", "H264 vide " + picture + "14: 0000000e 61766343 0164001e 5a5a"},
              {9, "17 00 000000", "H264 vide " + picture + "8: 00000008 61766343"},
              {9, "14 00", "VP6F vide " + picture + "0"},
              {9, "12", "H263 vide " + picture + "0"},
              {9, "10", "- vide " + picture + "0"},
              {8, "af 00 1210", std::string("mp4a soun 44100x2x0 51: ") + test::kEsds},
              {8, "2f 00", ".mp3 soun 44000x2x2 0"},
              {18, "02", "amf0 meta 0"},
              {15, "02", "amf3 meta 0"},
              // AVC and AAC: of their sequence headers only.
              {9, "17 01 000000 aa", "none"},
              {9, "17 02 000000", "none"},
              {9, "17 00 0000", "none"},
              {9, "17", "none"},
              {8, "af 01 1210", "none"},
              {8, "af", "none"}};
  for (const auto& row : rows) EXPECT_EQ(describe(row.type, row.data), row.descriptor) << row.data;
}

TEST(SampleDescriptors, OfAacTakeTheRateOfAnExtension) {
  const struct {
    const char* why;
    const char* data;
    std::string_view descriptor;
  } rows[] = {{"explicit, over 22050", "af 00 2b920800", "mp4a soun 44100x2x0 53: "},
              {"compatible, over 22050", "af 00 1390 56e5a0", "mp4a soun 44100x2x0 54: "},
              {"the same with the extension absent", "af 00 1390 56e500", "mp4a soun 22050x2x0 54: "},
              {"no configuration", "af 00", "mp4a soun 0x0x0 49: "},
              {"half of one", "af 00 12", "mp4a soun 0x0x0 50: "}};
  for (const auto& row : rows) {
    EXPECT_EQ(describe(8, row.data).substr(0, row.descriptor.size()), row.descriptor) << row.why;
  }
}

TEST(CodecBoxes, WriteLongDescriptorLengthsInSevenBitGroups) {
  const ByteBuffer box = makeEsdsBox(std::vector<std::byte>(300));
  EXPECT_EQ(box.size(), 349U);
  EXPECT_EQ(hex(box.bytes().subspan(12, 5)), "03808082 4c");
  EXPECT_EQ(hex(box.bytes().subspan(20, 5)), "04808082 3e");
  EXPECT_EQ(hex(box.bytes().subspan(38, 5)), "05808082 2c");
  EXPECT_EQ(findAacConfig(box).size(), 300U);
}

TEST(CodecBoxes, FindTheConfigurationBetweenOtherBytes) {
  const std::string box = "00000033 65736473 00000000 ";
  const std::string es = "03 03 004010 ";
  const std::string decoder = "04 05 40150006000000000000000000 ";
  const struct {
    const char* why;
    std::string header;
    const char* config;
  } rows[] = {{"as written", test::kEsds, "1210"},
              {"behind something", "ffff " + box + es + decoder + "05 02 1210", "1210"},
              {"no ES descriptor tag", box + "02 aabb " + decoder + "05 02 1210", "1210"},
              {"no box", "00000033 65736474 00000000 " + es + decoder + "05 02 1210", ""},
              {"no decoder config", box + es + "06 05 40150006000000000000000000 05 02 1210", ""},
              {"no specific info", box + es + decoder + "06 02 1210", ""},
              {"empty", box + es + decoder + "05 00", ""},
              {"length beyond the bytes", box + es + decoder + "05 03 1210", ""},
              {"endless length", box + "03 ffffffffffffffffffffffff", ""},
              {"huge length", box + es + decoder + "05 ffffffffffffffff7f 12", ""},
              {"type without a size in front", "0033 65736473 00000000", ""},
              {"nothing behind the type", "00000033 65736473", ""},
              {"nothing", "", ""}};
  for (const auto& row : rows) {
    const ByteBuffer header(fromHex(row.header));
    EXPECT_EQ(hex(findAacConfig(header)), row.config) << row.why;
  }
}

TEST(CodecBoxes, FindAnAvcBoxThatLiesInTheBytes) {
  const struct {
    const char* why;
    const char* header;
    const char* box;
  } rows[] = {{"alone", "0000000a 61766343 0164", "0000000a 61766343 0164"},
              {"between others", "00000008 70617370 0000000a 61766343 0164 00000008", "0000000a 61766343 0164"},
              {"at an odd place", "aa 00000009 61766343 01", "00000009 61766343 01"},
              {"size beyond the bytes", "0000000b 61766343 0164", ""},
              {"size below a header", "00000007 61766343 0164", ""},
              {"size 0", "00000000 61766343 0164", ""},
              {"no size", "61766343 0164", ""},
              {"half a type", "0000000a 617663", ""},
              {"nothing", "", ""}};
  for (const auto& row : rows) {
    const ByteBuffer header(fromHex(row.header));
    EXPECT_EQ(hex(findAvcCBox(header)), row.box) << row.why;
  }
}

using ConfigMessages = test::RecordingFixture;

TEST_F(ConfigMessages, AreSequenceHeadersByteForByte) {
  const K2RSampleWriter writer(*this);
  const auto expect = [](const NQMessage& message, const char* tag, std::uint32_t sampleOffset) {
    EXPECT_EQ(hex({message.header(), message.totalSize()}), tag);
    EXPECT_EQ(message.time(), 4000U);
    EXPECT_EQ(message.sampleOffset(), sampleOffset);
    EXPECT_EQ(message.sampleOffset() + message.sampleSize() + 4, message.totalSize());
  };
  const ByteBuffer avcC(fromHex("0000000f 61766343 0164001e ffe100"));
  for (const FourCC code : {"H264"_4cc, "h264"_4cc, "avc1"_4cc}) {
    expect(writer.buildVideoConfig(code, 4000, 0x01020304, avcC),
           "0900000c 02030401 00000017 00000000 0164001e ffe10000 000017", 16);
  }
  expect(writer.buildAudioConfig("mp4a"_4cc, 4000, 0x01020304, makeEsdsBox(fromHex("1210"))),
         "08000004 02030401 000000af 00121000 00000f", 13);
}

TEST_F(ConfigMessages, AreEmptyWhereThereIsNothingToRepeat) {
  const K2RSampleWriter writer(*this);
  const ByteBuffer avcC = makeAvcCBox(fromHex("0164"));
  const ByteBuffer esds = makeEsdsBox(fromHex("1210"));
  EXPECT_TRUE(writer.buildVideoConfig("VP6F"_4cc, 0, 0, avcC).empty());
  EXPECT_TRUE(writer.buildVideoConfig("mp4v"_4cc, 0, 0, avcC).empty());
  EXPECT_TRUE(writer.buildVideoConfig("H264"_4cc, 0, 0, esds).empty());
  EXPECT_TRUE(writer.buildAudioConfig(".mp3"_4cc, 0, 0, esds).empty());
  EXPECT_TRUE(writer.buildAudioConfig("mp4a"_4cc, 0, 0, makeEsdsBox({})).empty());
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
