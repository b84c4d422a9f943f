// Whole recordings through the module's entry: what stands in the small files after each decision.

#include <gtest/gtest.h>

#include <span>

#include "tests/modules/OpenRecorder.h"
#include "tests/modules/decoded.h"
#include "tests/support/ScriptCodec.h"
#include "tests/support/hex.h"

namespace {

using namespace test;

TEST(Recording, GoesFromItsFirstMessageToWholeFiles) {
  OpenRecorder recorder;
  EXPECT_EQ(recorder.files(), "");
  EXPECT_EQ(recorder.record(stream().keyFramesEvery(2000).audio(23).until(4000)), 0U);
  EXPECT_EQ(recorder.files(), "cam1.control") << "no fragment is complete yet";
  EXPECT_EQ(recorder.adaptor().getDuration(recorder.handle()), 0U);

  EXPECT_TRUE(recorder.record(avcFrame(4000, true, 300, 1)));
  EXPECT_EQ(recorder.files(), "cam1.bootstrap cam1.control cam1.meta cam1Seg1.k2i cam1Seg1.k2r");
  EXPECT_EQ(recorder.adaptor().getDuration(recorder.handle()), 4000U);
  EXPECT_EQ(hex(recorder.content(".control")), "00000000");
  EXPECT_EQ(hex(recorder.content(".bootstrap")),
            "0000006a 61627374 00000000 00000001 20000003 e8000000 0000000f a0000000 00000000 00000000 00000100 "
            "00001961 73727400 00000000 00000001 00000001 00000001 01000000 25616672 74000000 00000003 e8000000 "
            "00010000 00010000 00000000 00000000 0fa0");
  const std::string meta = recorder.content(".meta");
  EXPECT_TRUE(
      dumpOf(readScript(std::as_bytes(std::span(meta))).at(1))
          .starts_with(" kArrayType ( duration= kNumberType 0, width= kNumberType 640, height= kNumberType 360, "
                       "videocodecid= kStringType \"H264\", audiocodecid= kStringType \"mp4a\","))
      << hex(meta);
  EXPECT_EQ(recorder.content("Seg1.k2i").size(), 57U);
  EXPECT_EQ(describeIndex(recorder.content("Seg1.k2i")), "1@0:written");
  EXPECT_EQ(recorder.log(), "");
}

TEST(Recording, IsCutByItsKeyFrames) {
  const struct {
    const char* why;
    StreamBuilder stream;
    std::uint32_t until;
    const char* index;
    const char* bootstrap;
  } rows[] = {
      {"key frames on the grid", stream().keyFramesEvery(2000), 12001, "1@0:written 2@4000:written 3@8000:written",
       "1x3 | 1@0+4000 0@0!0"},
      {"audio alone", stream().audio(20), 12001, "1@0:written 2@4000:written 3@8000:written", "1x3 | 1@0+4000 0@0!0"},
      {"lead-in before the first grid line", stream().keyFramesEvery(500).framesEvery(50).from(1500), 8001,
       "1@0:none 2@4000:written", "1x1 | 2@4000+4000 0@0!0"},
      {"key frames rarer than the grid", stream().keyFramesEvery(10000), 24001,
       "1@0:written 2@4000:none 3@10000:written 4@12000:none 5@16000:none",
       "1x5 | 1@0+4000 2@4000!1 3@10000+2000 4@12000!1 0@0!0"},
      {"a held fragment at the end is taken back", stream().keyFramesEvery(10000), 18001, "1@0:written 2@4000:none",
       "1x3 | 1@0+4000 2@4000!1 0@0!0"}};
  for (const auto& row : rows) {
    OpenRecorder recorder;
    EXPECT_EQ(recorder.record(row.stream.until(row.until)), 0U) << row.why;
    recorder.stop();
    EXPECT_EQ(describeIndex(recorder.content("Seg1.k2i")), row.index) << row.why;
    EXPECT_EQ(describeBootstrap(recorder.content(".bootstrap")), row.bootstrap) << row.why;
    EXPECT_EQ(recorder.log(), "") << row.why;
  }
}

TEST(Recording, RollsOverWhenTheSegmentIsFull) {
  OpenRecorder recorder("Recording/SegmentDuration", "8000");
  recorder.record(stream().keyFramesEvery(2000).audio(23).until(12000));
  EXPECT_FALSE(recorder.has("Seg2.k2r"));
  recorder.record(avcFrame(12000, true, 300, 1));
  EXPECT_TRUE(recorder.has("Seg2.k2r")) << "the third fragment is the one that goes above 8000";
  EXPECT_FALSE(recorder.has("Seg2.k2i")) << "nothing is written into it yet";
  recorder.record(stream().keyFramesEvery(2000).audio(23).withoutHeaders().from(12040).until(20000));
  recorder.record(avcFrame(20000, true, 300, 2));
  recorder.stop();
  EXPECT_EQ(describeIndex(recorder.content("Seg1.k2i")), "1@0:written 2@4000:written 3@8000:written");
  EXPECT_EQ(describeIndex(recorder.content("Seg2.k2i")), "4@12000:written 5@16040:written");
  EXPECT_EQ(describeBootstrap(recorder.content(".bootstrap")), "1x3 2x2 | 1@0+4000 0@0!0");
  EXPECT_EQ(recorder.log(), "");
}

TEST(Recording, FillsAGapInItsNumbersWithOneWarning) {
  OpenRecorder recorder(stream().keyFramesEvery(2000).until(4001));
  recorder.record(avcFrame(24000, true, 300, 1));
  recorder.record(avcFrame(28000, true, 300, 2));
  recorder.stop();
  EXPECT_EQ(describeIndex(recorder.content("Seg1.k2i")),
            "1@0:written 2@4000:written 3@4000:none 4@4000:none 5@4000:none 6@4000:none 7@24000:written");
  const std::string basePath = modulePath(recorder.directory()) + "\\cam1";
  EXPECT_EQ(recorder.log(), "warning: Inserting safety gap before fragment 7 in stream " + basePath + "\n");
}

TEST(Recording, KeepsTheQueueWhereAFragmentHasNoKeyFrame) {
  OpenRecorder recorder("Recording/FragmentDuration", "1000");
  // Audio alone binds the audio machine at its first fragment; the video's machine never asks for a key frame then.
  recorder.record({metadata(0), avcSequenceHeader(0)});
  recorder.record(stream().audio(20).until(900));
  EXPECT_TRUE(recorder.record(avcFrame(900, false, 100, 1)));
  EXPECT_TRUE(recorder.record(avcFrame(1000, true, 100, 2)));
  EXPECT_TRUE(recorder.record(avcFrame(2000, true, 100, 3)));
  recorder.stop();
  EXPECT_EQ(recorder.log(), "");
  EXPECT_EQ(describeIndex(recorder.content("Seg1.k2i")), "1@0:none 2@1000:written");
}

}  // namespace
