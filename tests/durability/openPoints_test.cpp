// States that only an unlucky moment or another recorder leaves, and what an append makes of them.
// Files beyond 4 GiB.
// A host that has lost its mind: a hundred thousand calls of every type and size.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <span>

#include "fragmentation/AfraBox.h"
#include "host/files/smallFiles.h"
#include "host/recordingFiles.h"
#include "tests/durability/SystemCalls.h"
#include "tests/durability/continuing.h"
#include "tests/module/loadModule.h"
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

TEST_F(OpenPoints, ARemovalTakesTheBootstrapFromTheDeviceFirst) {
  recordAndCrash(recorder_, video().until(3001));
  const auto& directory = recorder_.directory();
  const SystemCalls calls(directory);
  EXPECT_TRUE(host::removeRecording(directory.string(), directory.filename().string(), host::Durability::kDevice));
  ASSERT_GT(calls.operations().size(), 2U);
  EXPECT_TRUE(calls.operations()[0].name.ends_with(".bootstrap"));
  EXPECT_EQ(calls.operations()[1].kind, FileOperation::Kind::kFlushDirectory);
}

TEST_F(OpenPoints, ABaseTimeComesBackFromTheFragments) {
  recordAndCrash(recorder_, video().from(7250).until(10001));
  const std::string control = recorder_.content(".control");
  const struct {
    const char* damaged;
    std::uint32_t from;
  } rows[] = {{"", 20000}, {"xyz", 30000}};
  for (const auto& row : rows) {
    writeWholeFile(recorder_.file(".control"), row.damaged);
    appendAndStop(recorder_, video().from(row.from).withoutHeaders().until(row.from + 2001));
    expectWhole(recorder_);
    EXPECT_EQ(recorder_.content(".control"), control);
  }
}

TEST_F(OpenPoints, ASegmentOfWhichNothingRemainsIsForgotten) {
  useShortGrid(recorder_, "2500");
  ASSERT_TRUE(recorder_.open());
  recorder_.record(video().until(3001));  // The first segment is full.
  for (std::uint32_t time = 3250; time < 5500; time += 250) recorder_.record(avcFrame(time, false, 50, time));
  recorder_.stop();
  recorder_.close();
  const auto info = host::parseBootstrap(asBytes(recorder_.content(".bootstrap")));
  EXPECT_EQ(info.segmentRunTables.at(0).segmentRuns.size(), 1U) << "the first segment alone";
  appendAndStop(recorder_, laterPart());
  expectWhole(recorder_);
}

TEST_F(OpenPoints, AnEmptySegmentThatTheBootstrapKnowsIsBegunAgain) {
  useShortGrid(recorder_, "2500");
  recordAndCrash(recorder_, video().until(3001));
  auto info = host::parseBootstrap(asBytes(recorder_.content(".bootstrap")));
  info.segmentRunTables[0].segmentRuns.push_back({2, 1});
  info.fragmentRunTables[0].fragmentRuns.emplace_back(4U, 3000U, 7000U);
  writeWholeFile(recorder_.file(".bootstrap"), textOf(host::imageOf(info)));
  auto index = host::parseAfra(asBytes(recorder_.content("Seg1.k2i")));
  index.globalEntries.clear();
  writeWholeFile(recorder_.file("Seg2.k2i"), textOf(host::imageOf(index)));
  appendAndStop(recorder_, laterPart());
  expectWhole(recorder_);
  info = host::parseBootstrap(asBytes(recorder_.content(".bootstrap")));
  EXPECT_EQ(info.segmentRunTables[0].segmentRuns[0].fragmentsPerSegment, 22U) << "by the grid, as the index has it";
}

TEST_F(OpenPoints, AFragmentBehindOneThatAStopTookBackIsRestored) {
  // Fragment 3 is held, as no key frame comes, and has joined the run of the others.
  ASSERT_TRUE(recorder_.open());
  recorder_.record(video().keyFramesEvery(1000).until(2001) + video().keyFramesEvery(9000).from(2250).until(4501));
  recorder_.stop();
  recorder_.close();
  ASSERT_TRUE(recorder_.open(kAppend));
  const std::string before = recorder_.content(".bootstrap");
  recorder_.record(video().keyFramesEvery(500).from(2000).withoutHeaders().until(2501) +
                   video().keyFramesEvery(500).from(3500).withoutHeaders().until(3501));
  recorder_.close();
  const std::string behind = recorder_.content(".bootstrap");
  writeWholeFile(recorder_.file(".bootstrap"), before);
  ASSERT_TRUE(recorder_.open(kAppend));
  EXPECT_EQ(recorder_.content(".bootstrap"), behind);
}

/// Removes no directory.
struct KeepingFiles : DiskFileContext {
  std::int32_t remove(const char*, std::uint32_t, std::uint32_t) override { return -1; }
};

TEST(NewRecordings, MeetNothingOfAnOldOneThatTheHostCannotRemove) {
  KeepingFiles services;
  Recorder recorder(loadModule(), &services);
  useShortGrid(recorder, "2500");
  recordAndCrash(recorder, video().until(12001));
  std::filesystem::rename(recorder.file("Seg4.k2i"), recorder.file("Seg4000000000.k2i"));
  writeWholeFile(recorder.file("Segment.k2i"), "of somebody else");
  auto old = readAllFiles(recorder.directory());
  recordAndCrash(recorder, video().until(2001));
  EXPECT_EQ(recorder.files(), "cam1.bootstrap cam1.control cam1.meta cam1Seg1.k2i cam1Seg1.k2r cam1Segment.k2i");
  // Nor does an append take what a recorder without that care has left there.
  auto files = readAllFiles(recorder.directory());
  files.merge(old);
  writeAllFiles(recorder.directory(), files);
  ASSERT_TRUE(recorder.open(kAppend));
  EXPECT_EQ(recorder.adaptor().getDuration(recorder.handle()), 2000U);
  recorder.close();
  std::filesystem::create_directory(recorder.file("Seg77.k2i"));
  EXPECT_FALSE(recorder.open()) << "a directory is not removed like a file";
  EXPECT_EQ(recorder.log(),
            "error: Failed to remove file '" + modulePath(recorder.file("Seg77.k2i")) + "' of an old recording\n");
}

