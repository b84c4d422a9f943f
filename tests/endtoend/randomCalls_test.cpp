// A host that has lost its mind: a hundred thousand calls of every type and size.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <span>

#include "host/verify/verifyReport.h"
#include "tests/module/loadModule.h"
#include "tests/support/Recorder.h"

namespace {

using namespace test;

/// The next call of a stream that is mostly one of audio and video, with anything in between.
StreamMessage nextCall(std::mt19937& random, std::uint32_t& time) {
  const auto below = [&random](std::uint32_t end) { return static_cast<std::uint32_t>(random() % end); };
  StreamMessage message;
  const std::uint32_t type = below(100);
  message.type = static_cast<std::uint8_t>(type < 45 ? 9 : type < 85 ? 8 : type < 90 ? 18 : below(256));
  const std::uint32_t step = below(1000);
  const bool isBack = step > 0 && step < 10;
  // Never 0: a key frame on a grid line whose time another frame has already is not the first of its fragment.
  if (!isBack) time += step == 0 ? 60000 : 1 + below(39);
  message.time = isBack ? time - std::min(time, below(500)) : time;
  const std::uint32_t size = below(5000);
  message.data.resize(size == 0 ? 0xFFFFFF + below(2) : below(size < 50 ? 100000 : 400));
  const auto start = std::span(message.data).first(std::min<std::size_t>(message.data.size(), 16));
  for (std::byte& byte : start) byte = static_cast<std::byte>(below(256));
  if (start.empty() || below(10) == 0) return message;
  // The codec of the stream, so that most messages are taken: AVC with a key frame now and then, AAC.
  if (message.type == 9) start[0] = below(20) == 0 ? std::byte{0x17} : std::byte{0x27};
  if (message.type == 8) start[0] = std::byte{0xAF};
  if (start.size() > 1) start[1] = std::byte{1};
  return message;
}

TEST(RandomCalls, LeaveAWholeRecordingAndALineForEachRefusal) {
  for (const std::uint32_t seed : {1U, 20261124U}) {
    SCOPED_TRACE(seed);
    Recorder recorder(loadModule());
    recorder.host.settings["Recording/SegmentDuration"] = "60000";
    ASSERT_TRUE(recorder.open());
    // The first frame sets the base, in front of which no time may lie: it would count as far ahead.
    ASSERT_EQ(recorder.record({metadata(0), avcSequenceHeader(0), aacSequenceHeader(0), avcFrame(0, true, 100, 1)}),
              0U);
    std::mt19937 random(seed);
    std::uint32_t time = 0;
    std::size_t refused = 0;
    constexpr int kCalls = 50000;
    for (int i = 0; i < kCalls; ++i) refused += recorder.record(nextCall(random, time)) ? 0U : 1U;
    recorder.stop();
    const auto& lines = recorder.host.lines;
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), [](const std::string& line) { return line[0] == 'e'; }),
              static_cast<std::ptrdiff_t>(refused));
    EXPECT_GT(refused, 1000U);
    EXPECT_LT(refused, kCalls / 2U);
    const auto verification = host::verifyRecording(recorder.directory().string());
    EXPECT_EQ(verification.status(), host::ExitStatus::kOk) << textReport(verification);
    EXPECT_GT(verification.fragments, 100U);
  }
}

}  // namespace
