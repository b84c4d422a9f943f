#include "host/input/Timeline.h"

extern "C" {
#include <libavutil/avutil.h>
}

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "host/input/Interleaver.h"
#include "host/input/LeadingFrames.h"
#include "tests/host/LogCapture.h"

namespace host {
namespace {

constexpr std::int64_t kNone = AV_NOPTS_VALUE;
constexpr AVRational kMs = {1, 1000};

class TimelineTest : public testing::Test {
 protected:
  /// "dts/pts" in milliseconds.
  std::string map(std::size_t track, RawTimes raw) {
    const FrameTimes times = timeline_.map(track, raw);
    return std::to_string(times.dtsMs) + '/' + std::to_string(times.ptsMs);
  }

  test::LogCapture capture_;
  Timeline timeline_{2, capture_.log()};
};

TEST_F(TimelineTest, RoundsEachTimeByItself) {
  constexpr AVRational kFilm = {1001, 30000};
  EXPECT_EQ(map(0, {-2, 0, 1, kFilm}), "-67/0");
  EXPECT_EQ(map(0, {-1, 3, 1, kFilm}), "-33/100");
  EXPECT_EQ(map(0, {0, 1, 1, kFilm}), "0/33");
  EXPECT_EQ(map(0, {1, 2, 1, kFilm}), "33/67");
  EXPECT_EQ(map(1, {1, 1, 1, {1, 2000}}), "1/1") << "half a millisecond";
}

TEST_F(TimelineTest, FillsInWhatIsMissing) {
  EXPECT_EQ(map(0, {kNone, 100, 40, kMs}), "100/100");
  EXPECT_EQ(map(0, {kNone, kNone, 40, kMs}), "140/140") << "a duration on";
  EXPECT_EQ(map(0, {200, kNone, 0, kMs}), "200/200");
  EXPECT_EQ(map(1, {kNone, kNone, 0, kMs}), "0/0");
}

TEST_F(TimelineTest, LiftsASmallStepBack) {
  EXPECT_EQ(map(0, {1000, 1080, 40, kMs}), "1000/1080");
  EXPECT_EQ(map(0, {900, 980, 40, kMs}), "1000/980") << "presentation stays";
  EXPECT_EQ(map(0, {1040, 1040, 40, kMs}), "1040/1040");
  EXPECT_EQ(capture_.text(), "");
}

TEST_F(TimelineTest, GoesOnOverAJumpBackInStep) {
  map(0, {60000, 60000, 40, kMs});
  map(1, {60010, 60010, 23, kMs});
  EXPECT_EQ(map(0, {0, 80, 40, kMs}), "60040/60120");
  EXPECT_EQ(map(1, {60033, 60033, 23, kMs}), "60033/60033") << "still before its own jump";
  EXPECT_EQ(map(1, {5, 5, 23, kMs}), "60045/60045") << "moved as the video";
  EXPECT_EQ(map(0, {40, 40, 40, kMs}), "60080/60080");
  EXPECT_EQ(map(0, {40000, 40000, 40, kMs}), "100040/100040");
  EXPECT_EQ(map(0, {0, 0, 40, kMs}), "100080/100080") << "a second jump";
  EXPECT_NE(capture_.text().find("jump back by 60040 ms"), std::string::npos) << capture_.text();
}

TEST_F(TimelineTest, StaysDefinedFarOut) {
  constexpr std::int64_t kMost = INT64_MAX;
  constexpr AVRational kSlow = {INT32_MAX, 1};
  std::int64_t last = INT64_MIN;
  for (const RawTimes& raw : {RawTimes{-kMost, kMost, kMost, kSlow}, RawTimes{kMost, -kMost, kMost, kSlow},
                              RawTimes{kNone, kNone, kMost, kSlow}, RawTimes{-kMost, kMost, 0, kSlow},
                              RawTimes{kNone, -kMost, 0, kSlow}, RawTimes{0, 0, 0, kMs}}) {
    const FrameTimes times = timeline_.map(0, raw);
    EXPECT_GE(times.dtsMs, last);
    last = times.dtsMs;
  }
}

/// Decode times of the frames that come out, pushed with these and this duration each.
std::vector<std::int64_t> decodeTimes(const std::vector<std::int64_t>& dts, std::int64_t duration) {
  LeadingFrames leading;
  std::vector<std::int64_t> out;
  const auto take = [&out](const std::vector<RawFrame>& frames) {
    for (const RawFrame& frame : frames) out.push_back(frame.times.dts);
  };
  for (const std::int64_t time : dts) take(leading.push({{time, 0, duration}, nullptr}));
  take(leading.flush());
  return out;
}

TEST(LeadingFrames, AreCountedBackFromTheFirstKnownTime) {
  const struct {
    const char* why;
    std::vector<std::int64_t> dts;
    std::int64_t duration;
    std::vector<std::int64_t> expected;
  } rows[] = {{"known from the start", {0, 40, kNone, 80}, 40, {0, 40, kNone, 80}},
              {"two reordered frames", {kNone, kNone, 0, 40}, 40, {-80, -40, 0, 40}},
              {"no durations", {kNone, 0, 40}, 0, {kNone, 0, 40}},
              {"never known", {kNone, kNone}, 40, {kNone, kNone}}};
  for (const auto& row : rows) EXPECT_EQ(decodeTimes(row.dts, row.duration), row.expected) << row.why;
}

TEST(LeadingFrames, DoNotWaitForEver) {
  LeadingFrames leading;
  std::size_t out = 0;
  for (std::size_t i = 0; i <= LeadingFrames::kMaxWaiting; ++i) {
    out += leading.push({.times = {.dts = kNone}, .packet = nullptr}).size();
  }
  EXPECT_EQ(out, LeadingFrames::kMaxWaiting + 1);
}

QueuedFrame frame(std::size_t track, std::int64_t dtsMs) {
  return {.track = track, .times = {dtsMs, dtsMs}, .packet = makePacket()};
}

/// Times of the frames that come out, until one has to wait.
std::vector<std::int64_t> drain(Interleaver& interleaver, bool atEnd) {
  std::vector<std::int64_t> times;
  while (const auto next = interleaver.pop(atEnd)) times.push_back(next->times.dtsMs);
  return times;
}

TEST(Interleaver, OrdersTracksByTime) {
  Interleaver interleaver(2);
  for (const int time : {0, 40, 80}) interleaver.push(frame(0, time));
  EXPECT_TRUE(drain(interleaver, false).empty()) << "the other track may be earlier";
  for (const int time : {-20, 3, 40}) interleaver.push(frame(1, time));
  EXPECT_EQ(drain(interleaver, false), (std::vector<std::int64_t>{-20, 0, 3, 40, 40}));
  EXPECT_EQ(drain(interleaver, true), (std::vector<std::int64_t>{80}));
}

TEST(Interleaver, DoesNotWaitForASilentTrackForEver) {
  Interleaver interleaver(2);
  interleaver.push(frame(0, 0));
  interleaver.push(frame(0, Interleaver::kMaxSpreadMs));
  EXPECT_TRUE(drain(interleaver, false).empty());
  interleaver.push(frame(0, Interleaver::kMaxSpreadMs + 1));
  EXPECT_EQ(drain(interleaver, false), (std::vector<std::int64_t>{0}));
}

TEST(Interleaver, BoundsItsMemory) {
  Interleaver interleaver(2);
  for (int i = 0; i < 5; ++i) {
    QueuedFrame large = frame(0, 0);
    ASSERT_EQ(av_new_packet(large.packet.get(), static_cast<int>(Interleaver::kMaxBytes / 4)), 0);
    interleaver.push(std::move(large));
  }
  EXPECT_EQ(drain(interleaver, false).size(), 2u);
}

}  // namespace
}  // namespace host
