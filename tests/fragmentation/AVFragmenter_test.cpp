#include "fragmentation/AVFragmenter.h"

#include <gtest/gtest.h>

#include "tests/fragmentation/trace.h"

namespace {

using ruvo::k2r::AVFragmenter;
using ruvo::k2r::FragmentAction;
using ruvo::k2r::FragmentDecision;
using ruvo::k2r::SampleInfo;
using test::samples;

constexpr std::uint32_t kDuration = 4000;

// Each row leads into a state and then leaves it by one of its transitions.
TEST(AVFragmenter, FollowsEveryTransition) {
  const struct {
    const char* what;
    const char* stream;
    const char* lastDecision;
  } rows[] = {
      {"lead-in goes on", "1500 2000k 3999v", "none 0 [0,0) ->1"},
      {"lead-in, crossing key", "1500 5000k", "start 2 [5000,5000) ->4"},
      {"lead-in, crossing", "1500 4100", "none 0 [0,0) ->2"},
      {"awaiting, crossing", "1500 4100 8200 12300", "none 0 [0,0) ->2"},
      {"awaiting, key in the slot", "1500 4100 5000k", "start 2 [5000,5000) ->4"},
      {"awaiting, key slots later", "1500 4100 13000k", "start 4 [13000,13000) ->4"},
      {"open, key in the slot", "0k 1000k", "none 0 [0,0) ->4"},
      {"open, crossing", "0k 4500v", "none 0 [0,0) ->3"},
      {"open, crossing by slots", "0k 9000k", "write 1 [0,9000) ->4"},
      {"slot over, same slot", "0k 4500v 5000v", "none 0 [0,0) ->3"},
      {"slot over, key", "0k 4500v 5000v 5500k", "write 1 [0,5500) ->4"},
      {"slot over, crossing", "0k 4500v 8500v", "hold 1 [0,4000) ->6"},
      {"slot over, crossing key", "0k 4500v 8500k", "hold 1 [0,4000) ->7"},
      {"held, key", "0k 4500v 8500v 9000k", "flush 2 [4000,9000) ->4"},
      {"held, crossing", "0k 4500v 8500v 12500v", "skip 2 [4000,8000) ->6"},
      {"held, crossing by slots", "0k 4500v 20500v 24500v 32500v", "skip 3 [8000,24000) ->6"},
      {"held, crossing key", "0k 4500v 8500v 12500k", "skip 2 [4000,8000) ->7"},
      {"held then key, another key", "0k 4500v 8500k 9000k", "none 0 [0,0) ->7"},
      {"held then key, crossing", "0k 4500v 8500k 12500v", "flush 2 [4000,8000) ->8"},
      {"held then key, crossing key", "0k 4500v 8500k 12500k", "flush 2 [4000,8000) ->5"},
      {"open behind, key in the slot", "0k 4500v 8500k 12500k 13000k", "none 0 [0,0) ->5"},
      {"open behind, crossing key", "0k 4500v 8500k 12500k 16500k", "write 3 [8000,12000) ->5"},
      {"open behind, crossing", "0k 4500v 8500k 12500k 16500v", "none 0 [0,0) ->3"},
      {"flushed, key", "0k 4500v 8500k 12500v 13000k", "write 3 [8000,13000) ->4"},
      {"flushed, crossing", "0k 4500v 8500k 12500v 16500v", "hold 3 [8000,12000) ->6"},
      {"flushed, crossing key", "0k 4500v 8500k 12500v 16500k", "hold 3 [8000,12000) ->7"},
  };
  for (const auto& row : rows) {
    AVFragmenter fragmenter(kDuration, true);
    FragmentDecision last;
    for (const SampleInfo& sample : samples(row.stream)) last = fragmenter.addSample(sample);
    EXPECT_EQ(test::describe(last), row.lastDecision) << row.what;
    EXPECT_EQ(static_cast<std::uint32_t>(fragmenter.state()), last.range.nextState) << row.what;
  }
}

TEST(AVFragmenter, CutsStreamsOnTheGrid) {
  const struct {
    const char* what;
    std::uint32_t duration;
    bool dropsLeadIn;
    const char* stream;
    const char* decisions;
  } rows[] = {
      {"key frames every one and a half slots", kDuration, true, "0k 4000v 6000k 8000v 12000k 16000v 18000k",
       "6000 write 1 [0,6000) ->4\n12000 hold 2 [6000,8000) ->7\n16000 flush 3 [8000,12000) ->8\n"
       "18000 write 4 [12000,18000) ->4\n"},
      {"key frames every two and a half slots", kDuration, true, "0k 4000v 8000v 10000k 12000v 16000v 20000k",
       "8000 hold 1 [0,4000) ->6\n10000 flush 2 [4000,10000) ->4\n16000 hold 3 [10000,12000) ->6\n"
       "20000 skip 4 [12000,16000) ->7\n"},
      {"key frames every two slots settle into a cycle", kDuration, true, "0k 4000v 8000k 12000v 16000k 20000v 24000k",
       "8000 hold 1 [0,4000) ->7\n12000 flush 2 [4000,8000) ->8\n16000 hold 3 [8000,12000) ->7\n"
       "20000 flush 4 [12000,16000) ->8\n24000 hold 5 [16000,20000) ->7\n"},
      {"samples at the start of a fragment close nothing", kDuration, true, "0k 4000k 4000v 4000k 8000k",
       "4000 write 1 [0,4000) ->4\n8000 write 2 [4000,8000) ->4\n"},
      {"a key frame follows its grid line at the same time", kDuration, true, "0k 4000 4000k",
       "4000 write 1 [0,4000) ->4\n"},
      {"nothing is dropped before a key frame at the first time", kDuration, true, "0 0k 4000k",
       "4000 write 1 [0,4000) ->4\n"},
      {"the lead-in is kept on request", kDuration, false, "1500 4500k 8000k", "8000 write 2 [4500,8000) ->4\n"},
      {"it is kept from the grid line on", kDuration, false, "1500 4500 5000k 8000k", "8000 write 2 [4000,8000) ->4\n"},
      {"the end of the clock", 0xF0000000, true, "0k 4294967295k", "4294967295 write 1 [0,4294967295) ->4\n"},
      {"as many fragments as there are", 1, true, "4294967294k 4294967295k",
       "4294967295 write 4294967295 [4294967294,4294967295) ->4\n"},
  };
  for (const auto& row : rows) {
    AVFragmenter fragmenter(row.duration, row.dropsLeadIn);
    EXPECT_EQ(test::trace(fragmenter, samples(row.stream)), row.decisions) << row.what;
  }
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

}  // namespace
