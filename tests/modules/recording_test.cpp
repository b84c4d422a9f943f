// Whole recordings through the module's entry: what is in the small files after each decision.

#include <boost/algorithm/string/replace.hpp>
#include <initializer_list>

#include "tests/modules/OpenRecorder.h"
#include "tests/support/ScriptCodec.h"

namespace {

using namespace test;

TEST(Recording, GoesFromItsFirstMessageToWholeFiles) {
  OpenRecorder recorder;
  EXPECT_EQ(recorder.files(), "");
  EXPECT_EQ(recorder.record(video().audio(23).until(4000)), 0U);
  EXPECT_EQ(recorder.files(), "cam1.control") << "no fragment is complete yet";
  EXPECT_EQ(recorder.duration(), 0U);

  EXPECT_TRUE(recorder.record(avcFrame(4000, true, 300, 1)));
  EXPECT_EQ(recorder.files(), "cam1.bootstrap cam1.control cam1.meta cam1Seg1.k2i cam1Seg1.k2r");
  EXPECT_EQ(recorder.duration(), 4000U);
  EXPECT_EQ(hex(recorder.content(".control")), "00000000");
  EXPECT_EQ(recorder.bootstrap(), "1x1 | 1@0+4000");
  const std::string meta = recorder.content(".meta");
  EXPECT_TRUE(
      dumpOf(readScript(std::as_bytes(std::span(meta))).at(1))
          .starts_with(" kArrayType ( duration= kNumberType 0, width= kNumberType 640, height= kNumberType 360, "
                       "videocodecid= kStringType \"H264\", audiocodecid= kStringType \"mp4a\","))
      << hex(meta);
  EXPECT_EQ(recorder.content("Seg1.k2i").size(), 57U);
  EXPECT_EQ(recorder.index(), "1@0:written");
  EXPECT_EQ(recorder.log(), "");
}

using Messages = std::vector<StreamMessage>;

Messages framesAt(std::initializer_list<std::uint32_t> times, bool keyFrames = true) {
  Messages messages;
  for (const auto time : times) messages.push_back(avcFrame(time, keyFrames, 100, time));
  return messages;
}

TEST(Recording, IsCutByItsKeyFramesOnTheGrid) {
  const std::string lifted = "warning: Found backward timestamp while recording stream, adjusting time\n";
  constexpr std::uint32_t kLastLine = 4294964000U;
  const std::tuple<const char*, Messages, const char*, const char*, std::string> rows[] = {
      {"video that comes behind audio alone is dropped",
       Messages{metadata(0), avcSequenceHeader(0)} + stream().audio(20).until(4001) + framesAt({4100}), "1@0:written",
       "1x1 | 1@0+4000 end", ""},
      {"lead-in before the first grid line", stream().keyFramesEvery(500).framesEvery(50).from(1500).until(8001),
       "1@0:none 2@4000:written", "1x1 | 2@4000+4000 end", ""},
      {"key frames rarer than the grid", stream().keyFramesEvery(10000).until(24001),
       "1@0:written 2@4000:none 3@10000:written 4@12000:none 5@16000:none",
       "1x5 | 1@0+4000 2@4000!empty 3@10000+2000 4@12000!empty end", ""},
      {"a held fragment at the end is taken back", stream().keyFramesEvery(10000).until(18001),
       "1@0:written 2@4000:none", "1x3 | 1@0+4000 2@4000!empty end", ""},
      {"a gap in the numbers", video().until(4001) + framesAt({24000, 28000}),
       "1@0:written 2@4000:written 3@4000:none 4@4000:none 5@4000:none 6@4000:none 7@24000:written",
       "1x7 | 1@0+4000 2@4000+20000 3@0!jump 7@24000+4000 end",
       "warning: Inserting safety gap before fragment 7 in stream DIRECTORY\\cam1\n"},
      // Audio alone binds the audio machine at its first fragment; the video's machine never asks for a key frame then.
      {"a queue without a key frame is kept",
       Messages{metadata(0), avcSequenceHeader(0)} + stream().audio(20).until(3600) + framesAt({3600}, false) +
           framesAt({4000, 8000}),
       "1@0:none 2@4000:written", "1x1 | 2@4000+4000 end", ""},
      {"times that fall are lifted",
       stream().keyFramesEvery(4000).until(2001) + framesAt({2000, 1000, 1999}, false) + framesAt({4000}),
       "1@0:written", "1x1 | 1@0+4000 end", lifted + lifted},
      // The clock begins anew: counted from the base it continues, but the grid has no slot there.
      {"times beyond 32 bits", video().from(kLastLine - 4000).until(kLastLine) + framesAt({kLastLine, 100, 4100, 8100}),
       "1073741@4294960000:written", "1x1 | 1073741@4294960000+4000 end", ""}};
  for (const auto& [why, messages, index, bootstrap, log] : rows) {
    SCOPED_TRACE(why);
    OpenRecorder recorder(messages);
    recorder.stop();
    EXPECT_EQ(recorder.index(), index);
    EXPECT_EQ(recorder.bootstrap(), bootstrap);
    EXPECT_EQ(boost::replace_all_copy(recorder.log(), modulePath(recorder.directory()), "DIRECTORY"), log);
  }
}

TEST(Recording, RollsOverWhenTheSegmentIsFull) {
  OpenRecorder recorder("Recording/SegmentDuration", "8000");
  recorder.record(video().audio(23).until(12000));
  EXPECT_FALSE(recorder.has("Seg2.k2r"));
  recorder.record(avcFrame(12000, true, 300, 1));
  EXPECT_TRUE(recorder.has("Seg2.k2r")) << "the third fragment is the one that goes above 8000";
  EXPECT_FALSE(recorder.has("Seg2.k2i")) << "nothing is written into it yet";
  recorder.record(video().audio(23).withoutHeaders().from(12040).until(20000));
  recorder.record(avcFrame(20000, true, 300, 2));
  recorder.stop();
  EXPECT_EQ(recorder.index(), "1@0:written 2@4000:written 3@8000:written");
  EXPECT_EQ(recorder.index("Seg2"), "4@12000:written 5@16040:written");
  EXPECT_EQ(recorder.bootstrap(), "1x3 2x2 | 1@0+4000 end");
  EXPECT_EQ(recorder.log(), "");
}

}  // namespace
