#include <initializer_list>

#include "fragmentation/FragmenterChoice.h"
#include "tests/support/describe.h"
#include "tests/support/testing.h"

namespace {

using namespace ruvo::k2r;

constexpr std::uint32_t kDuration = 4000;

/// Samples in a line, "0k 1000 2000v 2500d": times with k for a key frame, v for another video sample, d for data and
/// nothing for audio.
std::vector<SampleInfo> samples(const std::string& text) {
  std::vector<SampleInfo> result;
  std::istringstream in(text);
  for (std::uint64_t time = 0; in >> time;) {
    SampleInfo sample{.kind = SampleKind::Audio, .time = time, .keyFrame = false};
    if (std::isalpha(in.peek()) != 0) {
      const int suffix = in.get();
      sample.kind = suffix == 'd' ? SampleKind::Data : SampleKind::Video;
      sample.keyFrame = suffix == 'k';
    }
    result.push_back(sample);
  }
  if (!in.eof()) throw std::invalid_argument("no samples: " + text);
  return result;
}

/// Every decision that is not None, a line each, after the time of its sample.
std::string trace(Fragmenter& fragmenter, const std::vector<SampleInfo>& stream) {
  std::ostringstream out;
  for (const auto& sample : stream) {
    const auto decision = fragmenter.addSample(sample);
    if (decision.action == FragmentAction::None) continue;
    out << sample.time << ' ' << test::describe(decision) << '\n';
  }
  return out.str();
}

/// The same of a new fragmenter.
template <typename Kind>
std::string traceOf(const char* stream, std::uint32_t duration = kDuration, bool dropsLeadIn = true) {
  Kind fragmenter(duration, dropsLeadIn);
  return trace(fragmenter, samples(stream));
}

/// What closes the open fragment after such a stream, with this last sample. To ask changes nothing.
template <typename Kind>
std::string endOf(const char* stream, const char* last) {
  Kind fragmenter(kDuration, true);
  trace(fragmenter, samples(stream));
  const SampleInfo sample = samples(last).front();
  const std::string decision = test::describe(fragmenter.endOfStream(sample));
  EXPECT_EQ(test::describe(fragmenter.endOfStream(sample)), decision) << stream << ", asked again";
  return decision;
}

/// What each course is, what is found of it, and what is expected.
void expectCourses(std::initializer_list<std::tuple<const char*, std::string, std::string>> rows) {
  for (const auto& [what, found, expected] : rows) EXPECT_EQ(found, expected) << what;
}

// Each row leads into a state and then leaves it by one of its transitions.
TEST(AVFragmenter, FollowsEveryTransition) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"lead-in goes on", "1500 2000k 3999v", "none ->leadIn"},
      {"lead-in, crossing key", "1500 5000k", "start 2 [5000,5000) ->open"},
      {"lead-in, crossing", "1500 4100", "none ->awaitingKey"},
      {"awaiting, crossing", "1500 4100 8200 12300", "none ->awaitingKey"},
      {"awaiting, key in the slot", "1500 4100 5000k", "start 2 [5000,5000) ->open"},
      {"awaiting, key slots later", "1500 4100 13000k", "start 4 [13000,13000) ->open"},
      {"open, key in the slot", "0k 1000k", "none ->open"},
      {"open, crossing", "0k 4500v", "none ->slotOver"},
      {"open, crossing by slots", "0k 9000k", "write 1 [0,9000) ->open"},
      {"slot over, same slot", "0k 4500v 5000v", "none ->slotOver"},
      {"slot over, key", "0k 4500v 5000v 5500k", "write 1 [0,5500) ->open"},
      {"slot over, crossing", "0k 4500v 8500v", "hold 1 [0,4000) ->held"},
      {"slot over, crossing key", "0k 4500v 8500k", "hold 1 [0,4000) ->heldThenKey"},
      {"held, key", "0k 4500v 8500v 9000k", "flush 2 [4000,9000) ->open"},
      {"held, crossing", "0k 4500v 8500v 12500v", "skip 2 [4000,8000) ->held"},
      {"held, crossing by slots", "0k 4500v 20500v 24500v 32500v", "skip 3 [8000,24000) ->held"},
      {"held, crossing key", "0k 4500v 8500v 12500k", "skip 2 [4000,8000) ->heldThenKey"},
      {"held then key, another key", "0k 4500v 8500k 9000k", "none ->heldThenKey"},
      {"held then key, crossing", "0k 4500v 8500k 12500v", "flush 2 [4000,8000) ->flushed"},
      {"held then key, crossing key", "0k 4500v 8500k 12500k", "flush 2 [4000,8000) ->openBehind"},
      {"open behind, key in the slot", "0k 4500v 8500k 12500k 13000k", "none ->openBehind"},
      {"open behind, crossing key", "0k 4500v 8500k 12500k 16500k", "write 3 [8000,12000) ->openBehind"},
      {"open behind, crossing", "0k 4500v 8500k 12500k 16500v", "none ->slotOver"},
      {"flushed, key", "0k 4500v 8500k 12500v 13000k", "write 3 [8000,13000) ->open"},
      {"flushed, crossing", "0k 4500v 8500k 12500v 16500v", "hold 3 [8000,12000) ->held"},
      {"flushed, crossing key", "0k 4500v 8500k 12500v 16500k", "hold 3 [8000,12000) ->heldThenKey"}};
  for (const auto& [what, stream, lastDecision] : rows) {
    AVFragmenter fragmenter(kDuration, true);
    FragmentDecision last;
    for (const SampleInfo& sample : samples(stream)) last = fragmenter.addSample(sample);
    EXPECT_EQ(test::describe(last), lastDecision) << what;
  }
}

