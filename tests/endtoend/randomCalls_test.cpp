// A host that has lost its mind: a hundred thousand calls of every type and size.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "host/verify/verifyReport.h"
#include "tests/module/loadModule.h"
#include "tests/support/Recorder.h"

namespace {

using namespace test;

/// Calls of a stream that is mostly one of audio and video, with anything in between. The same for the same seed.
class RandomCalls {
 public:
  explicit RandomCalls(std::uint32_t seed) : random_(seed) {}

  StreamMessage next() {
    StreamMessage message{nextType(), nextTime(), std::vector<std::byte>(nextSize())};
    for (std::size_t i = 0; i < std::min<std::size_t>(message.data.size(), 16); ++i) {
      message.data[i] = static_cast<std::byte>(below(256));
    }
    if (!message.data.empty() && below(10) != 0) shape(message);
    return message;
  }

 private:
  std::uint32_t below(std::uint32_t end) { return static_cast<std::uint32_t>(random_() % end); }

  std::uint8_t nextType() {
    const std::uint32_t choice = below(100);
    if (choice < 45) return 9;
    if (choice < 85) return 8;
    if (choice < 90) return 18;
    return static_cast<std::uint8_t>(below(256));
  }

  std::uint32_t nextTime() {
    const std::uint32_t choice = below(1000);
    if (choice == 0) return time_ += 60000;
    if (choice < 10) return time_ - std::min<std::uint32_t>(time_, below(500));
    // Never 0: a key frame on a grid line whose time another frame has already is not the first of its fragment.
    return time_ += 1 + below(39);
  }

  std::size_t nextSize() {
    const std::uint32_t choice = below(5000);
    if (choice == 0) return 0xFFFFFF + below(2);
    if (choice < 50) return below(100000);
    return below(400);
  }

  /// The codec of the stream, so that most messages are taken: AVC with a key frame now and then, AAC.
  void shape(StreamMessage& message) {
    if (message.type == 9) message.data[0] = below(20) == 0 ? std::byte{0x17} : std::byte{0x27};
    if (message.type == 8) message.data[0] = std::byte{0xAF};
    if (message.data.size() > 1) message.data[1] = std::byte{1};
  }

  std::mt19937 random_;
  std::uint32_t time_ = 0;
};

TEST(RandomCalls, LeaveAWholeRecordingAndALineForEachRefusal) {
  for (const std::uint32_t seed : {1U, 20261124U}) {
    SCOPED_TRACE(seed);
    Recorder recorder(loadModule());
    recorder.host.settings["Recording/SegmentDuration"] = "60000";
    ASSERT_TRUE(recorder.open());
    // The first frame sets the base, in front of which no time may lie: it would count as far ahead.
    ASSERT_EQ(recorder.record({metadata(0), avcSequenceHeader(0), aacSequenceHeader(0), avcFrame(0, true, 100, 1)}),
              0U);
    RandomCalls calls(seed);
    std::size_t refused = 0;
    constexpr int kCalls = 50000;
    for (int i = 0; i < kCalls; ++i) refused += recorder.record(calls.next()) ? 0U : 1U;
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
