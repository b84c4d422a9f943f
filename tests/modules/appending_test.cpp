// Continuing a recording that was stopped or cut off.

#include <gtest/gtest.h>

#include "tests/modules/OpenRecorder.h"
#include "tests/modules/decoded.h"

namespace {

using namespace test;

constexpr std::uint32_t kAppend = kOpenRecord | kOpenAppend;

/// Two seconds of lead-in before the grid, then whole fragments.
std::vector<StreamMessage> laterPart(std::uint32_t from, std::uint32_t until) {
  return stream().keyFramesEvery(2000).audio(23).withoutHeaders().from(from).until(until);
}

TEST(Appending, GoesOnWhereTheIndexEnds) {
  for (const bool stopped : {true, false}) {
    SCOPED_TRACE(stopped ? "stopped" : "cut off");
    OpenRecorder recorder(stream().keyFramesEvery(2000).audio(23).until(8001));
    if (stopped) recorder.stop();
    recorder.close();
    const std::string before = recorder.content("Seg1.k2r");

    ASSERT_TRUE(recorder.open(kAppend)) << recorder.log();
    EXPECT_EQ(describeBootstrap(recorder.content(".bootstrap")), "1x2 | 1@0+4000") << "no end is marked any more";
    EXPECT_EQ(recorder.record(laterPart(18000, 28001)), 0U);
    recorder.stop();
    EXPECT_EQ(describeIndex(recorder.content("Seg1.k2i")),
              "1@0:written 2@4000:written 3@20000:none 4@20000:none 5@20000:none 6@20000:written 7@24000:written");
    EXPECT_EQ(describeBootstrap(recorder.content(".bootstrap")), "1x7 | 1@0+4000 3@0!2 6@20000+4000 0@0!0");
    EXPECT_EQ(recorder.adaptor().getDuration(recorder.handle()), 28000U);
    EXPECT_EQ(recorder.log(), "");
    // The table at the old end is the only thing that may go.
    const std::string kept = stopped ? before.substr(0, before.find("mfra") - 4) : before;
    EXPECT_TRUE(recorder.content("Seg1.k2r").starts_with(kept));
  }
}

TEST(Appending, BeginsAnewWithoutABootstrap) {
  OpenRecorder recorder(stream().keyFramesEvery(2000).until(3000));
  recorder.close();
  ASSERT_TRUE(recorder.open(kAppend));
  EXPECT_EQ(recorder.files(), "");
}

TEST(Appending, HoldsTheStreamToItsTracks) {
  OpenRecorder recorder(stream().keyFramesEvery(2000).until(4001));
  recorder.stop();
  recorder.close();
  ASSERT_TRUE(recorder.open(kAppend));
  EXPECT_FALSE(recorder.record(aacSequenceHeader(8000)));
  EXPECT_FALSE(recorder.record({9, 8000, {std::byte{0x14}, std::byte{0}, std::byte{1}}}));
  EXPECT_TRUE(recorder.record(avcSequenceHeader(8000)));
  EXPECT_EQ(recorder.log(), "error: Track not found.\nerror: Invalid codec.\n");
}

TEST(Appending, RefusesDamagedFiles) {
  const std::string noBox("\0\0\0\x10xxxx\0\0\0\0\0\0\0\0", 16);
  const struct {
    const char* why;
    const char* file;
    std::string content;
    const char* log;
  } rows[] = {{"no bootstrap box", ".bootstrap", noBox, "error: Could not parse bootstrap info\n"},
              {"an empty bootstrap", ".bootstrap", "", "error: Unknown Error in initAppend()\n"},
              {"no index box", "Seg1.k2i", noBox, "error: Could not parse afra index\n"},
              {"an empty index", "Seg1.k2i", "", "error: Unknown Error in initAppend()\n"},
              {"no segment", "Seg1.k2r", "", "error: \n"}};
  for (const auto& row : rows) {
    OpenRecorder recorder(stream().keyFramesEvery(2000).until(4001));
    recorder.stop();
    recorder.close();
    writeWholeFile(recorder.file(row.file), row.content);
    EXPECT_FALSE(recorder.open(kAppend)) << row.why;
    EXPECT_EQ(recorder.log(), row.log) << row.why;
    EXPECT_EQ(recorder.content(row.file), row.content) << "the file is as it was";
  }
}

TEST(Appending, RefusesAClockThatBeganAnew) {
  OpenRecorder recorder(stream().keyFramesEvery(2000).until(12001));
  recorder.stop();
  recorder.close();
  const std::string index = recorder.content("Seg1.k2i");
  ASSERT_TRUE(recorder.open(kAppend));
  EXPECT_EQ(recorder.record(stream().keyFramesEvery(2000).withoutHeaders().until(4001)), 1U);
  EXPECT_EQ(recorder.log(), "error: afra index is corrupt, failing the record\n");
  EXPECT_EQ(recorder.content("Seg1.k2i"), index);
}

}  // namespace