TEST(AVFragmenter, CutsStreamsOnTheGrid) {
  expectCourses(
      {{"samples at the start of a fragment close nothing", traceOf<AVFragmenter>("0k 4000k 4000v 4000k 8000k"),
        "4000 write 1 [0,4000) ->open\n8000 write 2 [4000,8000) ->open\n"},
       {"a key frame follows its grid line at the same time", traceOf<AVFragmenter>("0k 4000 4000k"),
        "4000 write 1 [0,4000) ->open\n"},
       {"nothing is dropped before a key frame at the first time", traceOf<AVFragmenter>("0 0k 4000k"),
        "4000 write 1 [0,4000) ->open\n"},
       {"the lead-in is kept on request", traceOf<AVFragmenter>("1500 4500k 8000k", kDuration, false),
        "8000 write 2 [4500,8000) ->open\n"},
       {"it is kept from the grid line on", traceOf<AVFragmenter>("1500 4500 5000k 8000k", kDuration, false),
        "8000 write 2 [4000,8000) ->open\n"},
       {"the end of the clock", traceOf<AVFragmenter>("0k 4294967295k", 0xF0000000, true),
        "4294967295 write 1 [0,4294967295) ->open\n"},
       {"as many fragments as there are", traceOf<AVFragmenter>("4294967294k 4294967295k", 1, true),
        "4294967295 write 4294967295 [4294967294,4294967295) ->open\n"}});
}

TEST(AVFragmenter, EndOfStreamClosesWhatIsOpen) {
  const std::pair<const char*, const char*> rows[] = {{"", "none"},
                                                      {"1500", "skip 1 [0,20001) ->ended"},
                                                      {"1500 4500", "skip 2 [4000,20001) ->ended"},
                                                      {"0k 4500v", "write 1 [0,20001) ->ended"},
                                                      {"0k", "write 1 [0,20001) ->ended"},
                                                      {"0k 4500v 8500k 12500k", "none"},
                                                      {"0k 4500v 8500v", "flush 2 [4000,20001) ->ended"},
                                                      {"0k 4500v 8500k", "flush 2 [4000,20001) ->ended"},
                                                      {"0k 4500v 8500k 12500v", "write 3 [8000,20001) ->ended"}};
  for (const auto& [stream, decision] : rows) EXPECT_EQ(endOf<AVFragmenter>(stream, "20000v"), decision) << stream;
}

