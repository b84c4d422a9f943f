// What record() takes, skips and refuses, with the words that go to the host's log; the clocks of a recording.

#include <gtest/gtest.h>

#include "tests/modules/OpenRecorder.h"
#include "tests/modules/decoded.h"
#include "tests/support/hex.h"

namespace {

using namespace test;

StreamMessage message(std::uint8_t type, const char* data, std::uint32_t time = 0) {
  return {type, time, fromHex(data)};
}

TEST(RecordChecks, AnswerEachMessageByItself) {
  constexpr char kNoDescriptor[] = "error: Unable to create sample descriptor for message.\n";
  const struct {
    const char* why;
    StreamMessage given;
    bool accepted;
    const char* log;
  } rows[] = {{"an aggregate", message(22, "0102"), false, "error: Invalid message type.\n"},
              {"a command", message(20, "0102"), false, "error: Invalid message type.\n"},
              {"empty audio", message(8, ""), true, ""},
              {"empty video", message(9, ""), false, "error: No message payload.\n"},
              {"empty data", message(18, ""), false, "error: No message payload.\n"},
              {"AVC before its header", message(9, "1701000000 65"), false, kNoDescriptor},
              {"an AVC header too short", message(9, "17000000"), false, kNoDescriptor},
              {"AAC before its header", message(8, "af01 2110"), false, kNoDescriptor},
              {"AAC with the protection bit", message(0x28, "af001210"), true, ""},
              {"MP3", message(8, "2ffffb9064"), true, ""},
              {"VP6", message(9, "140001"), true, ""},
              {"AMF0 data", message(18, "0200036f6e58"), true, ""},
              {"AMF3 data", message(15, "0006076f6e58"), true, ""}};
  for (const auto& row : rows) {
    OpenRecorder recorder({metadata(0)});
    EXPECT_EQ(recorder.record(row.given), row.accepted) << row.why;
    EXPECT_EQ(recorder.log(), row.log) << row.why;
  }
}

TEST(RecordChecks, HoldMessagesAgainstTheTracks) {
  OpenRecorder recorder(stream().keyFramesEvery(2000).until(2000));
  EXPECT_FALSE(recorder.record(message(9, "140001", 2000))) << "another video codec";
  EXPECT_TRUE(recorder.record(avcSequenceHeader(2000))) << "a second header";
  EXPECT_TRUE(recorder.record(message(9, "1702000000 656e64206f662069", 2000))) << "an end of sequence";
  EXPECT_TRUE(recorder.record(message(9, "5701000000 656e64206f662069", 2000))) << "a command frame";
  EXPECT_EQ(recorder.log(), "error: Invalid codec.\n");
  ASSERT_EQ(recorder.record(stream().keyFramesEvery(2000).withoutHeaders().from(2000).until(8001)), 0U);
  recorder.host.lines.clear();
  EXPECT_FALSE(recorder.record(aacSequenceHeader(8000)));
  EXPECT_EQ(recorder.log(), "error: Track not found.\n") << "the tracks are fixed once the writer has started";
  EXPECT_EQ(recorder.content("Seg1.k2r").find("end of i"), std::string::npos) << "what steers a decoder is not stored";
}

TEST(RecordChecks, DropsVideoFromAnAudioRecording) {
  OpenRecorder recorder({metadata(0), avcSequenceHeader(0)});
  ASSERT_EQ(recorder.record(stream().audio(20).until(4001)), 0U);
  EXPECT_TRUE(recorder.record(avcFrame(4100, true, 50, 1))) << "dropped without complaint";
  EXPECT_EQ(recorder.log(), "");
}

TEST(RecordChecks, TakesMessagesUpToTheSizeOfATag) {
  OpenRecorder recorder(stream().keyFramesEvery(1000).until(4000));
  EXPECT_TRUE(recorder.record(avcFrame(4000, true, 0xFFFFFF, 1)));
  EXPECT_FALSE(recorder.record(avcFrame(4001, false, 0x1000000, 1)));
  EXPECT_EQ(recorder.log(), "error: Message of 16777216 bytes, at most 16777215 can be stored.\n");
  EXPECT_TRUE(recorder.record(avcFrame(8000, true, 100, 1)));
  recorder.stop();
  EXPECT_EQ(describeIndex(recorder.content("Seg1.k2i")), "1@0:written 2@4000:written");
}

TEST(RecordChecks, RefusesWhatComesAfterTheStop) {
  OpenRecorder recorder(stream().keyFramesEvery(2000).until(4001));
  recorder.stop();
  const std::string bootstrap = recorder.content(".bootstrap");
  EXPECT_FALSE(recorder.record(avcFrame(8000, true, 100, 1)));
  EXPECT_EQ(recorder.log(), "error: The recording is stopped.\n");
  EXPECT_EQ(recorder.content(".bootstrap"), bootstrap);
}

constexpr const char* kBackward = "warning: Found backward timestamp while recording stream, adjusting time\n";

TEST(RecordTimes, CountFromTheFirstMessage) {
  OpenRecorder recorder(stream().keyFramesEvery(2000).from(100000).until(104001));
  EXPECT_EQ(hex(recorder.content(".control")), "000186a0");
  EXPECT_EQ(recorder.adaptor().getDuration(recorder.handle()), 4000U);
  EXPECT_EQ(describeIndex(recorder.content("Seg1.k2i")), "26@100000:written") << "the grid is the stream's own";
}

TEST(RecordTimes, AreLiftedWithAWarningWhereTheyFall) {
  OpenRecorder recorder(stream().keyFramesEvery(4000).until(2001));
  EXPECT_TRUE(recorder.record(avcFrame(2000, false, 50, 1)));
  EXPECT_EQ(recorder.log(), "") << "an equal time is not backward";
  EXPECT_TRUE(recorder.record(avcFrame(1000, false, 50, 2)));
  EXPECT_TRUE(recorder.record(avcFrame(1999, false, 50, 3)));
  EXPECT_EQ(recorder.log(), std::string(kBackward) + kBackward);
  EXPECT_TRUE(recorder.record(avcFrame(4000, true, 50, 4)));
  recorder.stop();
  EXPECT_EQ(describeIndex(recorder.content("Seg1.k2i")), "1@0:written");
}

TEST(RecordTimes, LiftEverythingToAMessageFromBeforeTheBase) {
  OpenRecorder recorder(stream().keyFramesEvery(2000).from(8000).until(9000));
  EXPECT_TRUE(recorder.record(avcFrame(7000, false, 50, 1)));
  EXPECT_EQ(recorder.log(), "") << "before the base counts as far ahead";
  EXPECT_TRUE(recorder.record(avcFrame(9000, false, 50, 2)));
  EXPECT_EQ(recorder.log(), kBackward);
}

TEST(RecordTimes, EndWithTheirGridAt32Bits) {
  constexpr std::uint32_t kGridLine = 4294964000U;
  OpenRecorder recorder(stream().keyFramesEvery(2000).from(kGridLine - 4000).until(kGridLine));
  EXPECT_TRUE(recorder.record(avcFrame(kGridLine, true, 50, 1)));
  // The clock begins anew: counted from the base it goes on, but the grid has no slot there.
  for (const std::uint32_t time : {100U, 4100U, 8100U}) EXPECT_TRUE(recorder.record(avcFrame(time, true, 50, time)));
  recorder.stop();
  EXPECT_EQ(recorder.log(), "");
  EXPECT_EQ(describeIndex(recorder.content("Seg1.k2i")), "1073741@4294960000:written");
}

}  // namespace
