// A recording back as one file.

#include "tests/host/hostTools.h"

namespace {

using namespace test;
using Messages = std::vector<StreamMessage>;

/// Exports and gives back the tags of the file.
Messages exported(const MadeRecording& recording, const std::vector<std::string>& options = {}) {
  const TempDirectory place;
  std::vector<std::string> arguments = {"export", recording.directory(), "--out", place.file("out.mtg")};
  arguments.insert(arguments.end(), options.begin(), options.end());
  EXPECT_EQ(k2r(arguments).status, 0);
  return messagesOf(place.file("out.mtg"));
}

Messages withCodec(Messages messages, unsigned codecByte) {
  for (auto& message : messages)
    if (message.type == 9) message.data[0] = static_cast<std::byte>(codecByte);
  return messages;
}

TEST(Export, GivesBackTheStreamThatMakesTheSameRecording) {
  const auto video = [] { return stream().keyFramesEvery(2000); };
  Messages scripted = video().audio(23).until(12001);
  scripted.insert(scripted.begin() + 90, metadata(scripted[89].time));
  const std::tuple<const char*, Messages, std::map<std::string, std::string>> rows[] = {
      {"audio alone", stream().audio(20).until(16001), {}},
      {"audio in front of the video", stream().audio(20).until(4001) + video().audio(20).from(4020).until(16001), {}},
      {"key frames rarer than the grid", stream().keyFramesEvery(10000).audio(23).until(40001), {}},
      {"a gap", video().until(4001) + video().withoutHeaders().from(24000).until(36001), {}},
      {"a roll-over", video().audio(23).until(28001), {{"Recording/SegmentDuration", "7000"}}},
      {"a start far from zero", video().audio(23).from(400000).until(416001), {}},
      {"script data within", scripted, {}},
      {"VP6, MP3 and script data", otherCodecs(16001), {}},
      {"a codec without a configuration",
       Messages{metadata(0)} + withCodec(video().withoutHeaders().until(12001), 0x12),
       {}}};
  for (const auto& [why, messages, settings] : rows) {
    SCOPED_TRACE(why);
    const MadeRecording first({.messages = messages, .settings = settings});
    EXPECT_GE(first.verify().fragments, 2U);
    Messages again = exported(first);
    EXPECT_LE(std::ranges::count(again, avcSequenceHeader(0).data, &StreamMessage::data), 1) << "none comes twice";
    const MadeRecording running({.messages = messages, .settings = settings, .stop = false});
    EXPECT_EQ(exported(running), again) << "while it is recorded";
    // A stop marks the end of no fragment: what came after the last one that is stored comes again.
    std::ranges::copy_if(messages, std::back_inserter(again),
                         [end = again.back().time](const auto& message) { return message.time > end; });
    const MadeRecording later({.messages = again, .settings = settings});
    expectSameFiles(first, later.directory());
  }
}

TEST(Export, TakesAPartFromAKeyFrameOn) {
  const std::tuple<const char*, const char*, std::uint32_t, std::uint32_t> rows[] = {{"0", "3", 0, 2990},
                                                                                     {"5", "9", 4000, 8990},
                                                                                     {"6.5", "7", 6000, 6990},
                                                                                     {"0:08", "10", 8000, 9990},
                                                                                     {"7.9", "30", 6000, 11990}};
  const MadeRecording recording({.messages = stream().keyFramesEvery(2000).audio(10).until(12001)});
  for (const auto& [from, to, firstVideo, last] : rows) {
    SCOPED_TRACE(from);
    const Messages messages = exported(recording, {"--from", from, "--to", to});
    const auto video = std::ranges::find_if(
        messages, [](const auto& message) { return message.type == 9 && !isSequenceHeader(message); });
    ASSERT_NE(video, messages.end());
    EXPECT_EQ(video->time, firstVideo);
    EXPECT_EQ(messages[1].time, firstVideo);
    EXPECT_EQ(messages.back().time, last) << "the end is not in it";
  }
}

TEST(Export, SaysWhereTheRecordingEnds) {
  const MadeRecording recording({.messages = stream().keyFramesEvery(2000).audio(10).until(12001)});
  const auto errorsOf = [&](const char* option, const char* time) {
    return k2r({"export", recording.directory(), "--out", "-", option, time}).errors;
  };
  EXPECT_EQ(errorsOf("--to", "12.001"), "warning: --to, 0:00:12.001, is after the recording's end, 0:00:12.000\n");
  EXPECT_EQ(errorsOf("--to", "12"), "");
  EXPECT_EQ(errorsOf("--from", "12"), "error: --from, 0:00:12.000, is after the recording's end, 0:00:12.000\n");
}

TEST(Export, RefusesWithoutTouchingAnything) {
  const MadeRecording recording({.messages = stream().keyFramesEvery(2000).until(8001)});
  const MadeRecording other({.messages = Messages{metadata(0)} +
                                         withCodec(stream().keyFramesEvery(2000).withoutHeaders().until(8001), 0x14)});
  const TempDirectory place;
  const std::tuple<std::vector<std::string>, int> rows[] = {
      {{recording.directory(), "--out", place.file("a.avi")}, 2},
      {{recording.directory(), "--out", place.file("a.mtg"), "--from", "0:08"}, 2},
      {{other.directory(), "--out", place.file("a.mp4")}, 1},
      {{place.path().string(), "--out", place.file("a.mtg")}, 1}};
  for (auto [arguments, status] : rows) {
    arguments.insert(arguments.begin(), "export");
    EXPECT_EQ(k2r(arguments).status, status) << testing::PrintToString(arguments);
  }
  EXPECT_TRUE(std::filesystem::is_empty(place.path()));
}

}  // namespace
