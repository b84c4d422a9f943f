// Recordings as the module makes them, each of which is whole.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/host/RecordingMaker.h"

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

struct LegalRecording {
  const char* what;
  RecordingPlan plan;
  std::uint64_t fragments;
};

std::vector<LegalRecording> legalRecordings() {
  const auto roll = [](const char* limit) {
    return std::map<std::string, std::string>{{"Recording/SegmentDuration", limit}};
  };
  return {
      {"key frames on the grid", {.messages = dense(2000).until(20001)}, 5},
      {"one fragment", {.messages = dense(2000).until(4001)}, 1},
      {"audio alone", {.messages = stream().audio(20).until(12001)}, 3},
      {"audio alone, from within the grid", {.messages = stream().audio(20).from(1500).until(13000)}, 2},
      {"audio alone, far from zero", {.messages = stream().audio(20).from(987654321).until(987654321 + 20000)}, 4},
      {"video alone, far from zero", {.messages = dense(2000).from(4000000001).until(4000020000)}, 3},
      {"video alone", {.messages = stream().keyFramesEvery(2000).until(16001)}, 4},
      {"composition times", {.messages = withCompositionTimes(dense(2000).until(16001))}, 4},
      {"other codecs and script data", {.messages = otherCodecs(16001)}, 4},
      {"lead-in", {.messages = dense(500).from(1500).until(16001)}, 2},
      {"lead-in that ends behind the grid line", {.messages = dense(3000).from(1700).until(30000)}, 6},
      {"key frames every 10000", {.messages = dense(10000).until(60001)}, 5},
      {"key frames every 10000, with one held at the stop", {.messages = dense(10000).until(58001)}, 5},
      {"key frames every 6000", {.messages = dense(6000).until(70001)}, 11},
      {"key frames every 8000", {.messages = dense(8000).until(70001)}, 8},
      {"key frames every 9000", {.messages = dense(9000).until(100001)}, 11},
      {"key frames every 30000", {.messages = dense(30000).until(130001)}, 4},
      {"key frames here and there",
       {.messages = videoWithKeysAt({0, 4100, 8300, 12500, 13000, 16100, 26000, 40000, 41000, 44100, 70000}, 90000)},
       8},
      {"a gap in the stream",
       {.messages = dense(2000).until(9000) + dense(2000).withoutHeaders().from(40000).until(60001)},
       8},
      {"a gap with rare key frames",
       {.messages = dense(10000).until(21000) + dense(10000).withoutHeaders().from(60000).until(120001)},
       7},
      {"a gap in audio alone",
       {.messages = stream().audio(20).until(9000) + stream().audio(20).withoutHeaders().from(40000).until(60001)},
       8},
      {"segments", {.messages = dense(2000).until(60001), .settings = roll("8000")}, 15},
      {"segments, stopped behind a roll-over", {.messages = dense(2000).until(12001), .settings = roll("8000")}, 3},
      {"segments, rare key frames", {.messages = dense(9000).until(200001), .settings = roll("8000")}, 22},
      {"segments, rarer key frames", {.messages = dense(30000).until(200001), .settings = roll("8000")}, 6},
      {"segments, a gap",
       {.messages = dense(2000).until(9000) + dense(2000).withoutHeaders().from(40000).until(90001),
        .settings = roll("8000")},
       15},
      {"fragments of another length",
       {.messages = dense(1000).until(10001), .settings = {{"Recording/FragmentDuration", "1000"}}},
       10},
      {"durations that drift",
       {.messages = videoWithKeysAt({0, 4000, 8500, 12900, 16100, 20800, 24000, 28900, 32100}, 50000)},
       8},
      {"appended on the grid",
       {.messages = dense(2000).until(20001), .appended = dense(2000).from(24000).until(40001)},
       9},
      {"appended at once", {.messages = dense(2000).until(20001), .appended = dense(2000).from(20001).until(40001)}, 8},
      {"appended after a held fragment",
       {.messages = dense(10000).until(58001), .appended = dense(10000).from(70000).until(120001)},
       8},
      {"appended audio",
       {.messages = stream().audio(20).until(12001), .appended = stream().audio(20).from(13500).until(30000)},
       6},
      {"appended far behind",
       {.messages = dense(2000).until(20001), .appended = dense(2000).from(111500).until(140001)},
       11},
      {"appended, and nothing more",
       {.messages = dense(2000).until(20001), .appended = dense(2000).from(20001).until(21000)},
       5},
      {"appended segments",
       {.messages = dense(2000).until(30001),
        .settings = roll("8000"),
        .appended = dense(2000).from(32001).until(70001)},
       15},
  };
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
