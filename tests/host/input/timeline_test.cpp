#include "host/input/Timeline.h"

extern "C" {
#include <libavutil/avutil.h>
}

#include "host/input/Interleaver.h"
#include "host/input/LeadingFrames.h"
#include "tests/host/hostTools.h"

namespace host {
namespace {

constexpr std::int64_t kNone = AV_NOPTS_VALUE;
constexpr AVRational kMs = {1, 1000};

/// What two tracks give, "dts/pts" of one step after another, "a" in front of those of the second track and "-" for an
/// unknown time; as it is mapped, in milliseconds.
std::string mapped(const char* steps, AVRational unit, Timeline& timeline) {
  const auto time = [](const std::string& text) { return text == "-" ? kNone : std::stoll(text); };
  std::string text;
  std::istringstream in(steps);
  for (std::string step; in >> step;) {
    const std::size_t track = step[0] == 'a' ? 1 : 0;
    const std::size_t slash = step.find('/');
    const RawTimes raw{time(step.substr(track, slash - track)), time(step.substr(slash + 1)), 40, unit, 33};
    const FrameTimes times = timeline.map(track, raw);
    text += (text.empty() ? "" : " ") + std::to_string(times.dtsMs) + '/' + std::to_string(times.ptsMs);
  }
  return text;
}

TEST(Timeline, RoundsFillsInAndNeverStepsBack) {
  const std::tuple<const char*, AVRational, const char*, const char*, const char*> rows[] = {
      {"each rounded by itself", {1001, 30000}, "-2/0 -1/3 0/1 1/2", "-67/0 -33/100 0/33 33/67", ""},
      {"half a millisecond", {1, 2000}, "a1/1", "1/1", ""},
      {"a duration on where there is none", kMs, "-/100 -/- 200/-", "100/100 140/140 200/200", ""},
      {"a small step back; presentation stays", kMs, "1000/1080 900/980 1040/1040", "1000/1080 1000/980 1040/1040", ""},
      // The second track is still in front of its own jump, and then moved as the first one.
      {"jumps back", kMs, "60000/60000 a60010/60010 0/80 a60033/60033 a5/5 40/40 40000/40000 0/0",
       "60000/60000 60010/60010 60050/60130 60033/60033 60055/60055 60090/60090 100050/100050 100090/100090",
       "jump back by 60040 ms"},
      {"begins again after 8 s", kMs, "8000/8000 a8000/8000 0/0 a10/10", "8000/8000 8000/8000 8040/8040 8050/8050",
       "jump back by 8040 ms"},
      {"a jump that is small for the second track", kMs, "10000/10000 a9700/9700 8800/8800 a8740/8740",
       "10000/10000 9700/9700 10040/10040 9980/9980", "jump back by 1240 ms"},
      {"no gap is so long", kMs, "0/0 a0/0 3600041/3600041 a3600051/3600051 3600081/3600081",
       "0/0 0/0 40/40 50/50 80/80", "jump forward by 3600001 ms"},
      {"a track that begins late and far off", kMs, "0/0 40/40 a95443718/95443718", "0/0 40/40 80/80", "jump forward"},
      {"over the end of the clock", {1, 90000}, "8589930992/3600", "95443678/95443758", ""}};
  for (const auto& [why, unit, steps, times, said] : rows) {
    test::LogCapture capture;
    Timeline timeline(2, 3600000, capture.log());
    EXPECT_EQ(mapped(steps, unit, timeline), times) << why;
    EXPECT_TRUE(*said == '\0' ? capture.text().empty() : capture.text().find(said) != std::string::npos)
        << why << ": " << capture.text();
  }
}

TEST(Timeline, StaysDefinedFarOut) {
  test::LogCapture capture;
  Timeline timeline(1, 3600000, capture.log());
  constexpr std::int64_t kMost = INT64_MAX;
  constexpr AVRational kSlow = {INT32_MAX, 1};
  std::int64_t last = INT64_MIN;
  for (const RawTimes& raw : {RawTimes{-kMost, kMost, kMost, kSlow}, RawTimes{kMost, -kMost, kMost, kSlow},
                              RawTimes{kNone, kNone, kMost, kSlow}, RawTimes{-kMost, kMost, 0, kSlow},
                              RawTimes{kNone, -kMost, 0, kSlow}, RawTimes{0, 0, 0, kMs}}) {
    const FrameTimes times = timeline.map(0, raw);
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

TEST(LeadingFrames, AreCountedBackFromTheFirstKnownTimeAndDoNotWaitForEver) {
  const std::tuple<const char*, std::vector<std::int64_t>, std::int64_t, std::vector<std::int64_t>> rows[] = {
      {"known from the start", {0, 40, kNone, 80}, 40, {0, 40, kNone, 80}},
      {"two reordered frames", {kNone, kNone, 0, 40}, 40, {-80, -40, 0, 40}}};
  for (const auto& [why, dts, duration, expected] : rows) EXPECT_EQ(decodeTimes(dts, duration), expected) << why;
  LeadingFrames leading;
  std::size_t out = 0;
  for (std::size_t i = 0; i <= LeadingFrames::kMaxWaiting; ++i) out += leading.push({{kNone, 0, 0}, nullptr}).size();
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

TEST(Interleaver, BoundsItsWaitForASilentTrackAndItsMemory) {
  Interleaver interleaver(2), silent(2);
  silent.push(frame(0, 0));
  silent.push(frame(0, Interleaver::kMaxSpreadMs));
  EXPECT_TRUE(drain(silent, false).empty());
  silent.push(frame(0, Interleaver::kMaxSpreadMs + 1));
  EXPECT_EQ(drain(silent, false), (std::vector<std::int64_t>{0}));
  for (int i = 0; i < 5; ++i) {
    QueuedFrame large = frame(0, 0);
    ASSERT_EQ(av_new_packet(large.packet.get(), static_cast<int>(Interleaver::kMaxBytes / 4)), 0);
    interleaver.push(std::move(large));
  }
  EXPECT_EQ(drain(interleaver, false).size(), 2u);
}

}  // namespace
}  // namespace host
