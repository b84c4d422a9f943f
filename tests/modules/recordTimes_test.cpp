// The clocks of a recording: its base, the mapping of times, and times that go backward.

#include <gtest/gtest.h>

#include "tests/modules/OpenRecorder.h"
#include "tests/modules/decoded.h"
#include "tests/support/hex.h"

namespace {

using namespace test;

constexpr const char* kBackward = "warning: Found backward timestamp while recording stream, adjusting time\n";

TEST(RecordTimes, CountFromTheFirstMessage) {
  OpenRecorder recorder(stream().keyFramesEvery(2000).from(100000).until(104001));
  EXPECT_EQ(hex(recorder.content(".control")), "000186a0");
  EXPECT_EQ(recorder.adaptor().getDuration(recorder.handle()), 4000U);
  EXPECT_EQ(describeIndex(recorder.content("Seg1.k2i")), "26@100000:written") << "the grid is the stream's own";
}

TEST(RecordTimes, AreLiftedWithAWarningWhereTheyFall) {
  OpenRecorder recorder(stream().keyFramesEvery(4000).until(2001));
  EXPECT_TRUE(recorder.record(avcFrame(2000, false, 50, 1)));
  EXPECT_EQ(recorder.log(), "") << "an equal time is not backward";
  EXPECT_TRUE(recorder.record(avcFrame(1000, false, 50, 2)));
  EXPECT_TRUE(recorder.record(avcFrame(1999, false, 50, 3)));
  EXPECT_EQ(recorder.log(), std::string(kBackward) + kBackward);
  EXPECT_TRUE(recorder.record(avcFrame(4000, true, 50, 4)));
  recorder.stop();
  EXPECT_EQ(describeIndex(recorder.content("Seg1.k2i")), "1@0:written");
}

TEST(RecordTimes, LiftEverythingToAMessageFromBeforeTheBase) {
  OpenRecorder recorder(stream().keyFramesEvery(2000).from(8000).until(9000));
  EXPECT_TRUE(recorder.record(avcFrame(7000, false, 50, 1)));
  EXPECT_EQ(recorder.log(), "") << "before the base counts as far ahead";
  EXPECT_TRUE(recorder.record(avcFrame(9000, false, 50, 2)));
  EXPECT_EQ(recorder.log(), kBackward);
}

TEST(RecordTimes, EndWithTheirGridAt32Bits) {
  constexpr std::uint32_t kGridLine = 4294964000U;
  OpenRecorder recorder(stream().keyFramesEvery(2000).from(kGridLine - 4000).until(kGridLine));
  EXPECT_TRUE(recorder.record(avcFrame(kGridLine, true, 50, 1)));
  // The clock begins anew: counted from the base it goes on, but the grid has no slot there.
  for (const std::uint32_t time : {100U, 4100U, 8100U}) EXPECT_TRUE(recorder.record(avcFrame(time, true, 50, time)));
  recorder.stop();
  EXPECT_EQ(recorder.log(), "");
  EXPECT_EQ(describeIndex(recorder.content("Seg1.k2i")), "1073741@4294960000:written");
}

}  // namespace
