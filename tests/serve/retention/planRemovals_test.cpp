#include "host/serve/retention/planRemovals.h"

#include <fmt/format.h>

#include "tests/support/testing.h"

namespace host::serve {
namespace {

using std::chrono::milliseconds;

struct Recording {
  std::size_t stream = 0;
  std::int64_t endMs = 0;
  std::uint64_t bytes = 0;
  /// 'f' fixed, 'h' held, 'b' both, 'e' on another file system.
  char mark = ' ';
};

/// "0 keep_free held, 2 keep_for": what goes of recordings, the oldest first, at time 1000.
std::string removalsOf(const std::vector<Recording>& recordings, const KeepPlan& plan) {
  std::vector<KeptRecording> kept;
  for (const auto& [stream, endMs, bytes, mark] : recordings) {
    kept.push_back({.stream = stream,
                    .name = {.beginMs = std::ssize(kept)},
                    .endMs = endMs,
                    .bytes = bytes,
                    .isFixed = mark == 'f' || mark == 'b',
                    .isElsewhere = mark == 'e'});
  }
  const auto isHeld = [&](const KeptRecording& recording) {
    const char mark = recordings.at(static_cast<std::size_t>(recording.name.beginMs)).mark;
    return mark == 'h' || mark == 'b';
  };
  std::string text;
  for (const PlannedRemoval& removal : planRemovals(kept, plan, 1000, isHeld)) {
    text += fmt::format("{}{} {}{}", text.empty() ? "" : ", ", removal.recording, removalReasonText(removal.reason),
                        removal.isHeld ? " held" : "");
  }
  return text;
}

TEST(PlanRemovals, AreThoseThatALimitNeedsAndNoMore) {
  const KeepLimits hundredMs{.age = milliseconds(100)}, tenBytes{.bytes = 10};
  const std::tuple<const char*, std::vector<Recording>, KeepPlan, const char*> rows[] = {
      {"those that ended so long ago",
       {{0, 899, 1}, {1, 1, 1}, {0, 900, 1}, {0, 901, 1}},
       {.streams = {hundredMs, {}}},
       "0 keep_for, 2 keep_for"},
      {"neither fixed nor held", {{0, 1, 1, 'f'}, {0, 1, 1, 'h'}, {0, 1, 1}}, {.streams = {hundredMs}}, "2 keep_for"},
      {"the oldest of a stream above its bytes",
       {{1, 1, 99}, {0, 1, 4}, {0, 1, 5}, {0, 1, 5}},
       {.streams = {tenBytes, {}}},
       "1 keep_bytes"},
      {"the oldest of all streams above the bytes of all",
       {{1, 1, 4}, {0, 1, 5}, {1, 1, 5}},
       {.streams = {{}, {}}, .bytes = 10},
       "0 keep_bytes"},
      {"fixed ones count, and held ones do not",
       {{0, 1, 99, 'h'}, {0, 1, 5, 'b'}, {0, 1, 5}, {0, 1, 5}},
       {.streams = {tenBytes}},
       "2 keep_bytes"},
      {"what went by its age no longer counts",
       {{0, 1, 5}, {0, 999, 5}, {0, 999, 5}},
       {.streams = {{.age = milliseconds(100), .bytes = 10}}},
       "0 keep_for"},
      {"the oldest of all streams for space",
       {{1, 1, 6}, {0, 1, 4}, {1, 1, 5}},
       {.streams = {{}, {}}, .bytesToFree = 10},
       "0 keep_free, 1 keep_free"},
      {"held ones, too, for space, before all other limits",
       {{0, 1, 9, 'f'}, {0, 1, 9, 'e'}, {0, 1, 5, 'h'}, {0, 1, 9}},
       {.streams = {hundredMs}, .bytesToFree = 9},
       "2 keep_free held, 3 keep_free, 1 keep_for"}};
  for (const auto& [why, recordings, plan, removals] : rows) EXPECT_EQ(removalsOf(recordings, plan), removals) << why;
}

}  // namespace
}  // namespace host::serve