TEST(SampleInfo, IsReadFromAMessage) {
  const std::tuple<std::uint8_t, int, SampleKind, bool> rows[] = {
      {8, 0x17, SampleKind::Audio, false},   {0x28, 0xAF, SampleKind::Audio, false}, {9, 0x17, SampleKind::Video, true},
      {0x29, 0x12, SampleKind::Video, true}, {9, 0x97, SampleKind::Video, false},    {9, -1, SampleKind::Video, false},
      {18, 0x17, SampleKind::Data, false},   {15, 0x17, SampleKind::Data, false}};
  for (const auto& [type, firstByte, kind, keyFrame] : rows) {
    const std::byte payload[] = {static_cast<std::byte>(firstByte)};
    const auto size = firstByte < 0 ? 0U : 1U;
    const auto sample = SampleInfo::ofMessage(type, std::span(payload, size), 77);
    EXPECT_EQ(sample.kind, kind) << int{type};
    EXPECT_EQ(sample.keyFrame, keyFrame) << int{type};
    EXPECT_EQ(sample.time, 77U);
  }
}

TEST(AudioFragmenter, CutsAtTheFirstSampleOfALaterSlot) {
  expectCourses({{"from a grid line", traceOf<AudioFragmenter>("0 2000 4010 7999d 8000"),
                  "4010 write 1 [0,4010)\n8000 write 2 [4010,8000)\n"},
                 {"a lead-in is dropped", traceOf<AudioFragmenter>("1500 3000 4000 6000 8000"),
                  "4000 start 1 [1500,4000)\n8000 write 2 [4000,8000)\n"},
                 {"a lead-in is kept on request", traceOf<AudioFragmenter>("1500 4000 8000", kDuration, false),
                  "8000 write 2 [4000,8000)\n"},
                 {"a gap has no decisions of its own", traceOf<AudioFragmenter>("0 4000 24000 24500 28000"),
                  "4000 write 1 [0,4000)\n24000 write 2 [4000,24000)\n28000 write 7 [24000,28000)\n"},
                 {"video is turned away", traceOf<AudioFragmenter>("0 1000k 4000v 4000"),
                  "1000 drop\n4000 drop\n4000 write 1 [0,4000)\n"}});
}

TEST(DualFragmenter, BecomesWhatTheStreamShows) {
  expectCourses({{"audio until a fragment is complete", traceOf<DualFragmenter>("0 2000 4000 5000k 8000"),
                  "4000 write 1 [0,4000)\n5000 drop\n8000 write 2 [4000,8000)\n"},
                 {"video after audio drops the lead-in", traceOf<DualFragmenter>("0 1000 3000k 4000k"),
                  "3000 start 1 [3000,3000) ->open\n4000 write 1 [3000,4000) ->open\n"},
                 {"an audio lead-in binds nothing", traceOf<DualFragmenter>("1500 4000 5000k 8000k"),
                  "4000 start 1 [1500,4000)\n5000 start 2 [5000,5000) ->open\n8000 write 2 [5000,8000) ->open\n"},
                 {"audio goes to the video machine", traceOf<DualFragmenter>("0k 4000 6000k"),
                  "6000 write 1 [0,6000) ->open\n"}});
}

TEST(AudioAndDualFragmenter, EndWithTheLastSample) {
  EXPECT_EQ(endOf<AudioFragmenter>("", "900"), "write 1 [0,900)");
  EXPECT_EQ(endOf<AudioFragmenter>("0 4100", "5000"), "write 2 [4100,5000)");
  EXPECT_EQ(endOf<DualFragmenter>("0 1000", "2000v"), "skip 1 [0,2001) ->ended");
  EXPECT_EQ(endOf<DualFragmenter>("0 1000", "2000"), "write 1 [0,2000)");
}

TEST(FragmenterChoice, GivesEachRecordingItsClass) {
  FragmenterChoice choice;
  EXPECT_EQ(choice.get(), nullptr);
  choice.makeForNew(kDuration);
  EXPECT_NE(dynamic_cast<DualFragmenter*>(choice.get()), nullptr);
  choice.makeForAppend(kDuration, true);
  EXPECT_EQ(trace(*choice.get(), samples("1500 4000k 8000k")),
            "4000 start 2 [4000,4000) ->open\n8000 write 2 [4000,8000) ->open\n");
  choice.makeForAppend(kDuration, false);
  EXPECT_EQ(trace(*choice.get(), samples("1500k 1500 4000")), "1500 drop\n4000 start 1 [1500,4000)\n");
}

}  // namespace
