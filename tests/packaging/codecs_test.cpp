// What a track says of its codec: the description made of its first message, the boxes in that, the messages that
// repeat the configuration, and the message that describes a recording.

#include "packaging/CodecBoxes.h"
#include "packaging/K2RSampleWriter.h"
#include "packaging/MediaTime.h"
#include "packaging/MetadataMessage.h"
#include "tests/packaging/recordingFixture.h"
#include "tests/support/Amf0.h"
#include "tests/support/ScriptCodec.h"
#include "wrappers/k2m/Exception.h"

namespace {

using namespace ruvo::k2rpkgutil;
using namespace qvs::util;
using test::fromHex;
using test::hex;

/// What a first message says of its track, or "none".
std::string describe(std::uint8_t type, const char* firstData) {
  const auto made = test::descriptorOf(type, firstData);
  return made ? test::describe(*made) : "none";
}

TEST(SampleDescriptors, AreMadeOfTheFirstMessageOfATrack) {
  const std::string picture = "640x360 72x72 1 24 ";
  const std::tuple<std::uint8_t, const char*, std::string> rows[] = {
      {9, "17 00 000000 0164001e 5a5a", "H264 vide " + picture + "14: 0000000e 61766343 0164001e 5a5a"},
      {9, "17 00 000000", "H264 vide " + picture + "8: 00000008 61766343"},
      {9, "14 00", "VP6F vide " + picture + "0"},
      {9, "12", "H263 vide " + picture + "0"},
      {8, "af 00 1210", std::string("mp4a soun 44100x2x0 51: ") + test::kEsds},
      {8, "2f 00", ".mp3 soun 44000x2x2 0"},
      {18, "02", "amf0 meta 0"},
      {15, "02", "amf3 meta 0"},
      // AVC and AAC: of their sequence headers only.
      {9, "17 01 000000 aa", "none"},
      {9, "17 02 000000", "none"},
      {9, "17", "none"},
      {8, "af 01 1210", "none"},
      {8, "af", "none"}};
  for (const auto& [type, data, descriptor] : rows) EXPECT_EQ(describe(type, data), descriptor) << data;
}

TEST(SampleDescriptors, OfAacTakeTheRateOfAnExtension) {
  const std::tuple<const char*, const char*, std::string_view> rows[] = {
      {"compatible, over 22050", "af 00 1390 56e5a0", "mp4a soun 44100x2x0 54: "},
      {"the same with the extension absent", "af 00 1390 56e500", "mp4a soun 22050x2x0 54: "},
      {"no configuration", "af 00", "mp4a soun 0x0x0 49: "}};
  for (const auto& [why, data, descriptor] : rows)
    EXPECT_EQ(describe(8, data).substr(0, descriptor.size()), descriptor) << why;
}

TEST(CodecBoxes, WriteLongDescriptorLengthsInSevenBitGroups) {
  const ByteBuffer box = makeEsdsBox(std::vector<std::byte>(300));
  EXPECT_EQ(box.size(), 349U);
  EXPECT_EQ(hex(box.bytes().subspan(12, 5)), "03808082 4c");
  EXPECT_EQ(hex(box.bytes().subspan(20, 5)), "04808082 3e");
  EXPECT_EQ(hex(box.bytes().subspan(38, 5)), "05808082 2c");
  EXPECT_EQ(findAacConfig(box).size(), 300U);
}

TEST(CodecBoxes, FindTheConfigurationThatLiesBetweenOtherBytes) {
  const std::string box = "00000033 65736473 00000000 ";
  const std::string es = "03 03 004010 ";
  const std::string decoder = "04 05 40150006000000000000000000 ";
  const std::tuple<const char*, std::string, const char*> configs[] = {
      {"as written", test::kEsds, "1210"},
      {"behind something", "ffff " + box + es + decoder + "05 02 1210", "1210"},
      {"no specific info", box + es + decoder + "06 02 1210", ""},
      {"empty", box + es + decoder + "05 00", ""},
      {"length beyond the bytes", box + es + decoder + "05 03 1210", ""},
      {"endless length", box + "03 ffffffffffffffffffffffff", ""},
      {"huge length", box + es + decoder + "05 ffffffffffffffff7f 12", ""},
      {"nothing", "", ""}};
  for (const auto& [why, bytes, config] : configs)
    EXPECT_EQ(hex(findAacConfig(ByteBuffer(fromHex(bytes)))), config) << why;
  const std::tuple<const char*, const char*, const char*> avcBoxes[] = {
      {"alone", "0000000a 61766343 0164", "0000000a 61766343 0164"},
      {"between others", "00000008 70617370 0000000a 61766343 0164 00000008", "0000000a 61766343 0164"},
      {"size beyond the bytes", "0000000b 61766343 0164", ""},
      {"size below a header", "00000007 61766343 0164", ""},
      {"no size", "61766343 0164", ""},
      {"nothing", "", ""}};
  for (const auto& [why, bytes, found] : avcBoxes)
    EXPECT_EQ(hex(findAvcCBox(ByteBuffer(fromHex(bytes)))), found) << why;
}

using ConfigMessages = test::RecordingFixture;

TEST_F(ConfigMessages, AreSequenceHeadersByteForByte) {
  const K2RSampleWriter writer(*this);
  const auto expect = [](const ruvo::k2rpkgutil::NQMessage& message, const char* tag, std::uint32_t sampleOffset) {
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

TEST(MediaTime, RoundsIntoAnotherTimescale) {
  const std::tuple<std::uint64_t, std::uint32_t, std::uint32_t, std::uint64_t> rows[] = {
      {4000, 1000, 1000, 4000}, {1, 1000, 90000, 90}, {1, 3, 1000, 333}, {2, 3, 1000, 667},
      {5, 0, 1000, 5000},       {0, 1000, 0, 0},      {3, 2, 1, 2},      {~0ULL, 1, 1000, ~0ULL}};
  for (const auto& [value, from, to, result] : rows) {
    EXPECT_EQ((MediaTime{value, from}.in(to)), result) << value << " " << from;
  }
}

class MetadataMessage : public test::RecordingFixture {
 protected:
  ByteBuffer message(bool hasSmpte = false) { return buildMetadataMessage(properties, hasSmpte, 0.0); }
  std::string dump(bool hasSmpte = false) { return test::dumpOf(test::readScript(message(hasSmpte).bytes()).at(1)); }
};

TEST_F(MetadataMessage, IsWrittenByteForByte) {
  addAvcTrack();
  addAacTrack();
  test::Amf0 expected;
  expected.string("onMetaData").array().name("duration").number(0).name("width").number(640).name("height").number(360);
  expected.name("videocodecid").string("H264").name("audiocodecid").string("mp4a");
  expected.name("avcprofile").number(100).name("avclevel").number(30).name("aacaot").number(0);
  expected.name("videoframerate").number(-std::numeric_limits<double>::quiet_NaN());
  expected.name("audiosamplerate").number(44100).name("audiochannels").number(2).name("trackinfo").strictArray(2);
  for (int track = 0; track < 2; ++track)
    expected.object().name("length").number(0).name("timescale").number(1000).name("language").string("eng").end();
  expected.name("custdef").strictArray(0).end();
  EXPECT_EQ(hex(message().bytes()), hex(expected.bytes()));
}

TEST_F(MetadataMessage, SaysWhatTheTracksAre) {
  const std::tuple<std::uint8_t, const char*, const char*> rows[] = {
      {8, "2f",
       "duration= kNumberType 0, audiocodecid= kStringType \".mp3\", audiosamplerate= kNumberType 44000, "
       "audiochannels= "
       "kNumberType 2, trackinfo= "},
      {9, "14 00",
       "duration= kNumberType 0, width= kNumberType 640, height= kNumberType 360, videocodecid= kStringType \"VP6F\", "
       "videoframerate= "},
      {18, "02", "duration= kNumberType 0, trackinfo= kArrayType ( 0= "}};
  for (const auto& [type, firstData, said] : rows) {
    properties.tracks.clear();
    addTrack(type, firstData);
    EXPECT_THAT(dump(), testing::HasSubstr(said));
  }
  properties.tracks.back()->handlerType = "hint"_4cc;
  properties.document.duration = 2000;
  EXPECT_EQ(dump(true),
            " kArrayType ( duration= kNumberType 2, trackinfo= kArrayType ( ), smpteTimeInfo= kObjectType ( "
            "smpteOffset= kNumberType 0 ), custdef= kArrayType ( ) )");
}

TEST_F(MetadataMessage, ReadsTheProfileFromWholeBoxesOnly) {
  constexpr char kUnknown[] = "avcprofile= kNumberType 0, avclevel= kNumberType 0,";
  const std::tuple<FourCC, const char*, const char*> rows[] = {
      {"avc1"_4cc, "00000008 66726565 0000000f 61766343 01 4d 00 1f ff e0 00",
       "avcprofile= kNumberType 77, avclevel= kNumberType 31,"},
      {"avc1"_4cc, "0000000c 61766343", kUnknown},
      {"avc1"_4cc, "0000000a 61766343 01 64", kUnknown},
      {"mp4v"_4cc, "", kUnknown}};
  addAvcTrack();
  K2RSampleDescriptor& descriptor = *properties.tracks.back()->sampleDescriptors.front();
  for (const auto& [format, codecHeader, profile] : rows) {
    descriptor.info->formatCode = format;
    descriptor.codecHeader = ByteBuffer(fromHex(codecHeader));
    EXPECT_THAT(dump(), testing::HasSubstr(profile)) << codecHeader;
  }
  descriptor.codecHeader = ByteBuffer(fromHex("00000010 61766343 01 64 00 1e ff e0 00"));
  EXPECT_THAT([this] { message(); },
              testing::Throws<krvo::k2m::Exception>(testing::Property(&krvo::k2m::Exception::status, 42U)))
      << "a box beyond its bytes";
}

}  // namespace
