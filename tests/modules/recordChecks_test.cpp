// What record() takes, skips and refuses, with the words that go to the host's log; the metadata that a recording
// begins with, and the time offset that the host gives.

#include <malloc.h>

#include "tests/modules/OpenRecorder.h"
#include "tests/support/Amf0.h"

// The letters of a Turkish host, where "I" is not the capital of "i". The module finds them in front of the C
// library's.
extern "C" [[gnu::visibility("default")]] int tolower(int letter) noexcept {
  return letter >= 'A' && letter <= 'Z' && letter != 'I' ? letter - 'A' + 'a' : letter;
}

namespace {

using namespace test;

StreamMessage message(std::uint8_t type, const std::string& data, std::uint32_t time = 0) {
  return {type, time, fromHex(data)};
}

TEST(RecordChecks, AcceptOrRefuseEachMessage) {
  constexpr char kNoDescriptor[] = "error: Unable to create sample descriptor for message.\n";
  const std::tuple<const char*, StreamMessage, bool, const char*> rows[] = {
      {"an aggregate", message(22, "0102"), false, "error: Invalid message type.\n"},
      {"empty audio", message(8, ""), true, ""},
      {"empty video", message(9, ""), false, "error: No message payload.\n"},
      {"empty data", message(18, ""), false, "error: No message payload.\n"},
      {"AVC before its header", message(9, "1701000000 65"), false, kNoDescriptor},
      {"an AVC header too short", message(9, "17000000"), false, kNoDescriptor},
      {"AAC before its header", message(8, "af01 2110"), false, kNoDescriptor},
      {"AAC with the protection bit", message(0x28, "af001210"), true, ""},
      {"MP3", message(8, "2ffffb9064"), true, ""},
      {"AMF0 data", message(18, "0200036f6e58"), true, ""},
      {"AMF3 data", message(15, "0006076f6e58"), true, ""}};
  for (const auto& [why, given, accepted, log] : rows) {
    OpenRecorder recorder({metadata(0)});
    EXPECT_EQ(recorder.record(given), accepted) << why;
    EXPECT_EQ(recorder.log(), log) << why;
  }
}

TEST(RecordChecks, CompareMessagesWithTheTracks) {
  OpenRecorder recorder(video().until(2000));
  EXPECT_FALSE(recorder.record(message(9, "140001", 2000))) << "another video codec";
  EXPECT_TRUE(recorder.record(avcSequenceHeader(2000))) << "a second header";
  EXPECT_TRUE(recorder.record(message(9, "1702000000 656e64206f662069", 2000))) << "an end of sequence";
  EXPECT_TRUE(recorder.record(message(9, "5701000000 656e64206f662069", 2000))) << "a command frame";
  EXPECT_EQ(recorder.log(), "error: Invalid codec.\n");
  ASSERT_EQ(recorder.record(video().withoutHeaders().from(2000).until(8001)), 0U);
  recorder.host.lines.clear();
  EXPECT_FALSE(recorder.record(aacSequenceHeader(8000)));
  EXPECT_EQ(recorder.log(), "error: Track not found.\n") << "the tracks are fixed once the writer has started";
  EXPECT_EQ(recorder.content("Seg1.k2r").find("end of i"), std::string::npos) << "what steers a decoder is not stored";
}

TEST(RecordChecks, TakesMessagesUpToTheSizeOfATag) {
  OpenRecorder recorder(stream().keyFramesEvery(1000).until(4000));
  EXPECT_TRUE(recorder.record(avcFrame(4000, true, 0xFFFFFF, 1)));
  EXPECT_FALSE(recorder.record(avcFrame(4001, false, 0x1000000, 1)));
  EXPECT_EQ(recorder.log(), "error: Message of 16777216 bytes, at most 16777215 can be stored.\n");
  EXPECT_TRUE(recorder.record(avcFrame(8000, true, 100, 1)));
  recorder.stop();
  EXPECT_EQ(recorder.index(), "1@0:written 2@4000:written");
}

TEST(RecordChecks, RefusesWhatComesAfterTheStop) {
  OpenRecorder recorder(video().until(4001));
  recorder.stop();
  const std::string bootstrap = recorder.content(".bootstrap");
  EXPECT_FALSE(recorder.record(avcFrame(8000, true, 100, 1)));
  EXPECT_EQ(recorder.log(), "error: The recording is stopped.\n");
  EXPECT_EQ(recorder.content(".bootstrap"), bootstrap);
}

TEST(RecordTimes, LiftEverythingToAMessageFromBeforeTheBase) {
  OpenRecorder recorder(video().from(8000).until(9000));
  EXPECT_TRUE(recorder.record(avcFrame(7000, false, 50, 1)));
  EXPECT_EQ(recorder.log(), "") << "before the base counts as far ahead";
  EXPECT_TRUE(recorder.record(avcFrame(9000, false, 50, 2)));
  EXPECT_EQ(recorder.log(), "warning: Found backward timestamp while recording stream, adjusting time\n");
}

StreamBuilder everySecond() {
  return stream().keyFramesEvery(1000);
}

TEST(Jumps, BeyondTheSizeOfAnIndexAreRefusedAndLeaveNoTrace) {
  constexpr std::uint32_t kFar = 4000000000U;
  const auto aac = aacFrame(kFar, 50, 1), key = avcFrame(kFar, true, 50, 1), inter = avcFrame(kFar, false, 50, 1);
  auto audio = stream().audio(500);
  // So rare key frames that fragments of a second are held.
  const auto rareKeys = stream().keyFramesEvery(3500).framesEvery(500);
  const struct {
    const char* why;
    std::vector<StreamMessage> before;
    StreamMessage jump;
    /// Continues where `before` ends.
    StreamBuilder behind;
    std::uint32_t from;
    bool append = false;
    const char* segmentDuration = "0";
  } rows[] = {{"a fragment is open", video().until(1500), key, video(), 2000},
              {"no key frame", video().until(4500), inter, video(), 6000},
              {"a fragment is held, and a key frame came", rareKeys.until(7001), key, rareKeys, 10500},
              {"audio", audio.until(3001), aac, audio, 3500},
              {"an append", video().until(4001), inter, video(), 6000, true},
              {"a segment without a fragment", everySecond().until(4500), key, everySecond(), 5000, false, "3000"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    std::string seen[2];
    for (const bool jumps : {false, true}) {
      OpenRecorder recorder("Recording/FragmentDuration", "1000");
      recorder.close();
      recorder.host.settings["Recording/SegmentDuration"] = row.segmentDuration;
      ASSERT_TRUE(recorder.open());
      EXPECT_EQ(recorder.record(row.before), 0U);
      if (row.append) {
        recorder.stopAndClose();
        ASSERT_TRUE(recorder.open(kAppend));
      }
      if (jumps) {
        EXPECT_FALSE(recorder.record(row.jump));
        const std::string line = recorder.host.lines.empty() ? "" : recorder.host.lines.back();
        EXPECT_TRUE(line.starts_with("error: A jump to 4000000000 ms would take the index of segment ")) << line;
        if (!line.empty()) recorder.host.lines.pop_back();
      }
      EXPECT_EQ(recorder.record(StreamBuilder(row.behind).withoutHeaders().from(row.from).until(row.from + 5001)), 0U);
      recorder.stop();
      seen[jumps] = recorder.index(recorder.has("Seg2.k2i") ? "Seg2" : "Seg1") + " " + recorder.bootstrap() + " " +
                    std::to_string(recorder.host.lines.size());
    }
    EXPECT_EQ(seen[1], seen[0]);
  }
}

TEST(Jumps, AreTakenUpToTheSizeOfAnIndex) {
  constexpr std::uint32_t kLast = 2097149;
  OpenRecorder recorder("Recording/FragmentDuration", "1");
  ASSERT_EQ(recorder.record(video().until(1)), 0U);
  EXPECT_FALSE(recorder.record(avcFrame(kLast + 1, true, 50, 1)));
  EXPECT_TRUE(recorder.record(avcFrame(kLast, true, 50, 1)));
  EXPECT_TRUE(recorder.record(avcFrame(kLast + 1, true, 50, 2)));
  EXPECT_EQ(std::filesystem::file_size(recorder.file("Seg1.k2i")), (64U << 20) - 39);
}

TEST(Jumps, OfALeadInAreTaken) {
  OpenRecorder recorder("Recording/FragmentDuration", "1000");
  EXPECT_EQ(recorder.record(std::vector{metadata(0), avcSequenceHeader(0), message(18, "0200036f6e58")}), 0U);
  EXPECT_EQ(recorder.record(video().withoutHeaders().from(4000000000U).until(4000004001U)), 0U);
  EXPECT_EQ(recorder.log(), "");
}

/// Script data in AMF0 from hex, after the string "onMetaData".
StreamMessage metadataOf(const std::string& arguments) {
  return message(18, Amf0().string("onMetaData").hex() + arguments);
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
  EXPECT_FALSE(recorder.record(message(18, "02 0003 6f6e58"))) << "script data of another name";
  EXPECT_TRUE(recorder.record({8, 0, {}})) << "empty audio passes at any time";
  EXPECT_EQ(recorder.log(), refused + refused + refused);
  EXPECT_EQ(recorder.files(), "") << "nothing was accepted yet";
  recorder.host.lines.clear();
  EXPECT_EQ(recorder.record(video().audio(23).until(4001)), 0U);
  recorder.stop();
  EXPECT_EQ(recorder.log(), "");
  EXPECT_EQ(recorder.index(), "1@0:written");
}

TEST(Metadata, GivesThePictureSize) {
  const std::string description = "00" + Amf0().string("onMetaData").hex();
  const auto object = [] { return Amf0().object(); };
  const std::tuple<const char*, StreamMessage, const char*> rows[] = {
      {"names in any case", metadataOf(object().name("WIDTH").number(320).name("HEIGHT").number(320).end().hex()),
       "01400140"},
      {"a fraction is cut", metadataOf(object().name("width").number(320.8).end().hex()), "01400000"},
      {"a string is passed over", metadataOf(object().name("width").string("320").end().hex()), "00000000"},
      {"a number", metadataOf(Amf0().number(320).hex()), "00000000"},
      {"a typed object is no description", metadataOf("10" + Amf0().name("a").name("width").number(320).end().hex()),
       "00000000"},
      {"an array", metadataOf(Amf0().array(1).name("height").number(320).end().hex()), "00000140"},
      {"AMF3, an object of a class",
       message(15, description + "11 0a 23 03 61 0b 7769647468 0d 686569676874 04 8200 04 8134"), "010000b4"}};
  for (const auto& [why, described, size] : rows) {
    OpenRecorder recorder({described, avcSequenceHeader(0)});
    EXPECT_EQ(recorder.record(video().withoutHeaders().until(4001)), 0U);
    EXPECT_EQ(pictureSize(recorder.content("Seg1.k2r")), size) << why;
    EXPECT_EQ(recorder.log(), "") << why;
  }
}

TEST(Metadata, RefusesWhatIsMalformed) {
  for (const char* payload : {"02 00ff 6f6e", "03 0005 77", "ff", "11 0a"}) {
    OpenRecorder recorder;
    EXPECT_FALSE(recorder.record(message(18, payload))) << payload;
    EXPECT_EQ(recorder.host.lines.size(), 1U) << payload;
    EXPECT_EQ(recorder.record(video().until(4001)), 0U) << "the stream goes on";
  }
}

TEST(Metadata, OnlyThePictureSizeIsKept) {
  OpenRecorder recorder;
  const StreamMessage large = metadataOf("0c 00800000" + std::string(0x1000000, '6'));
  const auto before = mallinfo2();
  EXPECT_TRUE(recorder.record(large));
  const auto after = mallinfo2();
  EXPECT_LT(after.uordblks + after.hblkhd, before.uordblks + before.hblkhd + 0x100000);
}

TEST(Metadata, MakesADataTrackWhenItComesAgain) {
  OpenRecorder recorder(video().until(1000));
  EXPECT_TRUE(recorder.record(metadata(1000)));
  EXPECT_EQ(recorder.record(video().withoutHeaders().from(2000).until(4001)), 0U);
  EXPECT_FALSE(recorder.record(message(15, "00 06 07 6f6e58", 4001)));
  EXPECT_EQ(recorder.log(), "error: Invalid codec.\n") << "the track is of AMF0";
  recorder.stop();
  EXPECT_NE(recorder.content("Seg1.k2r").find("amf0"), std::string::npos);
}

void sendContext(Recorder& recorder, const std::string& payload, std::uint8_t type = 20) {
  const auto data = fromHex(payload);
  recorder.adaptor().updateMediaContext(recorder.handle(), ContextType_t{}, type, 0, data.data(),
                                        static_cast<std::uint32_t>(data.size()));
}

/// The command onTimeCoordInfo, and its argument.
const std::string kName = Amf0().string("onTimeCoordInfo").hex();
const std::string kCommand = kName + Amf0().number(0).null().hex();

std::string commandWith(double seconds, const char* name = "stream-absolute") {
  return kCommand + Amf0().object().name(name).number(seconds).end().hex();
}

const std::string kTwelve = commandWith(12);

TEST(TimeOffset, MovesEveryTimeFromTheNextMessageOn) {
  OpenRecorder recorder;
  sendContext(recorder, kTwelve);
  ASSERT_EQ(recorder.record(video().until(4001)), 0U);
  EXPECT_EQ(recorder.index(), "4@12000:written");
  EXPECT_EQ(recorder.duration(), 4000U);

  sendContext(recorder, commandWith(12.5));
  EXPECT_TRUE(recorder.record(avcFrame(7500, true, 50, 1)));
  EXPECT_EQ(recorder.index(), "4@12000:written 5@16000:written");
  sendContext(recorder, kTwelve);
  EXPECT_TRUE(recorder.record(avcFrame(7600, false, 50, 2)));
  EXPECT_EQ(recorder.log(), "warning: Found backward timestamp while recording stream, adjusting time\n");
}

TEST(TimeOffset, ComesInAMessageOfAnyKindThatHasACommand) {
  const std::string data = kName + kTwelve.substr(kCommand.size());
  const std::tuple<std::uint8_t, std::string, bool> rows[] = {{20, kTwelve, true},
                                                              {17, "03" + kTwelve, true},
                                                              {18, data, true},
                                                              {15, "00" + data, true},
                                                              {0xB4, kTwelve, true},
                                                              {9, kTwelve, false},
                                                              {20, "02 0003 6f6e58", false},
                                                              {20, commandWith(12, "other"), false}};
  for (const auto& [type, payload, isSet] : rows) {
    OpenRecorder recorder;
    sendContext(recorder, payload, type);
    recorder.record(video().until(4001));
    EXPECT_EQ(hex(recorder.content(".control")), isSet ? "00002ee0" : "00000000") << int{type} << ' ' << payload;
    EXPECT_EQ(recorder.content(".meta").find("smpteTimeInfo") != std::string::npos, isSet);
  }
}

}  // namespace
