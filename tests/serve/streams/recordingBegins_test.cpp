#include "host/serve/streams/RecordingBegins.h"

#include "host/input/Backlog.h"
#include "tests/host/hostTools.h"

namespace host::serve {
namespace {

TEST(RecordingBegins, FollowTheStreamUnlessTheTimeOfDayIsElsewhere) {
  std::int64_t nowMs = 1000000;
  RecordingBegins begins([&] { return nowMs; });
  const struct {
    const char* why;
    std::int64_t nowMs;
    std::uint32_t mediaMs;
    std::int64_t beginMs;
  } rows[] = {{"the first", 1000000, 0xFFFFFF00, 1000000},
              {"exactly later, over the end of 32 bits", 1010300, 9744, 1010000},
              {"two seconds of drift", 1022000, 19744, 1020000},
              {"more than that", 1032001, 29744, 1032001},
              {"the clock was set back", 500000, 39744, 500000},
              {"and that is followed", 510300, 49744, 510000}};
  for (const auto& row : rows) {
    nowMs = row.nowMs;
    EXPECT_EQ(begins.next(row.mediaMs), row.beginMs) << row.why;
  }
}

TEST(RecordingBegins, HaveANumberWhereThereIsOneAlready) {
  const test::TempDirectory folder;
  const std::string path = folder.path().string();
  EXPECT_EQ(freeRecordingPath(path, 0), path + "/19700101T000000.000Z");
  std::filesystem::create_directory(path + "/19700101T000000.000Z");
  test::writeWholeFile(path + "/19700101T000000.000Z-2", "");
  EXPECT_EQ(freeRecordingPath(path, 0), path + "/19700101T000000.000Z-3");
}

TEST(Backlog, BeginsWithWhatCanBeDecoded) {
  using Messages = std::vector<test::StreamMessage>;
  const auto sound = [](std::uint32_t timeMs) { return test::aacFrame(timeMs, 10, timeMs); };
  const auto picture = [](std::uint32_t timeMs, bool key) { return test::avcFrame(timeMs, key, 10, timeMs); };
  const Messages headers = {test::metadata(0), test::avcSequenceHeader(0), test::aacSequenceHeader(0)};
  const std::tuple<const char*, Messages, std::optional<std::uint32_t>, std::size_t> rows[] = {
      {"a key frame", headers + Messages{sound(0), picture(0, false), sound(20), picture(40, true), sound(41)}, 40, 3},
      {"sound whose pictures come late", Messages{headers[0], headers[2], sound(0), headers[1], picture(900, true)},
       900, 1},
      {"sound alone", Messages{headers[0], headers[2], sound(5), sound(600), sound(1006)}, 5, 0},
      {"a little sound alone", Messages{headers[2], sound(5)}, 5, 0},
      {"no key frame", headers + Messages{picture(0, false), picture(40, false)}, std::nullopt, 2}};
  for (const auto& [why, messages, beginMs, dropped] : rows) {
    Backlog backlog(std::make_unique<test::ListInput>(messages));
    EXPECT_EQ(backlog.awaitBegin(), beginMs) << why;
    EXPECT_EQ(backlog.beforeBegin().messages.messages, dropped) << why;
    const auto rest = test::readAll(backlog);
    EXPECT_EQ(rest.size(), messages.size() - dropped) << why;
    EXPECT_EQ(backlog.bytes(), 0U) << why;
  }
}

TEST(Backlog, DropsTheOldestUpToAKeyFrameAndKeepsTheHeaders) {
  const auto messages = test::av(1000).until(10000);
  Backlog backlog(std::make_unique<test::ListInput>(messages));
  backlog.awaitBegin();
  while (backlog.hold(30000)) EXPECT_LE(backlog.bytes(), 30000U);
  const auto kept = test::readAll(backlog);
  EXPECT_EQ(std::vector(kept.begin(), kept.begin() + 3), std::vector(messages.begin(), messages.begin() + 3));
  EXPECT_EQ(kept[3].data[0], std::byte{0x17});
  EXPECT_TRUE(std::equal(kept.begin() + 3, kept.end(), messages.end() - (std::ssize(kept) - 3)));
  EXPECT_EQ(backlog.overLimit().messages.messages, messages.size() - kept.size());
  EXPECT_EQ(backlog.overLimit().ms, kept[3].time);
}

}  // namespace
}  // namespace host::serve
