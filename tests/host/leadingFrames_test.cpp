#include "host/input/LeadingFrames.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/avutil.h>
}

namespace host {
namespace {

constexpr std::int64_t kUnknown = AV_NOPTS_VALUE;

/// Decode times of the frames that come out, pushed with these and this duration each.
std::vector<std::int64_t> decodeTimes(const std::vector<std::int64_t>& dts, std::int64_t duration) {
  LeadingFrames leading;
  std::vector<std::int64_t> out;
  const auto take = [&out](const std::vector<RawFrame>& frames) {
    for (const RawFrame& frame : frames) out.push_back(frame.times.dts);
  };
  for (const std::int64_t time : dts) {
    take(leading.push({.times = {.dts = time, .pts = 0, .duration = duration}, .packet = nullptr}));
  }
  take(leading.flush());
  return out;
}

TEST(LeadingFrames, AreCountedBackFromTheFirstKnownTime) {
  const struct {
    const char* why;
    std::vector<std::int64_t> dts;
    std::int64_t duration;
    std::vector<std::int64_t> expected;
  } rows[] = {{"known from the start", {0, 40, kUnknown, 80}, 40, {0, 40, kUnknown, 80}},
              {"two reordered frames", {kUnknown, kUnknown, 0, 40}, 40, {-80, -40, 0, 40}},
              {"no durations", {kUnknown, 0, 40}, 0, {kUnknown, 0, 40}},
              {"never known", {kUnknown, kUnknown}, 40, {kUnknown, kUnknown}}};
  for (const auto& row : rows) EXPECT_EQ(decodeTimes(row.dts, row.duration), row.expected) << row.why;
}

TEST(LeadingFrames, DoNotWaitForEver) {
  LeadingFrames leading;
  std::size_t out = 0;
  for (std::size_t i = 0; i <= LeadingFrames::kMaxWaiting; ++i) {
    out += leading.push({.times = {.dts = kUnknown}, .packet = nullptr}).size();
  }
  EXPECT_EQ(out, LeadingFrames::kMaxWaiting + 1);
}

}  // namespace
}  // namespace host
