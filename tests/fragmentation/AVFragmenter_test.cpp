#include "fragmentation/AVFragmenter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/fragmentation/trace.h"

namespace {

using ruvo::k2r::AVFragmenter;
using ruvo::k2r::FragmentAction;
using ruvo::k2r::FragmentDecision;
using ruvo::k2r::SampleInfo;
using State = AVFragmenter::State;
using test::samples;
using test::video;

constexpr std::uint32_t kDuration = 4000;

TEST(AVFragmenter, CutsRegularStreams) {
  const struct {
    const char* what;
    std::vector<SampleInfo> stream;
    const char* decisions;
  } rows[] = {
      {"key frames denser than the grid", video(0, 8001, 500, 2000),
       "4000 write 1 [0,4000) ->4\n"
       "8000 write 2 [4000,8000) ->4\n"},
      {"a lead-in is dropped", video(1500, 8001, 500, 2000),
       "4000 start 2 [4000,4000) ->4\n"
       "8000 write 2 [4000,8000) ->4\n"},
      {"key frames every one and a half slots", video(0, 18001, 1000, 6000),
       "6000 write 1 [0,6000) ->4\n"
       "12000 hold 2 [6000,8000) ->7\n"
       "16000 flush 3 [8000,12000) ->8\n"
       "18000 write 4 [12000,18000) ->4\n"},
      {"key frames every two and a half slots", video(0, 20001, 1000, 10000),
       "8000 hold 1 [0,4000) ->6\n"
       "10000 flush 2 [4000,10000) ->4\n"
       "16000 hold 3 [10000,12000) ->6\n"
       "20000 skip 4 [12000,16000) ->7\n"},
      {"key frames every two slots settle into a cycle", video(0, 28001, 1000, 8000),
       "8000 hold 1 [0,4000) ->7\n"
       "12000 flush 2 [4000,8000) ->8\n"
       "16000 hold 3 [8000,12000) ->7\n"
       "20000 flush 4 [12000,16000) ->8\n"
       "24000 hold 5 [16000,20000) ->7\n"
       "28000 flush 6 [20000,24000) ->8\n"},
      {"no key frame at all", video(1000, 100000, 1000, 1000000), ""},
  };
  for (const auto& row : rows) {
    AVFragmenter fragmenter(kDuration, true);
    EXPECT_EQ(test::trace(fragmenter, row.stream), row.decisions) << row.what;
  }
}

// Each row leads into a state and then leaves it by one of its transitions.
TEST(AVFragmenter, FollowsEveryTransition) {
  const struct {
    const char* what;
    const char* stream;
    const char* decisions;
    State end;
  } rows[] = {
      {"lead-in goes on", "1500 2000k 3999v", "", State::kLeadIn},
      {"lead-in, crossing key", "1500 5000k", "5000 start 2 [5000,5000) ->4\n", State::kOpen},
      {"lead-in, crossing", "1500 4100 8200 12300", "", State::kAwaitingKey},
      {"awaiting, key in the slot", "1500 4100 5000k", "5000 start 2 [5000,5000) ->4\n", State::kOpen},
      {"awaiting, key slots later", "1500 4100 13000k", "13000 start 4 [13000,13000) ->4\n", State::kOpen},
      {"open, key in the slot", "0k 1000k", "", State::kOpen},
      {"open, crossing", "0k 4500v", "", State::kSlotOver},
      {"open, crossing by slots", "0k 9000k", "9000 write 1 [0,9000) ->4\n", State::kOpen},
      {"slot over, same slot", "0k 4500v 5000v", "", State::kSlotOver},
      {"slot over, key", "0k 4500v 5000k", "5000 write 1 [0,5000) ->4\n", State::kOpen},
      {"slot over, crossing", "0k 4500v 8500v", "8500 hold 1 [0,4000) ->6\n", State::kHeld},
      {"slot over, crossing key", "0k 4500v 8500k", "8500 hold 1 [0,4000) ->7\n", State::kHeldThenKey},
      {"held, key", "0k 4500v 8500v 9000k", "8500 hold 1 [0,4000) ->6\n9000 flush 2 [4000,9000) ->4\n", State::kOpen},
      {"held, crossing", "0k 4500v 8500v 12500v", "8500 hold 1 [0,4000) ->6\n12500 skip 2 [4000,8000) ->6\n",
       State::kHeld},
      {"held, crossing key", "0k 4500v 8500v 12500k", "8500 hold 1 [0,4000) ->6\n12500 skip 2 [4000,8000) ->7\n",
       State::kHeldThenKey},
      {"held then key, another key", "0k 4500v 8500k 9000k", "8500 hold 1 [0,4000) ->7\n", State::kHeldThenKey},
      {"held then key, crossing", "0k 4500v 8500k 12500v", "8500 hold 1 [0,4000) ->7\n12500 flush 2 [4000,8000) ->8\n",
       State::kFlushed},
      {"held then key, crossing key", "0k 4500v 8500k 12500k",
       "8500 hold 1 [0,4000) ->7\n12500 flush 2 [4000,8000) ->5\n", State::kOpenBehind},
      {"open behind, key in the slot", "0k 4500v 8500k 12500k 13000k",
       "8500 hold 1 [0,4000) ->7\n12500 flush 2 [4000,8000) ->5\n", State::kOpenBehind},
      {"open behind, crossing key", "0k 4500v 8500k 12500k 16500k",
       "8500 hold 1 [0,4000) ->7\n12500 flush 2 [4000,8000) ->5\n16500 write 3 [8000,12000) ->5\n", State::kOpenBehind},
      {"open behind, crossing", "0k 4500v 8500k 12500k 16500v",
       "8500 hold 1 [0,4000) ->7\n12500 flush 2 [4000,8000) ->5\n", State::kSlotOver},
      {"flushed, key", "0k 4500v 8500k 12500v 13000k",
       "8500 hold 1 [0,4000) ->7\n12500 flush 2 [4000,8000) ->8\n13000 write 3 [8000,13000) ->4\n", State::kOpen},
      {"flushed, crossing", "0k 4500v 8500k 12500v 16500v",
       "8500 hold 1 [0,4000) ->7\n12500 flush 2 [4000,8000) ->8\n16500 hold 3 [8000,12000) ->6\n", State::kHeld},
      {"flushed, crossing key", "0k 4500v 8500k 12500v 16500k",
       "8500 hold 1 [0,4000) ->7\n12500 flush 2 [4000,8000) ->8\n16500 hold 3 [8000,12000) ->7\n", State::kHeldThenKey},
  };
  for (const auto& row : rows) {
    AVFragmenter fragmenter(kDuration, true);
    EXPECT_EQ(test::trace(fragmenter, samples(row.stream)), row.decisions) << row.what;
    EXPECT_EQ(fragmenter.state(), row.end) << row.what;
  }
}

TEST(AVFragmenter, SamplesAtTheStartOfAFragmentCloseNothing) {
  AVFragmenter fragmenter(kDuration, true);
  EXPECT_EQ(test::trace(fragmenter, samples("0k 4000k 4000v 4000k 8000k")),
            "4000 write 1 [0,4000) ->4\n8000 write 2 [4000,8000) ->4\n");
}

TEST(AVFragmenter, KeyFrameMayFollowItsGridLineAtTheSameTime) {
  AVFragmenter fragmenter(kDuration, true);
  EXPECT_EQ(test::trace(fragmenter, samples("0k 4000 4000k")), "4000 write 1 [0,4000) ->4\n");
}

TEST(AVFragmenter, NothingIsDroppedWhereTheKeyFrameComesAtTheFirstTime) {
  AVFragmenter fragmenter(kDuration, true);
  EXPECT_EQ(test::trace(fragmenter, samples("0 0k")), "");
  EXPECT_EQ(fragmenter.state(), State::kOpen);
  EXPECT_EQ(test::trace(fragmenter, samples("4000k")), "4000 write 1 [0,4000) ->4\n");
}

TEST(AVFragmenter, KeepsTheLeadInOnRequest) {
  AVFragmenter crossing(kDuration, false);
  EXPECT_EQ(test::trace(crossing, samples("1500 4500k 8000k")), "8000 write 2 [4500,8000) ->4\n");
  AVFragmenter waiting(kDuration, false);
  EXPECT_EQ(test::trace(waiting, samples("1500 4500 5000k 8000k")), "8000 write 2 [4000,8000) ->4\n");
}

TEST(AVFragmenter, TellsItsCourseInEveryDecision) {
  AVFragmenter fragmenter(kDuration, true);
  const struct {
    const char* sample;
    FragmentDecision expected;
  } rows[] = {
      {"0k", {FragmentAction::None, {0, 0, 0, 1, 0, 4}}},
      {"1000v", {FragmentAction::None, {0, 0, 0, 1, 1, 4}}},
      {"9000v", {FragmentAction::None, {0, 0, 0, 3, 1, 3}}},
      {"10000k", {FragmentAction::WriteFragment, {1, 0, 10000, 3, 3, 4}}},
      {"21000k", {FragmentAction::WriteFragment, {3, 10000, 21000, 6, 3, 4}}},
  };
  for (const auto& row : rows) EXPECT_EQ(fragmenter.addSample(samples(row.sample).front()), row.expected) << row.sample;
}

TEST(AVFragmenter, EndOfStreamClosesWhatIsOpenAndChangesNothing) {
  const struct {
    const char* stream;
    const char* decision;
  } rows[] = {
      {"", "none 0 [0,0) ->0"},
      {"1500", "skip 1 [0,20001) ->4294967295"},
      {"1500 4500", "skip 2 [4000,20001) ->4294967295"},
      {"0k 4500v", "write 1 [0,20001) ->4294967295"},
      {"0k", "write 1 [0,20001) ->4294967295"},
      {"0k 4500v 8500k 12500k", "none 0 [0,0) ->0"},
      {"0k 4500v 8500v", "flush 2 [4000,20001) ->4294967295"},
      {"0k 4500v 8500k", "flush 2 [4000,20001) ->4294967295"},
      {"0k 4500v 8500k 12500v", "write 3 [8000,20001) ->4294967295"},
  };
  for (const auto& row : rows) {
    AVFragmenter fragmenter(kDuration, true);
    test::trace(fragmenter, samples(row.stream));
    const SampleInfo last = samples("20000v").front();
    EXPECT_EQ(test::describe(fragmenter.endOfStream(last)), row.decision) << row.stream;
    EXPECT_EQ(test::describe(fragmenter.endOfStream(last)), row.decision) << row.stream << ", asked again";
  }
}

TEST(AVFragmenter, CountsInSixtyFourBitsAtTheEndOfTheClock) {
  AVFragmenter fragmenter(0xF0000000, true);
  EXPECT_EQ(test::trace(fragmenter, samples("0k 4294967295k")), "4294967295 write 1 [0,4294967295) ->4\n");
  AVFragmenter fine(1, true);
  EXPECT_EQ(test::trace(fine, samples("4294967294k 4294967295k")),
            "4294967295 write 4294967295 [4294967294,4294967295) ->4\n");
}

}  // namespace
