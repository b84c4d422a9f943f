#include "host/serve/streams/RecordingBegins.h"

#include "tests/host/hostTools.h"

namespace host::serve {
namespace {

TEST(RecordingBegins, FollowTheStreamUnlessTheTimeOfDayIsElsewhere) {
  std::int64_t nowMs = 1000000;
  RecordingBegins begins([&] { return nowMs; });
  // The time of day, that of the media, and the begin.
  const std::tuple<const char*, std::int64_t, std::uint32_t, std::int64_t> rows[] = {
      {"the first", 1000000, 0xFFFFFF00, 1000000},
      {"exactly later, over the end of 32 bits", 1010300, 9744, 1010000},
      {"two seconds of drift", 1102000, 99744, 1100000},
      {"late once", 1134000, 129744, 1130000},
      {"more drift than that", 1232001, 229744, 1232001},
      {"the clock was set back", 500000, 329744, 500000},
      {"and that is followed", 510300, 339744, 510000}};
  for (const auto& [why, timeOfDayMs, mediaMs, beginMs] : rows) {
    nowMs = timeOfDayMs;
    EXPECT_EQ(begins.next(mediaMs), beginMs) << why;
  }
}

TEST(RecordingBegins, MoveWithTheFirstFrameAndKnowWhatCameInTime) {
  std::int64_t nowMs = 1000000;
  RecordingBegins begins([&] { return nowMs; });
  begins.next(5000);
  EXPECT_EQ(begins.move(36000), 1031000) << "31 seconds were lost";
  nowMs = 1040000;
  begins.received(9000);
  // The process stood still for eight seconds.
  nowMs = 1049000;
  begins.received(10000);
  EXPECT_EQ(begins.next(47000), 1042000);
  nowMs = 1060000;
  begins.forgetDelays();
  EXPECT_EQ(begins.next(50000), 1060000) << "the source has a new clock";
}

TEST(RecordingBegins, HaveANumberWhereThereIsOneAlready) {
  const test::TempDirectory folder;
  const std::string path = folder.path().string();
  EXPECT_EQ(freeRecordingPath(path, 0), path + "/19700101T000000.000Z");
  std::filesystem::create_directory(path + "/19700101T000000.000Z");
  test::writeWholeFile(path + "/19700101T000000.000Z-2", "");
  EXPECT_EQ(freeRecordingPath(path, 0), path + "/19700101T000000.000Z-3");
}

}  // namespace
}  // namespace host::serve
