#include "packaging/SampleDescriptors.h"

#include <gtest/gtest.h>

#include "packaging/CodecBoxes.h"
#include "packaging/RefMessage.h"
#include "tests/support/hex.h"

namespace {

using namespace ruvo::k2rpkgutil;
using namespace qvs::util;
using test::fromHex;
using test::hex;

std::shared_ptr<K2RSampleDescriptor> describe(std::uint8_t type, const std::vector<std::byte>& data) {
  return makeSampleDescriptor(RefMessage(type, data.data(), static_cast<std::uint32_t>(data.size()), 0), 640, 360);
}
std::shared_ptr<K2RSampleDescriptor> describe(std::uint8_t type, const char* data) {
  return describe(type, fromHex(data));
}

constexpr char kAacLcBox[] =
    "00000033 65736473 00000000 03808080 22004010 04808080 14401500 06000000 00000000 00000580 80800212 10068080 "
    "800102";

TEST(SampleDescriptors, OfAacHoldTheConfiguration) {
  const auto descriptor = describe(8, "af 00 1210");
  ASSERT_NE(descriptor, nullptr);
  EXPECT_EQ(hex(descriptor->codecHeader.bytes()), kAacLcBox);
  EXPECT_TRUE(descriptor->protection.empty());
  EXPECT_EQ(descriptor->formatCode, "mp4a"_4cc);
  const auto& info = dynamic_cast<const AudioSampleDescInfo&>(*descriptor->info);
  EXPECT_EQ(info.formatCode, "mp4a"_4cc);
  EXPECT_EQ(info.handlerCode, "soun"_4cc);
  EXPECT_EQ(info.codecHeaderLength, 51U);
  EXPECT_EQ(info.sampleRate, 44100.0F);
  EXPECT_EQ(info.channels, 2U);
  EXPECT_EQ(info.bytesPerSample, 0U);
}

TEST(SampleDescriptors, OfAacTakeTheRateOfAnExtension) {
  const struct {
    const char* data;
    float rate;
    std::uint32_t channels;
    std::uint32_t box;
  } rows[] = {{"af 00 2b920800", 44100, 2, 53},     // explicit, over 22050
              {"af 00 1390 56e5a0", 44100, 2, 54},  // compatible, over 22050
              {"af 00 1390 56e500", 22050, 2, 54},  // the same with the extension absent
              {"af 00", 0, 0, 49},
              {"af 00 12", 0, 0, 50}};
  for (const auto& row : rows) {
    const auto descriptor = describe(8, row.data);
    ASSERT_NE(descriptor, nullptr) << row.data;
    const auto& info = dynamic_cast<const AudioSampleDescInfo&>(*descriptor->info);
    EXPECT_EQ(info.sampleRate, row.rate) << row.data;
    EXPECT_EQ(info.channels, row.channels) << row.data;
    EXPECT_EQ(descriptor->codecHeader.size(), row.box) << row.data;
  }
}

TEST(SampleDescriptors, OfAvcHoldTheRecord) {
  std::vector<std::byte> data = fromHex("17 00 000000 0164001e");
  data.resize(40, std::byte{0x5A});
  const auto descriptor = describe(9, data);
  ASSERT_NE(descriptor, nullptr);
  EXPECT_EQ(descriptor->codecHeader.size(), 43U);
  EXPECT_EQ(hex(descriptor->codecHeader.bytes().first(14)), "0000002b 61766343 0164001e 5a5a");
  EXPECT_EQ(descriptor->formatCode, "H264"_4cc);
  const auto& info = dynamic_cast<const VideoSampleDescInfo&>(*descriptor->info);
  EXPECT_EQ(info.formatCode, "H264"_4cc);
  EXPECT_EQ(info.handlerCode, "vide"_4cc);
  EXPECT_EQ(info.codecHeaderLength, 43U);
  EXPECT_EQ(info.width, 640U);
  EXPECT_EQ(info.height, 360U);
  EXPECT_EQ(info.horizontalResolution, 72.0F);
  EXPECT_EQ(info.verticalResolution, 72.0F);
  EXPECT_EQ(info.frameCount, 1U);
  EXPECT_EQ(info.depth, 24U);
}

TEST(SampleDescriptors, AreMadeOfSequenceHeadersOnly) {
  const struct {
    std::uint8_t type;
    const char* data;
  } rows[] = {{9, "17 01 000000 aa"}, {9, "17 02 000000"}, {9, "17 00 0000"}, {9, "17"}, {8, "af 01 1210"}, {8, "af"}};
  for (const auto& row : rows) EXPECT_EQ(describe(row.type, row.data), nullptr) << row.data;
  EXPECT_EQ(hex(describe(9, "17 00 000000")->codecHeader.bytes()), "00000008 61766343");
}

TEST(SampleDescriptors, OfOtherCodecsHaveNoBox) {
  const struct {
    std::uint8_t type;
    const char* data;
    FourCC format;
    FourCC handler;
  } rows[] = {
      {9, "14 00", "VP6F"_4cc, "vide"_4cc}, {9, "12", "H263"_4cc, "vide"_4cc},  {9, "10", 0, "vide"_4cc},
      {8, "2f 00", ".mp3"_4cc, "soun"_4cc}, {18, "02", "amf0"_4cc, "meta"_4cc}, {15, "02", "amf3"_4cc, "meta"_4cc}};
  for (const auto& row : rows) {
    const auto descriptor = describe(row.type, row.data);
    ASSERT_NE(descriptor, nullptr) << row.data;
    EXPECT_EQ(descriptor->formatCode, row.format) << row.data;
    EXPECT_EQ(descriptor->info->formatCode, row.format) << row.data;
    EXPECT_EQ(descriptor->info->handlerCode, row.handler) << row.data;
    EXPECT_EQ(descriptor->info->codecHeaderLength, 0U) << row.data;
    EXPECT_TRUE(descriptor->codecHeader.empty()) << row.data;
  }
  const auto mp3 = describe(8, "2f 00");
  const auto& info = dynamic_cast<const AudioSampleDescInfo&>(*mp3->info);
  EXPECT_EQ(info.sampleRate, 44000.0F);
  EXPECT_EQ(info.channels, 2U);
  EXPECT_EQ(info.bytesPerSample, 2U);
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
  const struct {
    const char* why;
    const char* header;
    const char* config;
  } rows[] = {
      {"as written", kAacLcBox, "1210"},
      {"behind something", "ffff 00000033 65736473 00000000 03 03 004010 04 05 40150006000000000000000000 05 02 1210",
       "1210"},
      {"no ES descriptor tag", "00000033 65736473 00000000 02 aabb 04 05 40150006000000000000000000 05 02 1210",
       "1210"},
      {"no box", "00000033 65736474 00000000 03 03 004010 04 05 40150006000000000000000000 05 02 1210", ""},
      {"no decoder config", "00000033 65736473 00000000 03 03 004010 06 05 40150006000000000000000000 05 02 1210", ""},
      {"no specific info", "00000033 65736473 00000000 03 03 004010 04 05 40150006000000000000000000 06 02 1210", ""},
      {"empty", "00000033 65736473 00000000 03 03 004010 04 05 40150006000000000000000000 05 00", ""},
      {"length beyond the bytes", "00000033 65736473 00000000 03 03 004010 04 05 40150006000000000000000000 05 03 1210",
       ""},
      {"endless length", "00000033 65736473 00000000 03 ffffffffffffffffffffffff", ""},
      {"huge length",
       "00000033 65736473 00000000 03 03 004010 04 05 40150006000000000000000000 05 ffffffffffffffff7f 12", ""},
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

}  // namespace
