// States that only an unlucky moment or another recorder leaves, and what an append makes of them.
// Files beyond 4 GiB.

#include <fstream>

#include "fileset/RecordingDirectory.h"
#include "fragmentation/AfraBox.h"
#include "host/files/smallFiles.h"
#include "tests/durability/SystemCalls.h"
#include "tests/durability/continuing.h"
#include "tests/support/loadModule.h"
#include "util/bytes.h"

namespace {

using namespace test;
using qvs::util::asBytes;

StreamBuilder video() {
  return stream().keyFramesEvery(1000).framesEvery(250);
}

TEST(OpenPoints, ARemovalTakesTheBootstrapFromTheDeviceFirst) {
  Recorder recorder(loadModule());
  recordAndCrash(recorder, video().until(9001));
  const SystemCalls calls(recorder.directory());
  EXPECT_TRUE(fileset::removeRecording(recorder.directory().string(), "cam1", platform::os::Durability::kDevice));
  ASSERT_GT(calls.operations().size(), 2U);
  EXPECT_TRUE(calls.operations()[0].name.ends_with(".bootstrap"));
  EXPECT_EQ(calls.operations()[1].kind, FileOperation::Kind::kFlushDirectory);
}

TEST(OpenPoints, ASegmentOfWhichNothingRemainsIsForgotten) {
  Recorder recorder(loadModule());
  useShortGrid(recorder, "2500");
  ASSERT_TRUE(recorder.open());
  recorder.record(video().until(3001));  // The first segment is full.
  for (std::uint32_t time = 3250; time < 5500; time += 250) recorder.record(avcFrame(time, false, 50, time));
  recorder.stop();
  recorder.close();
  const auto info = host::parseBootstrap(asBytes(recorder.content(".bootstrap")));
  EXPECT_EQ(info.segmentRunTables.at(0).segmentRuns.size(), 1U) << "the first segment alone";
  appendAndStop(recorder, video().from(20000).withoutHeaders().until(22001));
  expectWhole(recorder);
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

TEST(Sizes, ASegmentThatEndsBeyond4GiBIsContinued) {
  constexpr std::uint32_t kGridMs = 4000;
  auto sparseVideo = stream().keyFramesEvery(kGridMs).framesEvery(1000);
  Recorder recorder(loadModule());
  recordAndCrash(recorder, sparseVideo.until(2 * kGridMs + 1));
  // The last fragment moves after a hole of 5 GiB, which a `free` box covers.
  constexpr std::uint64_t kHole = std::uint64_t{5} << 30;
  auto index = host::parseAfra(asBytes(recorder.content("Seg1.k2i")));
  auto& last = index.globalEntries.back();
  const std::string segment = recorder.content("Seg1.k2r");
  const std::string cover = textOf(fromHex("00000001 66726565 00000001 40000000"));
  writeWholeFile(recorder.file("Seg1.k2r"), segment.substr(0, last.afraOffset) + cover);
  std::filesystem::resize_file(recorder.file("Seg1.k2r"), last.afraOffset + kHole);
  std::ofstream(recorder.file("Seg1.k2r"), std::ios::app) << segment.substr(last.afraOffset);
  last.afraOffset += kHole;
  writeWholeFile(recorder.file("Seg1.k2i"), textOf(host::imageOf(index)));
  const std::uint64_t end = std::filesystem::file_size(recorder.file("Seg1.k2r"));

  appendAndStop(recorder, sparseVideo.from(5 * kGridMs).withoutHeaders().until(7 * kGridMs + 1));
  const auto after = host::parseAfra(asBytes(recorder.content("Seg1.k2i")));
  EXPECT_EQ(after.globalEntries.back().fragment, 7U);
  EXPECT_EQ(after.globalEntries.at(1).afraOffset, last.afraOffset);
  const auto first = std::find_if(after.globalEntries.begin() + 2, after.globalEntries.end(),
                                  [](const auto& entry) { return entry.isWritten(); });
  ASSERT_NE(first, after.globalEntries.end());
  EXPECT_EQ(first->afraOffset, end) << "right behind the last fragment";
}

}  // namespace
