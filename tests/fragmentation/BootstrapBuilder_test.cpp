#include "fragmentation/BootstrapBuilder.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace ruvo::k2r;

BootstrapBuilder newBuilder() {
  return {100.0, 1000};
}

/// Calls a builder, a word a call: "f1/3@8000+4000" adds fragment 3 to segment 1, "e1/4@12000" an empty fragment and
/// "g1/5@16000" a timestamp gap.
void add(BootstrapBuilder& builder, const std::string& calls) {
  std::istringstream in(calls);
  char kind = 0;
  char mark = 0;
  std::uint32_t segment = 0;
  std::uint32_t fragment = 0;
  std::uint32_t start = 0;
  std::uint32_t duration = 0;
  while (in >> kind >> segment >> mark >> fragment >> mark >> start) {
    if (kind == 'e') {
      builder.addEmptyFragment(segment, fragment, start);
    } else if (kind == 'g') {
      builder.addTimestampGap(segment, fragment, start);
    } else {
      in >> mark >> duration;
      builder.addFragment(segment, fragment, start, duration);
    }
  }
}

/// "1@0+4000 gap2@4@0" and so on: the runs with first number, time and duration, the markers with their kind, number
/// and time. Behind a bar the segments with how many numbers each has: " | 1x3 2x1".
std::string runs(BootstrapBuilder& builder) {
  std::ostringstream out;
  for (const auto& entry : builder.fragmentRuns()) {
    if (entry.isDiscontinuity()) {
      out << "gap" << entry.discontinuity << '@' << entry.firstFragment << '@' << entry.firstTimestamp << ' ';
    } else {
      out << entry.firstFragment << '@' << entry.firstTimestamp << '+' << entry.duration << ' ';
    }
  }
  out << '|';
  for (const auto& entry : builder.segmentRuns()) out << ' ' << entry.firstSegment << 'x' << entry.fragmentsPerSegment;
  return out.str();
}

TEST(BootstrapBuilder, ExtendsRunsByItsRules) {
  const struct {
    const char *what, *calls, *runs;
  } rows[] = {
      {"fragments of one rounded duration are joined", "f1/1@0+4000 f1/2@4000+4033 f1/3@8033+3967 f1/4@12000+4010",
       "1@0+4000 | 1x4"},
      {"a different duration begins a run", "f1/1@0+4000 f1/2@4000+6000 f1/3@10000+6000", "1@0+4000 2@4000+6000 | 1x3"},
      {"a start as late as may be", "f1/1@0+4000 f1/2@5000+4000", "1@0+4000 | 1x2"},
      {"a start as early as may be", "f1/1@0+4000 f1/2@3000+4000", "1@0+4000 | 1x2"},
      {"a start that has drifted ahead", "f1/1@0+4000 f1/2@5001+4000", "1@0+4000 2@5001+4000 | 1x2"},
      {"a start that has drifted back", "f1/1@0+4000 f1/2@2999+4000", "1@0+4000 2@2999+4000 | 1x2"},
      {"nothing stands before the first fragment", "e1/3@8000 g1/4@16000 f1/5@16000+4000", "5@16000+4000 | 1x1"},
      {"a hole in the numbers has a marker", "f1/3@8000+4000 f1/5@16000+4000",
       "3@8000+4000 gap2@4@0 5@16000+4000 | 1x3"},
      {"a hole before a segment is counted in it", "f1/1@0+4000 f2/4@12000+4000",
       "1@0+4000 gap2@2@0 4@12000+4000 | 1x1 2x3"},
      {"a hole behind an empty fragment", "f1/1@0+4000 e1/2@4000 f1/5@16000+4000",
       "1@0+4000 gap1@2@4000 gap2@3@0 5@16000+4000 | 1x5"},
      {"empty fragments side by side have one marker", "f1/1@0+4000 e1/2@4000 e1/3@8000 f1/4@12000+4000",
       "1@0+4000 gap1@2@4000 4@12000+4000 | 1x4"},
      {"a hole before an empty fragment has its own", "f1/1@0+4000 e1/4@12000", "1@0+4000 gap2@2@0 gap1@4@12000 | 1x4"},
      {"timestamp gaps side by side have one marker", "f1/1@0+4000 g1/1@9000 g1/4@20000", "1@0+4000 gap2@1@0 | 1x4"},
      {"a fragment behind a marker begins a run", "f1/1@0+4000 g1/1@4000 f1/2@4000+4000",
       "1@0+4000 gap2@1@0 2@4000+4000 | 1x2"},
      {"segments are counted one by one", "f1/1@0+4000 f1/2@4000+4000 f2/3@8000+4000 f2/4@12000+4000",
       "1@0+4000 | 1x2 2x2"},
      {"a gap may begin a segment", "f1/1@0+4000 f1/2@4000+4000 g2/3@0", "1@0+4000 gap2@3@0 | 1x2 2x2"},
      // Key frames every 10000: fragment 1 is held, 2 empty, 3 held again.
      {"held and skipped fragments", "f1/1@0+4000 e1/2@4000 f1/3@10000+2000",
       "1@0+4000 gap1@2@4000 3@10000+2000 | 1x3"},
  };
  for (const auto& row : rows) {
    BootstrapBuilder builder = newBuilder();
    add(builder, row.calls);
    EXPECT_EQ(runs(builder), row.runs) << row.what;
    EXPECT_EQ(builder.info().bootstrapVersion, builder.fragmentRuns().size()) << row.what;
  }
}

