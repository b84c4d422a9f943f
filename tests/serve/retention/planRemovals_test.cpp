#include "host/serve/retention/planRemovals.h"

#include <random>

#include "tests/support/testing.h"

namespace host::serve {
namespace {

constexpr std::int64_t kNow = 1'000'000;

/// A random root, and who is held there.
struct Case {
  explicit Case(std::uint32_t seed) : random(seed) {
    for (std::size_t stream = 0; stream < 1 + pick(4); ++stream) {
      KeepLimits limits;
      if (pick(2) != 0) limits.age = std::chrono::milliseconds(pick(1'000'000));
      if (pick(2) != 0) limits.bytes = pick(3000);
      plan.streams.push_back(limits);
    }
    if (pick(2) != 0) plan.bytes = pick(6000);
    if (pick(3) == 0) plan.bytesToFree = pick(5000);
    std::int64_t beginMs = 0;
    for (std::uint64_t count = pick(40); count > 0; --count) {
      beginMs += static_cast<std::int64_t>(pick(50'000));
      recordings.push_back({.stream = pick(plan.streams.size()),
                            .name = {.beginMs = beginMs},
                            .endMs = beginMs + static_cast<std::int64_t>(pick(100'000)),
                            .bytes = pick(500),
                            .isFixed = pick(8) == 0});
      held.push_back(pick(5) == 0);
    }
  }

  std::uint64_t pick(std::uint64_t end) { return std::uniform_int_distribution<std::uint64_t>(0, end - 1)(random); }
  std::vector<PlannedRemoval> run() const {
    return planRemovals(recordings, plan, kNow, [this](const KeptRecording& recording) {
      return held[static_cast<std::size_t>(&recording - recordings.data())];
    });
  }
  /// Bytes that count for a limit, of one stream or of all.
  std::uint64_t counted(const std::set<std::size_t>& gone, std::optional<std::size_t> stream) const {
    std::uint64_t bytes = 0;
    for (std::size_t i = 0; i < recordings.size(); ++i) {
      const bool counts = !gone.contains(i) && (!stream || recordings[i].stream == *stream);
      if (counts && (recordings[i].isFixed || !held[i])) bytes += recordings[i].bytes;
    }
    return bytes;
  }
  bool mayGo(std::size_t i) const { return !recordings[i].isFixed && !held[i]; }

  std::mt19937 random;
  KeepPlan plan;
  std::vector<KeptRecording> recordings;
  std::vector<bool> held;
};

class PlanRemovals : public testing::Test {
 protected:
  void check(std::uint32_t seed) {
    const Case c(seed);
    std::set<std::size_t> gone;
    std::map<RemovalReason, std::size_t> last;
    std::uint64_t freed = 0;
    for (const PlannedRemoval& removal : c.run()) {
      const KeptRecording& recording = c.recordings[removal.recording];
      ASSERT_FALSE(recording.isFixed);
      const bool isForSpace = removal.reason == RemovalReason::kKeepFree;
      ASSERT_EQ(removal.isHeld, isForSpace && c.held[removal.recording]);
      ASSERT_TRUE(isForSpace || !c.held[removal.recording]);
      // Nothing goes without need, by what was still there at that point.
      const auto& own = c.plan.streams[recording.stream];
      ASSERT_TRUE(!isForSpace || freed < c.plan.bytesToFree);
      ASSERT_TRUE(removal.reason != RemovalReason::kKeepFor || recording.endMs <= kNow - own.age->count());
      if (removal.reason == RemovalReason::kKeepBytes) {
        ASSERT_TRUE((own.bytes && c.counted(gone, recording.stream) > *own.bytes) ||
                    (c.plan.bytes && c.counted(gone, std::nullopt) > *c.plan.bytes));
        // The oldest of its stream that may go.
        for (std::size_t i = 0; i < removal.recording; ++i) {
          ASSERT_TRUE(c.recordings[i].stream != recording.stream || gone.contains(i) || !c.mayGo(i));
        }
      }
      ASSERT_TRUE(gone.insert(removal.recording).second);
      if (isForSpace) freed += recording.bytes;
    }
    checkLimits(c, gone, freed);
  }

 private:
  /// What is left is within the limits, or nothing more may go.
  static void checkLimits(const Case& c, const std::set<std::size_t>& gone, std::uint64_t freed) {
    const auto isLeft = [&](std::optional<std::size_t> stream, bool alsoHeld) {
      for (std::size_t i = 0; i < c.recordings.size(); ++i) {
        const bool isOf = !stream || c.recordings[i].stream == *stream;
        if (isOf && !gone.contains(i) && (c.mayGo(i) || (alsoHeld && !c.recordings[i].isFixed))) return true;
      }
      return false;
    };
    ASSERT_TRUE(freed >= c.plan.bytesToFree || !isLeft(std::nullopt, true));
    for (std::size_t stream = 0; stream < c.plan.streams.size(); ++stream) {
      const auto& limit = c.plan.streams[stream].bytes;
      ASSERT_TRUE(!limit || c.counted(gone, stream) <= *limit || !isLeft(stream, false));
    }
    ASSERT_TRUE(!c.plan.bytes || c.counted(gone, std::nullopt) <= *c.plan.bytes || !isLeft(std::nullopt, false));
    for (std::size_t i = 0; i < c.recordings.size(); ++i) {
      const auto& age = c.plan.streams[c.recordings[i].stream].age;
      ASSERT_TRUE(!age || gone.contains(i) || !c.mayGo(i) || c.recordings[i].endMs > kNow - age->count());
    }
  }
};

TEST_F(PlanRemovals, KeepsItsPromisesOverAnyRecordings) {
  for (std::uint32_t seed = 0; seed < 20'000; ++seed) {
    check(seed);
    ASSERT_FALSE(HasFatalFailure()) << "seed " << seed;
  }
}

TEST_F(PlanRemovals, TakesTheOldestOfAllStreamsForSpace) {
  const std::vector<KeptRecording> recordings{{.stream = 1, .name = {.beginMs = 1}, .endMs = 2, .bytes = 10},
                                              {.stream = 0, .name = {.beginMs = 2}, .endMs = 3, .bytes = 10},
                                              {.stream = 1, .name = {.beginMs = 3}, .endMs = 4, .bytes = 10}};
  const KeepPlan plan{.streams = {{}, {}}, .bytesToFree = 11};
  std::vector<std::size_t> gone;
  for (const auto& removal : planRemovals(recordings, plan, kNow, [](const auto&) { return false; })) {
    gone.push_back(removal.recording);
  }
  EXPECT_EQ(gone, (std::vector<std::size_t>{0, 1}));
}

}  // namespace
}  // namespace host::serve
