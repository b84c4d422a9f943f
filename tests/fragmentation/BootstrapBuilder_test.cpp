#include "fragmentation/BootstrapBuilder.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>

namespace {

using namespace ruvo::k2r;

constexpr std::uint32_t kFragment = 4000;

BootstrapBuilder newBuilder() {
  return {100.0, 1000};
}

/// "1@0+4000 gap2@4" and so on: the runs with first number, time and duration, the markers with their kind and number.
std::string fragments(const BootstrapBuilder& builder) {
  std::ostringstream out;
  for (const auto& entry : builder.info().fragmentRunTables.front().fragmentRuns) {
    if (out.tellp() > 0) out << ' ';
    if (entry.isDiscontinuity()) {
      out << "gap" << entry.discontinuity << '@' << entry.firstFragment << '@' << entry.firstTimestamp;
    } else {
      out << entry.firstFragment << '@' << entry.firstTimestamp << '+' << entry.duration;
    }
  }
  return out.str();
}

/// "1x3 2x1": segments and the fragment numbers in each.
std::string segments(const BootstrapBuilder& builder) {
  std::ostringstream out;
  for (const auto& entry : builder.info().segmentRunTables.front().segmentRuns) {
    out << (out.tellp() > 0 ? " " : "") << entry.firstSegment << 'x' << entry.fragmentsPerSegment;
  }
  return out.str();
}

std::uint32_t version(const BootstrapBuilder& builder) {
  return builder.info().bootstrapVersion;
}

TEST(BootstrapBuilder, BeginsWithOneEmptyTableOfEachKind) {
  const BootstrapBuilder builder = newBuilder();
  BootstrapInfo expected;
  expected.segmentRunTables.resize(1);
  expected.fragmentRunTables.resize(1);
  EXPECT_EQ(builder.info(), expected);
}

TEST(BootstrapBuilder, JoinsFragmentsOfOneRoundedDuration) {
  BootstrapBuilder builder = newBuilder();
  builder.addFragment(1, 1, 0, 4000);
  builder.addFragment(1, 2, 4000, 4033);
  builder.addFragment(1, 3, 8033, 3967);
  builder.addFragment(1, 4, 12000, 4010);
  EXPECT_EQ(fragments(builder), "1@0+4000");
  EXPECT_EQ(segments(builder), "1x4");
  EXPECT_EQ(version(builder), 1U);
}

TEST(BootstrapBuilder, RoundsDurations) {
  const double frame = 1 * (1.0 / 29.97) * 1000.0;
  const struct {
    double precision;
    std::uint32_t duration, rounded;
  } rows[] = {{100, 4050, 4100},
              {100, 4049, 4000},
              {100, 49, 100},
              {100, 0, 100},
              {100, 50, 100},
              {1, 4321, 4321},
              {1, 0, 1},
              {frame, 4004, 4004},
              {frame, 4020, 4004},
              {frame, 4021, 4037},
              {frame, 5, 33},
              {0.5, 0, 1},
              {0.5, 7, 7},
              {5000, 4000, 5000},
              {5000, 2499, 5000},
              {1e-300, 4000, 1},
              {1e300, 4000, 0xFFFFFFFF},
              {1.0 / 0.0, 4000, 0xFFFFFFFF},
              {1, 0xFFFFFFFF, 0xFFFFFFFF}};
  for (const auto& row : rows) {
    BootstrapBuilder builder(row.precision, 0);
    builder.addFragment(1, 1, 0, row.duration);
    ASSERT_EQ(builder.fragmentRuns().size(), 1U) << row.precision << ' ' << row.duration;
    EXPECT_EQ(builder.fragmentRuns().front().duration, row.rounded) << row.precision << ' ' << row.duration;
  }
}

TEST(BootstrapBuilder, BeginsARunWhereTheStartHasDrifted) {
  const struct {
    std::uint32_t start;
    const char* fragments;
  } rows[] = {{5000, "1@0+4000"}, {3000, "1@0+4000"}, {5001, "1@0+4000 2@5001+4000"}, {2999, "1@0+4000 2@2999+4000"}};
  for (const auto& row : rows) {
    BootstrapBuilder builder = newBuilder();
    builder.addFragment(1, 1, 0, kFragment);
    builder.addFragment(1, 2, row.start, kFragment);
    EXPECT_EQ(fragments(builder), row.fragments) << row.start;
  }
}

TEST(BootstrapBuilder, PredictsByRoundedDurations) {
  BootstrapBuilder builder = newBuilder();
  std::uint32_t start = 0;
  for (std::uint32_t fragment = 1; fragment <= 30; ++fragment, start += 4040)
    builder.addFragment(1, fragment, start, 4040);
  EXPECT_EQ(fragments(builder), "1@0+4000 27@105040+4000");
}

TEST(BootstrapBuilder, ADifferentDurationBeginsARun) {
  BootstrapBuilder builder = newBuilder();
  builder.addFragment(1, 1, 0, 4000);
  builder.addFragment(1, 2, 4000, 6000);
  builder.addFragment(1, 3, 10000, 6000);
  EXPECT_EQ(fragments(builder), "1@0+4000 2@4000+6000");
  EXPECT_EQ(version(builder), 2U);
}

TEST(BootstrapBuilder, FirstNumberNeedsNoMarker) {
  BootstrapBuilder builder = newBuilder();
  builder.addEmptyFragment(1, 3, 8000);
  builder.addTimestampGap(1, 4, 16000);
  builder.addFragment(1, 5, 16000, kFragment);
  EXPECT_EQ(fragments(builder), "5@16000+4000");
  EXPECT_EQ(segments(builder), "1x1");
}

TEST(BootstrapBuilder, MarksAHoleInTheNumbers) {
  BootstrapBuilder builder = newBuilder();
  builder.addFragment(1, 3, 8000, kFragment);
  builder.addFragment(1, 5, 16000, kFragment);
  EXPECT_EQ(fragments(builder), "3@8000+4000 gap2@4@0 5@16000+4000");
  EXPECT_EQ(segments(builder), "1x3");
  EXPECT_EQ(version(builder), 3U);
}

TEST(BootstrapBuilder, OneMarkerStandsForNeighbouringEmptyFragments) {
  BootstrapBuilder builder = newBuilder();
  builder.addFragment(1, 1, 0, kFragment);
  builder.addEmptyFragment(1, 2, 4000);
  builder.addEmptyFragment(1, 3, 8000);
  builder.addFragment(1, 4, 12000, kFragment);
  EXPECT_EQ(fragments(builder), "1@0+4000 gap1@2@4000 4@12000+4000");
  EXPECT_EQ(segments(builder), "1x4");
}

TEST(BootstrapBuilder, AHoleBeforeAnEmptyFragmentHasItsOwnMarker) {
  BootstrapBuilder builder = newBuilder();
  builder.addFragment(1, 1, 0, kFragment);
  builder.addEmptyFragment(1, 4, 12000);
  EXPECT_EQ(fragments(builder), "1@0+4000 gap2@2@0 gap1@4@12000");
  EXPECT_EQ(segments(builder), "1x4");
}

TEST(BootstrapBuilder, OneMarkerStandsForNeighbouringTimestampGaps) {
  BootstrapBuilder builder = newBuilder();
  builder.addFragment(1, 1, 0, kFragment);
  builder.addTimestampGap(1, 1, 9000);
  builder.addTimestampGap(1, 4, 20000);
  EXPECT_EQ(fragments(builder), "1@0+4000 gap2@1@0");
  EXPECT_EQ(segments(builder), "1x4");
}

TEST(BootstrapBuilder, AFragmentBehindAMarkerBeginsARun) {
  BootstrapBuilder builder = newBuilder();
  builder.addFragment(1, 1, 0, kFragment);
  builder.addTimestampGap(1, 1, kFragment);
  builder.addFragment(1, 2, kFragment, kFragment);
  EXPECT_EQ(fragments(builder), "1@0+4000 gap2@1@0 2@4000+4000");
}

TEST(BootstrapBuilder, SegmentsAreCountedOneByOne) {
  BootstrapBuilder builder = newBuilder();
  for (std::uint32_t fragment = 1; fragment <= 4; ++fragment) {
    builder.addFragment((fragment + 1) / 2, fragment, (fragment - 1) * kFragment, kFragment);
  }
  EXPECT_EQ(segments(builder), "1x2 2x2");
  EXPECT_EQ(fragments(builder), "1@0+4000");
  builder.addTimestampGap(3, 5, 0);
  EXPECT_EQ(segments(builder), "1x2 2x2 3x2");
}

// A stream with key frames every 10000: fragment 1 is held, 2 empty, 3 held again.
TEST(BootstrapBuilder, FollowsHeldAndSkippedFragments) {
  BootstrapBuilder builder = newBuilder();
  builder.addFragment(1, 1, 0, 4000);
  EXPECT_EQ(fragments(builder), "1@0+4000");
  builder.addEmptyFragment(1, 2, 4000);
  EXPECT_EQ(fragments(builder), "1@0+4000 gap1@2@4000");
  builder.addFragment(1, 3, 10000, 2000);
  EXPECT_EQ(fragments(builder), "1@0+4000 gap1@2@4000 3@10000+2000");
  EXPECT_EQ(segments(builder), "1x3");
}

TEST(BootstrapBuilder, EndIsAMarkerAndNoChange) {
  BootstrapBuilder builder = newBuilder();
  builder.addFragment(1, 1, 0, kFragment);
  builder.info().live = true;
  builder.endPresentation();
  EXPECT_EQ(fragments(builder), "1@0+4000 gap0@0@0");
  EXPECT_EQ(version(builder), 1U);
  EXPECT_TRUE(builder.info().live);
}

/// Three fragments and the end, as a stopped recording leaves them.
BootstrapInfo stopped() {
  BootstrapBuilder builder = newBuilder();
  builder.addFragment(1, 1, 0, 4000);
  builder.addFragment(1, 2, 4000, 6000);
  builder.addFragment(2, 3, 10000, 4000);
  builder.endPresentation();
  return builder.info();
}

TEST(BootstrapBuilder, ResumesWhereTheIndexEnds) {
  const struct {
    std::uint32_t lastFragment;
    const char *fragments, *segments;
  } rows[] = {{3, "1@0+4000 2@4000+6000 3@10000+4000", "1x2 2x1"},
              {2, "1@0+4000 2@4000+6000", "1x2"},
              {1, "1@0+4000", "1x1"},
              {0, "", ""}};
  for (const auto& row : rows) {
    BootstrapBuilder builder(100.0, 1000, stopped(), row.lastFragment);
    builder.resume();
    EXPECT_EQ(fragments(builder), row.fragments) << row.lastFragment;
    EXPECT_EQ(segments(builder), row.segments) << row.lastFragment;
  }
}

TEST(BootstrapBuilder, AnAppendAlwaysBeginsARun) {
  BootstrapBuilder builder(100.0, 1000, stopped(), 3);
  builder.resume();
  builder.addFragment(2, 4, 14000, 4000);
  builder.addFragment(2, 5, 18000, 4000);
  EXPECT_EQ(fragments(builder), "1@0+4000 2@4000+6000 3@10000+4000 4@14000+4000");
  EXPECT_EQ(segments(builder), "1x2 2x3");
  EXPECT_EQ(version(builder), 4U);
}

TEST(BootstrapBuilder, ASegmentThatResumingTookBackBeginsAnew) {
  BootstrapBuilder builder(100.0, 1000, stopped(), 2);
  builder.resume();
  builder.addFragment(2, 3, 10000, 4000);
  EXPECT_EQ(segments(builder), "1x2 2x1");
}

TEST(BootstrapBuilder, ResumingTakesBackOnlyTheLastEndMarker) {
  BootstrapInfo info = stopped();
  info.fragmentRunTables.front().fragmentRuns.emplace_back(0U, 0U, Discontinuity::kEndOfPresentation);
  BootstrapBuilder builder(100.0, 1000, info, 3);
  builder.resume();
  EXPECT_EQ(fragments(builder), "1@0+4000 2@4000+6000 3@10000+4000 gap0@0@0");
}

TEST(BootstrapBuilder, ForeignFilesWithoutTablesCanBeContinued) {
  BootstrapBuilder builder(100.0, 1000, {}, 7);
  builder.resume();
  builder.addEmptyFragment(1, 8, 0);
  builder.addFragment(1, 9, 32000, kFragment);
  EXPECT_EQ(fragments(builder), "9@32000+4000");
  EXPECT_EQ(segments(builder), "1x1");

  BootstrapInfo noSegments;
  noSegments.fragmentRunTables.resize(1);
  noSegments.fragmentRunTables.front().fragmentRuns = {{1, 0, 4000U}, {5, 16000, 4000U}};
  BootstrapBuilder other(100.0, 1000, noSegments, 1);
  other.resume();
  other.addEmptyFragment(1, 2, 4000);
  other.addFragment(1, 3, 8000, kFragment);
  EXPECT_EQ(fragments(other), "1@0+4000 gap1@2@4000 gap2@1@0 3@8000+4000");
}

TEST(BootstrapBuilder, CountsEveryNumberOfARandomRecording) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    std::mt19937 random(seed);
    const auto below = [&random](std::uint32_t bound) { return static_cast<std::uint32_t>(random() % bound); };
    BootstrapBuilder builder = newBuilder();
    const std::uint32_t first = 1 + below(9);
    std::uint32_t fragment = first;
    std::uint32_t segment = 1;
    builder.addFragment(segment, fragment, 0, kFragment);
    for (int i = 0; i < 50; ++i) {
      fragment += 1 + (below(5) == 0 ? below(3) : 0);
      if (below(3) == 0) {
        builder.addEmptyFragment(segment, fragment, fragment * kFragment);
      } else {
        if (below(8) == 0) ++segment;
        builder.addFragment(segment, fragment, fragment * kFragment, kFragment + below(200));
      }
    }
    std::uint32_t counted = 0;
    for (const auto& entry : builder.segmentRuns()) counted += entry.fragmentsPerSegment;
    EXPECT_EQ(counted, fragment - first + 1) << seed;
    EXPECT_EQ(builder.segmentRuns().back().firstSegment, segment) << seed;
    EXPECT_EQ(version(builder), builder.fragmentRuns().size()) << seed;
    for (std::size_t i = 1; i < builder.fragmentRuns().size(); ++i) {
      EXPECT_GT(builder.fragmentRuns()[i].firstFragment, builder.fragmentRuns()[i - 1].firstFragment) << seed;
    }
  }
}

}  // namespace
