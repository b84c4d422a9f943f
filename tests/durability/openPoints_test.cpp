// States that only an unlucky moment or another recorder leaves, and what an append makes of them.

#include <gtest/gtest.h>

#include "fragmentation/AfraBox.h"
#include "host/files/smallFiles.h"
#include "tests/durability/FaultyFiles.h"
#include "tests/durability/continuing.h"
#include "tests/module/loadModule.h"
#include "tests/modules/decoded.h"
#include "util/bytes.h"

namespace {

using namespace test;
using qvs::util::asBytes;

StreamBuilder video() {
  return stream().keyFramesEvery(1000).framesEvery(250);
}

std::vector<StreamMessage> laterPart() {
  return video().from(20000).withoutHeaders().until(22001);
}

/// A recording of fragments of a second.
class OpenPoints : public testing::Test {
 protected:
  OpenPoints() { useShortGrid(recorder_); }

  Recorder recorder_{loadModule()};
};

TEST_F(OpenPoints, ABootstrapBehindTheIndexIsCompletedFromTheFragment) {
  for (const char* const segmentDuration : {"0", "1500"}) {  // The last fragment is the first of its segment, too.
    useShortGrid(recorder_, segmentDuration);
    ASSERT_TRUE(recorder_.open());
    recorder_.record(video().until(2001));
    const std::string before = recorder_.content(".bootstrap");
    recorder_.record({avcFrame(2250, false, 50, 1), avcFrame(3000, true, 50, 1)});
    recorder_.close();
    const std::string complete = recorder_.content(".bootstrap");
    writeWholeFile(recorder_.file(".bootstrap"), before);
    ASSERT_TRUE(recorder_.open(kAppend)) << recorder_.log();
    EXPECT_EQ(describeBootstrap(recorder_.content(".bootstrap")), describeBootstrap(complete));
    recorder_.close();
    appendAndStop(recorder_, laterPart());
    expectWhole(recorder_);
  }
}

TEST_F(OpenPoints, WritingGoesOnBehindTheLastFragmentThatIsThere) {
  recordAndCrash(recorder_, video().until(3001));
  auto index = host::parseAfra(asBytes(recorder_.content("Seg1.k2i")));
  index.globalEntries.emplace_back(3000, 1, 4, ruvo::k2r::kNoFragmentOffset, 0);
  writeWholeFile(recorder_.file("Seg1.k2i"), textOf(host::imageOf(index)));
  const std::string segment = recorder_.content("Seg1.k2r");
  appendAndStop(recorder_, laterPart());
  EXPECT_TRUE(recorder_.content("Seg1.k2r").starts_with(segment));
}

TEST_F(OpenPoints, AnIndexThatHasLostItsFragmentsIsRefused) {
  recordAndCrash(recorder_, video().until(3001));
  const std::string bootstrap = recorder_.content(".bootstrap");
  const std::string segment = recorder_.content("Seg1.k2r");
  writeWholeFile(recorder_.file("Seg1.k2i"), textOf(host::imageOf(ruvo::k2r::AfraIndex())));
  EXPECT_FALSE(recorder_.open(kAppend));
  EXPECT_EQ(
      recorder_.log(),
      "error: The index of segment 1 names no fragment, but the bootstrap does; the recording is not continued.\n");
  EXPECT_EQ(recorder_.content(".bootstrap"), bootstrap);
  EXPECT_EQ(recorder_.content("Seg1.k2r"), segment);
}

TEST_F(OpenPoints, ABaseTimeComesBackFromTheFragments) {
  recordAndCrash(recorder_, video().from(7250).until(10001));
  const std::string control = recorder_.content(".control");
  const struct {
    const char* damaged;
    std::uint32_t from;
  } rows[] = {{"", 20000}, {"xyz", 30000}, {"too long", 40000}};
  for (const auto& row : rows) {
    writeWholeFile(recorder_.file(".control"), row.damaged);
    appendAndStop(recorder_, video().from(row.from).withoutHeaders().until(row.from + 2001));
    expectWhole(recorder_);
    EXPECT_EQ(recorder_.content(".control"), control);
  }
}

TEST_F(OpenPoints, AForeignBootstrapWithoutFragmentRunsIsContinued) {
  recordAndCrash(recorder_, video().until(3001));
  auto info = host::parseBootstrap(asBytes(recorder_.content(".bootstrap")));
  info.fragmentRunTables.clear();
  writeWholeFile(recorder_.file(".bootstrap"), textOf(host::imageOf(info)));
  appendAndStop(recorder_, laterPart());
  recorder_.host.lines.clear();  // Without runs it could not tell of the gap: that is a warning.
  info.segmentRunTables.clear();
  writeWholeFile(recorder_.file(".bootstrap"), textOf(host::imageOf(info)));
  EXPECT_FALSE(recorder_.open(kAppend));
  EXPECT_EQ(recorder_.log(), "error: Failed to load segment run entries.\n");
}

TEST_F(OpenPoints, ASegmentOfWhichNothingRemainsIsForgotten) {
  useShortGrid(recorder_, "2500");
  ASSERT_TRUE(recorder_.open());
  recorder_.record(video().until(3001));  // The first segment is full.
  for (std::uint32_t time = 3250; time < 5500; time += 250) recorder_.record(avcFrame(time, false, 50, time));
  recorder_.stop();
  recorder_.close();
  EXPECT_EQ(describeBootstrap(recorder_.content(".bootstrap")), "1x3 | 1@0+1000 0@0!0");
  appendAndStop(recorder_, laterPart());
  expectWhole(recorder_);
}

TEST(FailedRollOver, IsTriedAgain) {
  for (const std::uint32_t failures : {1U, 3U}) {
    FaultyFiles files(Fault::kOpenError, 1, failures);  // The second segment.
    Recorder recorder(loadModule(), &files);
    useShortGrid(recorder, "2500");
    ASSERT_TRUE(recorder.open());
    EXPECT_EQ(recorder.record(video().until(12001)), failures) << recorder.log();
    recorder.stop();
    recorder.close();
    expectWhole(recorder);
    EXPECT_TRUE(recorder.has("Seg2.k2r"));
    EXPECT_EQ(verified(recorder).lastTime, 11750U) << recorder.log();
  }
}

}  // namespace