constexpr std::uint32_t kGridMs = 4000;

StreamBuilder sparseVideo() {
  return stream().keyFramesEvery(kGridMs).framesEvery(1000);
}

TEST(Sizes, ASegmentThatEndsBeyond4GiBIsContinued) {
  Recorder recorder(loadModule());
  recordAndCrash(recorder, sparseVideo().until(2 * kGridMs + 1));
  // The last fragment moves behind a hole of 5 GiB, which a `free` box covers.
  constexpr std::uint64_t kHole = std::uint64_t{5} << 30;
  auto index = host::parseAfra(asBytes(recorder.content("Seg1.k2i")));
  auto& last = index.globalEntries.back();
  const std::string segment = recorder.content("Seg1.k2r");
  const std::string fragment = segment.substr(last.afraOffset);
  qvs::util::ByteWriter cover;
  cover.u32(1);
  cover.u32(0x66726565);  // free
  cover.u64(kHole);
  std::filesystem::resize_file(recorder.file("Seg1.k2r"), last.afraOffset + kHole);
  {
    std::fstream file(recorder.file("Seg1.k2r"), std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(last.afraOffset));
    file << textOf(cover.take());
    last.afraOffset += kHole;
    file.seekp(static_cast<std::streamoff>(last.afraOffset));
    file << fragment;
    ASSERT_TRUE(file.flush());
  }
  writeWholeFile(recorder.file("Seg1.k2i"), textOf(host::imageOf(index)));
  const std::uint64_t end = std::filesystem::file_size(recorder.file("Seg1.k2r"));

  appendAndStop(recorder, sparseVideo().from(5 * kGridMs).withoutHeaders().until(7 * kGridMs + 1));
  const auto after = host::parseAfra(asBytes(recorder.content("Seg1.k2i")));
  EXPECT_EQ(after.globalEntries.back().fragment, 7U);
  EXPECT_EQ(after.globalEntries.at(1).afraOffset, last.afraOffset);
  const auto first = std::find_if(after.globalEntries.begin() + 2, after.globalEntries.end(),
                                  [](const auto& entry) { return entry.isWritten(); });
  ASSERT_NE(first, after.globalEntries.end());
  EXPECT_EQ(first->afraOffset, end) << "right behind the last fragment";
}

/// The next call of a stream that is mostly one of audio and video, with anything in between.
StreamMessage nextCall(std::mt19937& random, std::uint32_t& time) {
  const auto below = [&random](std::uint32_t end) { return static_cast<std::uint32_t>(random() % end); };
  StreamMessage message;
  const std::uint32_t type = below(100);
  message.type = static_cast<std::uint8_t>(type < 45 ? 9 : type < 85 ? 8 : type < 90 ? 18 : below(256));
  const std::uint32_t step = below(1000);
  const bool isBack = step > 0 && step < 10;
  // Never 0: a key frame on a grid line whose time another frame has already is not the first of its fragment.
  if (!isBack) time += step == 0 ? 60000 : 1 + below(39);
  message.time = isBack ? time - std::min(time, below(500)) : time;
  const std::uint32_t size = below(5000);
  message.data.resize(size == 0 ? 0xFFFFFF + below(2) : below(size < 50 ? 100000 : 400));
  const auto start = std::span(message.data).first(std::min<std::size_t>(message.data.size(), 16));
  for (std::byte& byte : start) byte = static_cast<std::byte>(below(256));
  if (start.empty() || below(10) == 0) return message;
  // The codec of the stream, so that most messages are taken: AVC with a key frame now and then, AAC.
  if (message.type == 9) start[0] = below(20) == 0 ? std::byte{0x17} : std::byte{0x27};
  if (message.type == 8) start[0] = std::byte{0xAF};
  if (start.size() > 1) start[1] = std::byte{1};
  return message;
}

TEST(RandomCalls, LeaveAWholeRecordingAndALineForEachRefusal) {
  for (const std::uint32_t seed : {1U, 20261124U}) {
    SCOPED_TRACE(seed);
    Recorder recorder(loadModule());
    recorder.host.settings["Recording/SegmentDuration"] = "60000";
    ASSERT_TRUE(recorder.open());
    // The first frame sets the base, in front of which no time may lie: it would count as far ahead.
    ASSERT_EQ(recorder.record({metadata(0), avcSequenceHeader(0), aacSequenceHeader(0), avcFrame(0, true, 100, 1)}),
              0U);
    std::mt19937 random(seed);
    std::uint32_t time = 0;
    std::size_t refused = 0;
    constexpr int kCalls = 50000;
    for (int i = 0; i < kCalls; ++i) refused += recorder.record(nextCall(random, time)) ? 0U : 1U;
    recorder.stop();
    const auto& lines = recorder.host.lines;
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), [](const std::string& line) { return line[0] == 'e'; }),
              static_cast<std::ptrdiff_t>(refused));
    EXPECT_GT(refused, 1000U);
    EXPECT_LT(refused, kCalls / 2U);
    expectWhole(recorder);
    EXPECT_GT(verified(recorder).fragments, 100U);
  }
}

}  // namespace
