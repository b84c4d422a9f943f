// The metadata that a recording begins with, and the time offset that the host gives.

#include <gtest/gtest.h>

#include "tests/modules/OpenRecorder.h"
#include "tests/modules/decoded.h"
#include "tests/support/hex.h"

namespace {

using namespace test;

/// Script data in AMF0 from hex, behind the string "onMetaData".
StreamMessage metadataOf(const std::string& arguments) {
  StreamMessage message{18, 0, fromHex("02 000a 6f6e4d65746144617461")};
  for (const std::byte byte : fromHex(arguments)) message.data.push_back(byte);
  return message;
}

/// Width and height in the video's sample entry of a segment.
std::string pictureSize(const std::string& segment) {
  const std::size_t entry = segment.find("avc1", segment.find("stsd"));
  return hex(segment.substr(entry + 28, 4));
}

TEST(Metadata, IsExpectedBeforeOtherMessages) {
  OpenRecorder recorder;
  const std::string refused = "error: Metadata is expected before other messages.\n";
  EXPECT_FALSE(recorder.record(aacSequenceHeader(0)));
  EXPECT_FALSE(recorder.record(avcSequenceHeader(0)));
  EXPECT_FALSE(recorder.record({18, 0, fromHex("02 0003 6f6e58")})) << "script data of another name";
  EXPECT_TRUE(recorder.record({8, 0, {}})) << "empty audio passes at any time";
  EXPECT_EQ(recorder.log(), refused + refused + refused);
  EXPECT_EQ(recorder.files(), "") << "nothing was accepted yet";
  recorder.host.lines.clear();
  EXPECT_EQ(recorder.record(stream().keyFramesEvery(2000).audio(23).until(4001)), 0U);
  recorder.stop();
  EXPECT_EQ(recorder.log(), "");
  EXPECT_EQ(describeIndex(recorder.content("Seg1.k2i")), "1@0:written");
}

TEST(Metadata, GivesThePictureSize) {
  const std::string number320 = "00 4074000000000000";
  const struct {
    const char* why;
    StreamMessage message;
    const char* size;
  } rows[] = {
      {"names in any case", metadataOf("03 0005 5749445448" + number320 + "0006 486569676874" + number320 + "000009"),
       "01400140"},
      {"a fraction is cut", metadataOf("03 0005 7769647468 00 40740ccccccccccd 000009"), "01400000"},
      {"a string is passed over", metadataOf("03 0005 7769647468 02 0003 333230 000009"), "00000000"},
      {"a longer name is another one", metadataOf("03 0006 776964746873" + number320 + "000009"), "00000000"},
      {"a number", metadataOf(number320), "00000000"},
      {"no argument", metadataOf(""), "00000000"},
      {"AMF3, an anonymous object with dynamic members",
       {15, 0, fromHex("00 02 000a 6f6e4d65746144617461 11 0a 0b 01 0b 7769647468 04 8200 0d 686569676874 04 8134 01")},
       "010000b4"}};
  for (const auto& row : rows) {
    OpenRecorder recorder({row.message, avcSequenceHeader(0)});
    EXPECT_EQ(recorder.record(stream().keyFramesEvery(2000).withoutHeaders().until(4001)), 0U);
    EXPECT_EQ(pictureSize(recorder.content("Seg1.k2r")), row.size) << row.why;
    EXPECT_EQ(recorder.log(), "") << row.why;
  }
}

TEST(Metadata, RefusesWhatIsMalformed) {
  for (const char* payload : {"02 00ff 6f6e", "03 0005 77", "ff", "11 0a"}) {
    OpenRecorder recorder;
    EXPECT_FALSE(recorder.record({18, 0, fromHex(payload)})) << payload;
    EXPECT_EQ(recorder.host.lines.size(), 1U) << payload;
    EXPECT_EQ(recorder.record(stream().keyFramesEvery(2000).until(4001)), 0U) << "the stream goes on";
  }
}

TEST(Metadata, MakesADataTrackWhenItComesAgain) {
  OpenRecorder recorder(stream().keyFramesEvery(2000).until(1000));
  EXPECT_TRUE(recorder.record(metadata(1000)));
  EXPECT_EQ(recorder.record(stream().keyFramesEvery(2000).withoutHeaders().from(2000).until(4001)), 0U);
  EXPECT_FALSE(recorder.record({15, 4001, fromHex("00 06 07 6f6e58")}));
  EXPECT_EQ(recorder.log(), "error: Invalid codec.\n") << "the track is of AMF0";
  recorder.stop();
  EXPECT_NE(recorder.content("Seg1.k2r").find("amf0"), std::string::npos);
}

/// An onTimeCoordInfo command with one member.
void sendTimeOffset(Recorder& recorder, const char* memberAndValue) {
  std::vector<std::byte> payload = fromHex("02 000f 6f6e54696d65436f6f7264496e666f 00 0000000000000000 05 03");
  for (const std::byte byte : fromHex(memberAndValue)) payload.push_back(byte);
  for (const std::byte byte : fromHex("000009")) payload.push_back(byte);
  recorder.adaptor().updateMediaContext(recorder.handle(), ContextType_t{}, 20, 0, payload.data(),
                                        static_cast<std::uint32_t>(payload.size()));
}

constexpr const char* kTwelveAndAHalf = "000f 73747265616d2d6162736f6c757465 00 4029000000000000";
constexpr const char* kTwelve = "000f 73747265616d2d6162736f6c757465 00 4028000000000000";

TEST(TimeOffset, MovesEveryTimeFromTheNextMessageOn) {
  OpenRecorder recorder;
  sendTimeOffset(recorder, kTwelve);
  ASSERT_EQ(recorder.record(stream().keyFramesEvery(2000).until(4001)), 0U);
  EXPECT_EQ(hex(recorder.content(".control")), "00002ee0");
  EXPECT_EQ(describeIndex(recorder.content("Seg1.k2i")), "4@12000:written");
  EXPECT_EQ(recorder.adaptor().getDuration(recorder.handle()), 4000U);
  EXPECT_NE(recorder.content(".meta").find("smpteTimeInfo"), std::string::npos);

  sendTimeOffset(recorder, kTwelveAndAHalf);
  EXPECT_TRUE(recorder.record(avcFrame(7500, true, 50, 1)));
  EXPECT_EQ(describeIndex(recorder.content("Seg1.k2i")), "4@12000:written 5@16000:written");
  sendTimeOffset(recorder, kTwelve);
  EXPECT_TRUE(recorder.record(avcFrame(7600, false, 50, 2)));
  EXPECT_EQ(recorder.log(), "warning: Found backward timestamp while recording stream, adjusting time\n");
}

TEST(TimeOffset, IsNotSetByOtherCommands) {
  OpenRecorder recorder;
  sendTimeOffset(recorder, "0005 6f74686572 00 4028000000000000");
  for (const char* payload : {"", "ff", "02 0003 6f6e58", "02 000f 6f6e54696d65436f6f7264496e666f"}) {
    const auto data = fromHex(payload);
    recorder.adaptor().updateMediaContext(recorder.handle(), ContextType_t{}, 20, 0, data.data(),
                                          static_cast<std::uint32_t>(data.size()));
  }
  recorder.record(stream().keyFramesEvery(2000).until(4001));
  EXPECT_EQ(hex(recorder.content(".control")), "00000000");
  EXPECT_EQ(recorder.content(".meta").find("smpteTimeInfo"), std::string::npos);
}

}  // namespace
