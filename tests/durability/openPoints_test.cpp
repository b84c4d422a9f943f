// States that only an unlucky moment or another recorder leaves, and what an append makes of them.

#include <gtest/gtest.h>

#include "fragmentation/AfraBox.h"
#include "fragmentation/BootstrapWriter.h"
#include "host/files/smallFiles.h"
#include "host/verify/verifyReport.h"
#include "tests/durability/FaultyFiles.h"
#include "tests/module/loadModule.h"
#include "tests/modules/decoded.h"
#include "tests/support/Recorder.h"
#include "util/bytes.h"

namespace {

using namespace test;

constexpr std::uint32_t kAppend = kOpenRecord | kOpenAppend;

StreamBuilder video() {
  return stream().keyFramesEvery(1000).framesEvery(250);
}

void useShortGrid(Recorder& recorder, const char* segmentDuration = "0") {
  recorder.host.settings["Recording/FragmentDuration"] = "1000";
  recorder.host.settings["Recording/SegmentDuration"] = segmentDuration;
}

std::string text(const std::vector<std::byte>& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

void expectWhole(const Recorder& recorder) {
  const auto verification = host::verifyRecording(recorder.directory().string());
  EXPECT_EQ(verification.status(), host::ExitStatus::kOk) << textReport(verification) << recorder.log();
}

/// Appends to what is there, stops, and expects a whole recording.
void continueIt(Recorder& recorder) {
  ASSERT_TRUE(recorder.open(kAppend)) << recorder.log();
  EXPECT_EQ(recorder.record(video().from(20000).withoutHeaders().until(22001)), 0U) << recorder.log();
  recorder.stop();
  recorder.close();
  expectWhole(recorder);
}

TEST(OpenPoints, ABootstrapBehindTheIndexIsCompletedFromTheFragment) {
  for (const char* const segmentDuration : {"0", "1500"}) {  // The last fragment is the first of its segment, too.
    Recorder recorder(loadModule());
    useShortGrid(recorder, segmentDuration);
    ASSERT_TRUE(recorder.open());
    recorder.record(video().until(2001));
    const std::string before = recorder.content(".bootstrap");
    recorder.record(video().from(2250).withoutHeaders().until(2251));
    recorder.record({avcFrame(3000, true, 50, 1)});
    recorder.close();
    const std::string complete = recorder.content(".bootstrap");
    writeWholeFile(recorder.file(".bootstrap"), before);
    ASSERT_TRUE(recorder.open(kAppend)) << recorder.log();
    EXPECT_EQ(describeBootstrap(recorder.content(".bootstrap")), describeBootstrap(complete));
    recorder.close();
    continueIt(recorder);
  }
}

TEST(OpenPoints, WritingGoesOnBehindTheLastFragmentThatIsThere) {
  Recorder recorder(loadModule());
  useShortGrid(recorder);
  ASSERT_TRUE(recorder.open());
  recorder.record(video().until(3001));
  recorder.close();
  auto index = host::parseAfra(qvs::util::asBytes(recorder.content("Seg1.k2i")));
  index.globalEntries.emplace_back(3000, 1, 4, ruvo::k2r::kNoFragmentOffset, 0);
  writeWholeFile(recorder.file("Seg1.k2i"), text(host::imageOf(index)));
  const std::string segment = recorder.content("Seg1.k2r");
  ASSERT_TRUE(recorder.open(kAppend)) << recorder.log();
  EXPECT_EQ(recorder.record(video().from(20000).withoutHeaders().until(22001)), 0U);
  recorder.stop();
  EXPECT_TRUE(recorder.content("Seg1.k2r").starts_with(segment));
}

TEST(OpenPoints, AnIndexThatHasLostItsFragmentsIsRefused) {
  Recorder recorder(loadModule());
  useShortGrid(recorder);
  ASSERT_TRUE(recorder.open());
  recorder.record(video().until(3001));
  recorder.close();
  const std::string bootstrap = recorder.content(".bootstrap");
  const std::string segment = recorder.content("Seg1.k2r");
  writeWholeFile(recorder.file("Seg1.k2i"), text(host::imageOf(ruvo::k2r::AfraIndex())));
  EXPECT_FALSE(recorder.open(kAppend));
  EXPECT_EQ(
      recorder.log(),
      "error: The index of segment 1 names no fragment, but the bootstrap does; the recording is not continued.\n");
  EXPECT_EQ(recorder.content(".bootstrap"), bootstrap);
  EXPECT_EQ(recorder.content("Seg1.k2r"), segment);
}

TEST(OpenPoints, ABaseTimeComesBackFromTheFragments) {
  for (const char* const content : {"", "xyz", "too long"}) {
    Recorder recorder(loadModule());
    useShortGrid(recorder);
    ASSERT_TRUE(recorder.open());
    recorder.record(video().from(7250).until(10001));
    recorder.close();
    const std::string control = recorder.content(".control");
    writeWholeFile(recorder.file(".control"), content);
    continueIt(recorder);
    EXPECT_EQ(recorder.content(".control"), control);
  }
}

TEST(OpenPoints, AForeignBootstrapWithoutFragmentRunsIsContinued) {
  Recorder recorder(loadModule());
  useShortGrid(recorder);
  ASSERT_TRUE(recorder.open());
  recorder.record(video().until(3001));
  recorder.close();
  auto info = host::parseBootstrap(qvs::util::asBytes(recorder.content(".bootstrap")));
  info.fragmentRunTables.clear();
  writeWholeFile(recorder.file(".bootstrap"), text(host::imageOf(info)));
  ASSERT_TRUE(recorder.open(kAppend)) << recorder.log();
  EXPECT_EQ(recorder.record(video().from(20000).withoutHeaders().until(22001)), 0U) << recorder.log();
  recorder.stop();
  recorder.close();
  recorder.host.lines.clear();  // Without runs it could not tell of the gap: that is a warning.
  info.segmentRunTables.clear();
  writeWholeFile(recorder.file(".bootstrap"), text(host::imageOf(info)));
  EXPECT_FALSE(recorder.open(kAppend));
  EXPECT_EQ(recorder.log(), "error: Failed to load segment run entries.\n");
}

TEST(OpenPoints, ARollOverThatFailedIsTriedAgain) {
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
    EXPECT_EQ(host::verifyRecording(recorder.directory().string()).lastTime, 11750U) << recorder.log();
  }
}

TEST(OpenPoints, ASegmentOfWhichNothingRemainsIsForgotten) {
  Recorder recorder(loadModule());
  useShortGrid(recorder, "2500");
  ASSERT_TRUE(recorder.open());
  recorder.record(video().until(3001));  // The first segment is full.
  for (std::uint32_t time = 3250; time < 5500; time += 250) recorder.record(avcFrame(time, false, 50, time));
  recorder.stop();
  recorder.close();
  EXPECT_EQ(describeBootstrap(recorder.content(".bootstrap")), "1x3 | 1@0+1000 0@0!0");
  continueIt(recorder);
}

}  // namespace