TEST(BootstrapBuilder, RoundsDurations) {
  constexpr std::uint32_t kMost = 0xFFFFFFFF;
  const struct {
    double precision;
    /// Each with what becomes of it.
    std::vector<std::pair<std::uint32_t, std::uint32_t>> durations;
  } rows[] = {
      {100, {{4050, 4100}, {4049, 4000}, {49, 100}, {0, 100}, {50, 100}}},
      {1, {{4321, 4321}, {0, 1}, {kMost, kMost}}},
      {1 * (1.0 / 29.97) * 1000.0, {{4004, 4004}, {4020, 4004}, {4021, 4037}, {5, 33}}},
      {0.5, {{0, 1}, {7, 7}}},
      {5000, {{4000, 5000}, {2499, 5000}}},
      {1e-300, {{4000, 1}}},
      {1e300, {{4000, kMost}}},
      {1.0 / 0.0, {{4000, kMost}}},
  };
  for (const auto& row : rows)
    for (const auto& [duration, rounded] : row.durations) {
      BootstrapBuilder builder(row.precision, 0);
      builder.addFragment(1, 1, 0, duration);
      EXPECT_EQ(builder.fragmentRuns().at(0).duration, rounded) << row.precision << ' ' << duration;
    }
}

TEST(BootstrapBuilder, PredictsByRoundedDurations) {
  BootstrapBuilder builder = newBuilder();
  std::uint32_t start = 0;
  for (std::uint32_t fragment = 1; fragment <= 30; ++fragment, start += 4040)
    builder.addFragment(1, fragment, start, 4040);
  EXPECT_EQ(runs(builder), "1@0+4000 27@105040+4000 | 1x30");
}

TEST(BootstrapBuilder, CountsNeitherTheEndNorTakingItBackAsChanges) {
  BootstrapBuilder builder = newBuilder();
  add(builder, "f1/1@0+4000");
  builder.info().live = true;
  builder.endPresentation();
  EXPECT_EQ(runs(builder), "1@0+4000 gap0@0@0 | 1x1");
  EXPECT_EQ(builder.info().bootstrapVersion, 1U);
  EXPECT_TRUE(builder.info().live);

  BootstrapBuilder append(100.0, 1000, builder.info(), 1);
  append.resume();
  EXPECT_EQ(append.info().bootstrapVersion, 1U);
  add(append, "f1/2@4000+4000");
  EXPECT_EQ(append.info().bootstrapVersion, 2U);
}

/// Three fragments and the end, as a stopped recording leaves them.
BootstrapInfo stopped() {
  BootstrapBuilder builder = newBuilder();
  add(builder, "f1/1@0+4000 f1/2@4000+6000 f2/3@10000+4000");
  builder.endPresentation();
  return builder.info();
}

TEST(BootstrapBuilder, ResumesWhereTheIndexEnds) {
  BootstrapInfo endedTwice = stopped();
  endedTwice.fragmentRunTables.front().fragmentRuns.emplace_back(0U, 0U, Discontinuity::kEndOfPresentation);
  BootstrapInfo bothGaps = stopped();
  bothGaps.fragmentRunTables.front().fragmentRuns.back() = {3, 10000, Discontinuity::kBothGaps};
  BootstrapInfo noSegments;
  noSegments.fragmentRunTables.resize(1);
  noSegments.fragmentRunTables.front().fragmentRuns = {{1, 0, 4000U}, {5, 16000, 4000U}};
  const struct {
    const char* what;
    BootstrapInfo info;
    std::uint32_t lastFragment;
    const char *calls, *runs;
  } rows[] = {
      {"all of it", stopped(), 3, "", "1@0+4000 2@4000+6000 3@10000+4000 | 1x2 2x1"},
      {"without a segment", stopped(), 2, "", "1@0+4000 2@4000+6000 | 1x2"},
      {"without a run", stopped(), 1, "", "1@0+4000 | 1x1"},
      {"without any", stopped(), 0, "", "|"},
      {"an append always begins a run", stopped(), 3, "f2/4@14000+4000 f2/5@18000+4000",
       "1@0+4000 2@4000+6000 3@10000+4000 4@14000+4000 | 1x2 2x3"},
      {"a segment that was taken back begins anew", stopped(), 2, "f2/3@10000+4000",
       "1@0+4000 2@4000+6000 3@10000+4000 | 1x2 2x1"},
      {"only the last end marker is taken back", endedTwice, 3, "",
       "1@0+4000 2@4000+6000 3@10000+4000 gap0@0@0 | 1x2 2x1"},
      {"a marker of both gaps stands for either", bothGaps, 3, "e2/4@14000 g2/4@18000",
       "1@0+4000 2@4000+6000 3@10000+4000 gap3@3@10000 | 1x2 2x2"},
      {"a foreign file without tables", {}, 7, "e1/8@0 f1/9@32000+4000", "9@32000+4000 | 1x1"},
      {"a foreign file without segments", noSegments, 1, "e1/2@4000 f1/3@8000+4000",
       "1@0+4000 gap1@2@4000 gap2@1@0 3@8000+4000 | 4294967295x1 1x3"},
  };
  for (const auto& row : rows) {
    BootstrapBuilder builder(100.0, 1000, row.info, row.lastFragment);
    builder.resume();
    add(builder, row.calls);
    EXPECT_EQ(runs(builder), row.runs) << row.what;
  }
}

}  // namespace
