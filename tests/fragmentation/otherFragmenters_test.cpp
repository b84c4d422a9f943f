#include <gtest/gtest.h>

#include "fragmentation/FragmenterChoice.h"
#include "tests/fragmentation/trace.h"

namespace {

using ruvo::k2r::AudioFragmenter;
using ruvo::k2r::DualFragmenter;
using ruvo::k2r::Fragmenter;
using ruvo::k2r::FragmenterChoice;
using ruvo::k2r::SampleInfo;
using ruvo::k2r::SampleKind;
using test::samples;

constexpr std::uint32_t kDuration = 4000;

TEST(SampleInfo, IsReadFromAMessage) {
  const struct {
    std::uint8_t type;
    int firstByte;
    SampleKind kind;
    bool keyFrame;
  } rows[] = {{8, 0x17, SampleKind::Audio, false}, {0x28, 0xAF, SampleKind::Audio, false},
              {9, 0x17, SampleKind::Video, true},  {0x29, 0x12, SampleKind::Video, true},
              {9, 0x27, SampleKind::Video, false}, {9, 0x97, SampleKind::Video, false},
              {9, -1, SampleKind::Video, false},   {18, 0x17, SampleKind::Data, false},
              {15, 0x17, SampleKind::Data, false}, {0xA9, 0x10, SampleKind::Video, true}};
  for (const auto& row : rows) {
    const std::byte payload[] = {static_cast<std::byte>(row.firstByte)};
    const auto size = row.firstByte < 0 ? 0U : 1U;
    const auto sample = SampleInfo::ofMessage(row.type, std::span(payload, size), 77);
    EXPECT_EQ(sample.kind, row.kind) << int{row.type};
    EXPECT_EQ(sample.keyFrame, row.keyFrame) << int{row.type};
    EXPECT_EQ(sample.time, 77U);
  }
}

TEST(AudioFragmenter, CutsAtTheFirstSampleOfALaterSlot) {
  const struct {
    const char* what;
    bool dropsLeadIn;
    const char* stream;
    const char* decisions;
  } rows[] = {
      {"from a grid line", true, "0 2000 4010 7999d 8000", "4010 write 1 [0,4010) ->0\n8000 write 2 [4010,8000) ->0\n"},
      {"a lead-in is dropped", true, "1500 3000 4000 6000 8000",
       "4000 start 1 [1500,4000) ->0\n8000 write 2 [4000,8000) ->0\n"},
      {"a lead-in is kept on request", false, "1500 4000 8000", "8000 write 2 [4000,8000) ->0\n"},
      {"a gap has no decisions of its own", true, "0 4000 24000 24500 28000",
       "4000 write 1 [0,4000) ->0\n24000 write 2 [4000,24000) ->0\n28000 write 7 [24000,28000) ->0\n"},
      {"video is turned away", true, "0 1000k 4000v 4000",
       "1000 drop 0 [0,0) ->0\n4000 drop 0 [0,0) ->0\n"
       "4000 write 1 [0,4000) ->0\n"},
  };
  for (const auto& row : rows) {
    AudioFragmenter fragmenter(kDuration, row.dropsLeadIn);
    EXPECT_EQ(test::trace(fragmenter, samples(row.stream)), row.decisions) << row.what;
  }
}

TEST(AudioFragmenter, TellsTheNumbersOnBothSidesOfAGap) {
  AudioFragmenter fragmenter(kDuration, true);
  EXPECT_EQ(fragmenter.addSample(samples("0").front()), ruvo::k2r::FragmentDecision{});
  const auto range = fragmenter.addSample(samples("20000").front()).range;
  EXPECT_EQ(range.previousNumber, 1U);
  EXPECT_EQ(range.nextNumber, 6U);
}

TEST(AudioFragmenter, EndOfStreamEndsAtTheLastSample) {
  AudioFragmenter fragmenter(kDuration, true);
  EXPECT_EQ(test::describe(fragmenter.endOfStream(samples("900").front())), "write 1 [0,900) ->0");
  test::trace(fragmenter, samples("0 4100"));
  EXPECT_EQ(test::describe(fragmenter.endOfStream(samples("5000").front())), "write 2 [4100,5000) ->0");
}

TEST(DualFragmenter, BecomesWhatTheStreamShows) {
  const struct {
    const char* what;
    const char* stream;
    const char* decisions;
  } rows[] = {
      {"audio until a fragment is complete", "0 2000 4000 5000k 8000",
       "4000 write 1 [0,4000) ->0\n5000 drop 0 [0,0) ->0\n8000 write 2 [4000,8000) ->0\n"},
      {"video after audio drops the lead-in", "0 1000 3000k 4000k",
       "3000 start 1 [3000,3000) ->4\n4000 write 1 [3000,4000) ->4\n"},
      {"video from the start", "0 0k 2000 4000k", "4000 write 1 [0,4000) ->4\n"},
      {"an audio lead-in binds nothing", "1500 4000 5000k 8000k",
       "4000 start 1 [1500,4000) ->0\n5000 start 2 [5000,5000) ->4\n8000 write 2 [5000,8000) ->4\n"},
      {"audio goes to the video machine", "0k 4000 6000k", "6000 write 1 [0,6000) ->4\n"},
  };
  for (const auto& row : rows) {
    DualFragmenter fragmenter(kDuration, true);
    EXPECT_EQ(test::trace(fragmenter, samples(row.stream)), row.decisions) << row.what;
  }
}

TEST(DualFragmenter, EndOfStreamDecidesForGood) {
  DualFragmenter asVideo(kDuration, true);
  test::trace(asVideo, samples("0 1000"));
  EXPECT_EQ(test::describe(asVideo.endOfStream(samples("2000v").front())), "skip 1 [0,2001) ->4294967295");
  EXPECT_EQ(test::trace(asVideo, samples("4000")), "");

  DualFragmenter asAudio(kDuration, true);
  test::trace(asAudio, samples("0 1000"));
  EXPECT_EQ(test::describe(asAudio.endOfStream(samples("2000").front())), "write 1 [0,2000) ->0");
  EXPECT_EQ(test::trace(asAudio, samples("3000k")), "3000 drop 0 [0,0) ->0\n");
}

TEST(FragmenterChoice, GivesEachRecordingItsClass) {
  FragmenterChoice choice;
  EXPECT_EQ(choice.get(), nullptr);
  choice.makeForNew(kDuration);
  EXPECT_NE(dynamic_cast<DualFragmenter*>(choice.get()), nullptr);
  choice.makeForAppend(kDuration, true);
  EXPECT_EQ(test::trace(*choice.get(), samples("1500 4000k 8000k")),
            "4000 start 2 [4000,4000) ->4\n8000 write 2 [4000,8000) ->4\n");
  choice.makeForAppend(kDuration, false);
  EXPECT_EQ(test::trace(*choice.get(), samples("1500k 1500 4000")),
            "1500 drop 0 [0,0) ->0\n4000 start 1 [1500,4000) ->0\n");
}

}  // namespace
