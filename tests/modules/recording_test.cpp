// Whole recordings through the module's entry: what stands in the small files after each decision.

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/module/loadModule.h"
#include "tests/modules/decoded.h"
#include "tests/support/Recorder.h"
#include "tests/support/hex.h"

namespace {

using namespace test;

/// The script data "onMetaData" of a stream of 640 by 360 pixels, AVC and AAC in stereo at 44100 Hz.
constexpr const char* kDescription =
    "02000a6f 6e4d6574 61446174 61080000 00000008 64757261 74696f6e 00000000 00000000 00000577 69647468 00408400 "
    "00000000 00000668 65696768 74004076 80000000 0000000c 76696465 6f636f64 65636964 02000448 32363400 0c617564 "
    "696f636f 64656369 64020004 6d703461 000a6176 6370726f 66696c65 00405900 00000000 00000861 76636c65 76656c00 "
    "403e0000 00000000 00066161 63616f74 00000000 00000000 00000e76 6964656f 6672616d 65726174 6500fff8 00000000 "
    "0000000f 61756469 6f73616d 706c6572 61746500 40e58880 00000000 000d6175 64696f63 68616e6e 656c7300 40000000 "
    "00000000 00097472 61636b69 6e666f0a 00000002 0300066c 656e6774 68000000 00000000 00000009 74696d65 7363616c "
    "6500408f 40000000 00000008 6c616e67 75616765 02000365 6e670000 09030006 6c656e67 74680000 00000000 00000000 "
    "0974696d 65736361 6c650040 8f400000 00000000 086c616e 67756167 65020003 656e6700 00090007 63757374 6465660a "
    "00000000 000009 ";

TEST(Recording, GoesFromItsFirstMessageToWholeFiles) {
  Recorder recorder(loadModule());
  ASSERT_TRUE(recorder.open());
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
  EXPECT_EQ(hex(recorder.content(".meta")), hex(fromHex(kDescription)));
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
    Recorder recorder(loadModule());
    ASSERT_TRUE(recorder.open());
    EXPECT_EQ(recorder.record(row.stream.until(row.until)), 0U) << row.why;
    recorder.stop();
    EXPECT_EQ(describeIndex(recorder.content("Seg1.k2i")), row.index) << row.why;
    EXPECT_EQ(describeBootstrap(recorder.content(".bootstrap")), row.bootstrap) << row.why;
    EXPECT_EQ(recorder.log(), "") << row.why;
  }
}

TEST(Recording, RollsOverWhenTheSegmentIsFull) {
  Recorder recorder(loadModule());
  recorder.host.settings["Recording/SegmentDuration"] = "8000";
  ASSERT_TRUE(recorder.open());
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
  Recorder recorder(loadModule());
  ASSERT_TRUE(recorder.open());
  recorder.record(stream().keyFramesEvery(2000).until(4001));
  recorder.record(avcFrame(24000, true, 300, 1));
  recorder.record(avcFrame(28000, true, 300, 2));
  recorder.stop();
  EXPECT_EQ(describeIndex(recorder.content("Seg1.k2i")),
            "1@0:written 2@4000:written 3@4000:none 4@4000:none 5@4000:none 6@4000:none 7@24000:written");
  const std::string basePath = modulePath(recorder.directory()) + "\\cam1";
  EXPECT_EQ(recorder.log(), "warning: Inserting safety gap before fragment 7 in stream " + basePath + "\n");
}

TEST(Recording, KeepsTheQueueWhereAFragmentHasNoKeyFrame) {
  Recorder recorder(loadModule());
  recorder.host.settings["Recording/FragmentDuration"] = "1000";
  ASSERT_TRUE(recorder.open());
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
