// Recordings as the module makes them, each of which is whole.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/host/hostTools.h"

namespace {

using namespace test;

StreamBuilder dense(std::uint32_t keyFrames) {
  return av(keyFrames).framesEvery(200).audio(230);
}

/// Key frames at these times and other frames every 200 ms.
std::vector<StreamMessage> videoWithKeysAt(const std::vector<std::uint32_t>& keys, std::uint32_t until) {
  std::vector<StreamMessage> messages{metadata(0), avcSequenceHeader(0)};
  for (std::uint32_t time = 0; time < until; time += 100) {
    const bool key = std::find(keys.begin(), keys.end(), time) != keys.end();
    if (key || time % 200 == 0) messages.push_back(avcFrame(time, key, 200, time));
  }
  return messages;
}

/// As a stream with pictures out of order has it.
std::vector<StreamMessage> withCompositionTimes(std::vector<StreamMessage> messages) {
  std::uint8_t next = 0;
  for (StreamMessage& message : messages) {
    if (message.type != 9 || message.data[1] == std::byte{0}) continue;
    const bool negative = next % 5 == 4;
    message.data[2] = message.data[3] = std::byte{negative ? std::uint8_t{0xFF} : std::uint8_t{0}};
    message.data[4] = std::byte{next++};
  }
  return messages;
}

/// With nothing from `end` to `from`.
std::vector<StreamMessage> withGap(StreamBuilder builder, std::uint32_t end, std::uint32_t from, std::uint32_t until) {
  const auto first = builder.until(end);
  return first + builder.withoutHeaders().from(from).until(until);
}

struct LegalRecording {
  const char* what;
  std::uint64_t fragments;
  RecordingPlan plan;
};

std::vector<LegalRecording> legalRecordings() {
  const std::map<std::string, std::string> none;
  const std::map<std::string, std::string> rolling{{"Recording/SegmentDuration", "8000"}};
  const auto audio = stream().audio(20);
  return {
      {"key frames on the grid", 5, {dense(2000).until(20001)}},
      {"one fragment", 1, {dense(2000).until(4001)}},
      {"audio alone", 3, {audio.until(12001)}},
      {"audio alone, from within the grid", 2, {stream().audio(20).from(1500).until(13000)}},
      {"audio alone, far from zero", 4, {stream().audio(20).from(987654321).until(987654321 + 20000)}},
      {"video alone, far from zero", 3, {dense(2000).from(4000000001).until(4000020000)}},
      {"video alone", 4, {stream().keyFramesEvery(2000).until(16001)}},
      {"composition times", 4, {withCompositionTimes(dense(2000).until(16001))}},
      {"other codecs and script data", 4, {otherCodecs(16001)}},
      {"lead-in", 2, {dense(500).from(1500).until(16001)}},
      {"lead-in that ends behind the grid line", 6, {dense(3000).from(1700).until(30000)}},
      {"key frames every 10000", 5, {dense(10000).until(60001)}},
      {"key frames every 10000, with one held at the stop", 5, {dense(10000).until(58001)}},
      {"key frames every 6000", 11, {dense(6000).until(70001)}},
      {"key frames every 8000", 8, {dense(8000).until(70001)}},
      {"key frames every 9000", 11, {dense(9000).until(100001)}},
      {"key frames every 30000", 4, {dense(30000).until(130001)}},
      {"key frames here and there",
       8,
       {videoWithKeysAt({0, 4100, 8300, 12500, 13000, 16100, 26000, 40000, 41000, 44100, 70000}, 90000)}},
      {"a gap in the stream", 8, {withGap(dense(2000), 9000, 40000, 60001)}},
      {"a gap with rare key frames", 7, {withGap(dense(10000), 21000, 60000, 120001)}},
      {"a gap in audio alone", 8, {withGap(audio, 9000, 40000, 60001)}},
      {"segments", 15, {dense(2000).until(60001), rolling}},
      {"segments, stopped behind a roll-over", 3, {dense(2000).until(12001), rolling}},
      {"segments, rare key frames", 22, {dense(9000).until(200001), rolling}},
      {"segments, rarer key frames", 6, {dense(30000).until(200001), rolling}},
      {"segments, a gap", 15, {withGap(dense(2000), 9000, 40000, 90001), rolling}},
      {"fragments of another length", 10, {dense(1000).until(10001), {{"Recording/FragmentDuration", "1000"}}}},
      {"durations that drift", 8, {videoWithKeysAt({0, 4000, 8500, 12900, 16100, 20800, 24000, 28900, 32100}, 50000)}},
      {"appended on the grid", 9, {dense(2000).until(20001), none, true, dense(2000).from(24000).until(40001)}},
      {"appended at once", 8, {dense(2000).until(20001), none, true, dense(2000).from(20001).until(40001)}},
      {"appended after a held fragment",
       8,
       {dense(10000).until(58001), none, true, dense(10000).from(70000).until(120001)}},
      {"appended audio", 6, {audio.until(12001), none, true, stream().audio(20).from(13500).until(30000)}},
      {"appended far behind", 11, {dense(2000).until(20001), none, true, dense(2000).from(111500).until(140001)}},
      {"appended, and nothing more", 5, {dense(2000).until(20001), none, true, dense(2000).from(20001).until(21000)}},
      {"appended segments", 15, {dense(2000).until(30001), rolling, true, dense(2000).from(32001).until(70001)}}};
}

TEST(LegalRecordings, AreWholeStoppedOrInterrupted) {
  for (LegalRecording& row : legalRecordings()) {
    for (const bool stop : {true, false}) {
      SCOPED_TRACE(row.what);
      row.plan.stop = stop;
      const MadeRecording recording(row.plan);
      const host::Verification verification = recording.verify();
      EXPECT_EQ(verification.status(), host::ExitStatus::kOk) << textReport(verification);
      EXPECT_EQ(verification.fragments, row.fragments) << textReport(verification);
      EXPECT_EQ(verification.stopped, stop);
    }
  }
}

}  // namespace
