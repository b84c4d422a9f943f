// A recording back as one file.

#include <gtest/gtest.h>

#include <algorithm>

#include "fragmentation/AfraIndex.h"
#include "host/StopSignal.h"
#include "host/commands.h"
#include "host/errors.h"
#include "host/files/smallFiles.h"
#include "host/input/TagStream.h"
#include "tests/host/RecordingMaker.h"
#include "tests/support/TestHost.h"

namespace {

using namespace test;
using host::ExitStatus;
using Messages = std::vector<StreamMessage>;

ExitStatus run(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "k2r");
  std::vector<const char*> argv;
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  ::testing::internal::CaptureStderr();
  const ExitStatus status = host::runCommandLine(static_cast<int>(argv.size()), argv.data());
  ::testing::internal::GetCapturedStderr();
  return status;
}

Messages messagesOf(const std::string& path) {
  const host::StopSignal stop;
  host::TagStream tags(std::make_unique<host::FileReader>(path, stop));
  Messages messages;
  while (const auto tag = tags.next())
    messages.push_back({tag->type, tag->timeMs, {tag->data.begin(), tag->data.end()}});
  return messages;
}

/// Exports and gives back the tags of the file.
Messages exported(const MadeRecording& recording, const std::vector<std::string>& options = {}) {
  const TempDirectory place;
  std::vector<std::string> arguments = {"export", recording.directory(), "--out", place.file("out.mtg")};
  arguments.insert(arguments.end(), options.begin(), options.end());
  EXPECT_EQ(run(arguments), ExitStatus::kOk);
  return messagesOf(place.file("out.mtg"));
}

std::vector<ruvo::k2r::AfraEntry> indexOf(const MadeRecording& recording, int segment) {
  const std::string image = recording.read("Seg" + std::to_string(segment) + ".k2i");
  return host::parseAfra(std::as_bytes(std::span(image.data(), image.size()))).globalEntries;
}

/// As far as `later` goes, its fragments are byte for byte those of `first`, with what each says of index, bootstrap
/// and tags.
void expectSameFragments(const MadeRecording& first, const MadeRecording& later, int segment) {
  const auto entries = indexOf(first, segment);
  const auto laterEntries = indexOf(later, segment);
  ASSERT_LE(laterEntries.size(), entries.size());
  EXPECT_TRUE(std::equal(laterEntries.begin(), laterEntries.end(), entries.begin()));
  const std::string name = "Seg" + std::to_string(segment) + ".k2r";
  const auto firstWritten =
      std::find_if(entries.begin(), entries.end(), [](const auto& entry) { return entry.isWritten(); });
  if (firstWritten == entries.end()) return;
  const auto begin = static_cast<std::size_t>(firstWritten->afraOffset);
  const auto lastWritten =
      std::find_if(laterEntries.rbegin(), laterEntries.rend(), [](const auto& e) { return e.isWritten(); });
  const auto next = std::find_if(entries.begin() + (laterEntries.rend() - lastWritten), entries.end(),
                                 [](const auto& entry) { return entry.isWritten(); });
  const std::string bytes = first.read(name);
  const std::size_t end = next == entries.end() ? static_cast<std::size_t>(lastWritten->afraOffset)
                                                : static_cast<std::size_t>(next->afraOffset);
  EXPECT_TRUE(bytes.substr(begin, end - begin) == later.read(name).substr(begin, end - begin)) << name;
}

Messages withCodec(Messages messages, std::uint8_t type, unsigned codecByte) {
  for (auto& message : messages)
    if (message.type == type) message.data[0] = static_cast<std::byte>(codecByte);
  return messages;
}

TEST(Export, GivesBackTheStreamThatMakesTheSameRecording) {
  const auto video = [] { return stream().keyFramesEvery(2000); };
  Messages scripted = video().audio(23).until(12001);
  scripted.insert(scripted.begin() + 90, metadata(scripted[89].time));
  const Messages plain = stream().keyFramesEvery(2000).withoutHeaders().until(12001);
  const struct {
    const char* why;
    Messages messages;
    std::map<std::string, std::string> settings;
  } rows[] = {
      {"video and audio", video().audio(23).until(16001), {}},
      {"video alone", video().until(16001), {}},
      {"audio alone", stream().audio(20).until(16001), {}},
      {"audio in front of the video",
       stream().audio(20).until(4001) + stream().keyFramesEvery(2000).audio(20).from(4020).until(16001),
       {}},
      {"key frames rarer than the grid", stream().keyFramesEvery(10000).audio(23).until(40001), {}},
      {"a gap", video().until(4001) + stream().keyFramesEvery(2000).withoutHeaders().from(24000).until(36001), {}},
      {"a roll-over", video().audio(23).until(28001), {{"Recording/SegmentDuration", "7000"}}},
      {"a start far from zero", stream().keyFramesEvery(2000).audio(23).from(400000).until(416001), {}},
      {"script data within", scripted, {}},
      {"a codec without a configuration", Messages{metadata(0)} + withCodec(plain, 9, 0x12), {}},
      {"short fragments",
       stream().keyFramesEvery(500).audio(23).until(9001),
       {{"Recording/FragmentDuration", "1000"}}}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    const MadeRecording first({.messages = row.messages, .settings = row.settings});
    const MadeRecording later({.messages = exported(first), .settings = row.settings});
    EXPECT_TRUE(first.read(".meta") == later.read(".meta"));
    ASSERT_FALSE(indexOf(later, 1).empty());
    for (int segment = 1; std::filesystem::exists(later.path("Seg" + std::to_string(segment) + ".k2i")); ++segment)
      expectSameFragments(first, later, segment);
  }
}

TEST(Export, HasEachConfigurationOnceAndInFront) {
  const MadeRecording recording({.messages = stream().keyFramesEvery(2000).audio(23).until(12001)});
  const Messages messages = exported(recording);
  const auto configurations = [](const Messages& list) {
    return std::count_if(list.begin(), list.end(), [](const auto& message) {
      return (message.type == 8 || message.type == 9) && message.data[1] == std::byte{0};
    });
  };
  ASSERT_GT(messages.size(), 4U);
  EXPECT_EQ(messages[0].type, 18);
  EXPECT_EQ(configurations(messages), 2);
  EXPECT_EQ(configurations({messages.begin() + 1, messages.begin() + 3}), 2);
}

TEST(Export, TakesAPartFromAKeyFrameOn) {
  const struct {
    const char* from;
    const char* to;
    std::uint32_t firstVideo;
    std::uint32_t last;
  } rows[] = {{"0", "3", 0, 2990},
              {"5", "9", 4000, 8990},
              {"6.5", "7", 6000, 6990},
              {"8", "10", 8000, 9990},
              {"7.9", "30", 6000, 11999}};
  const MadeRecording recording({.messages = stream().keyFramesEvery(2000).audio(10).until(12001)});
  for (const auto& row : rows) {
    const Messages messages = exported(recording, {"--from", row.from, "--to", row.to});
    const auto video = std::find_if(messages.begin(), messages.end(), [](const auto& message) {
      return message.type == 9 && message.data[1] == std::byte{1};
    });
    ASSERT_NE(video, messages.end()) << row.from;
    EXPECT_EQ(video->time, row.firstVideo) << row.from;
    EXPECT_EQ(messages[1].time, row.firstVideo) << row.from;
    EXPECT_GT(messages.back().time + 10, row.last) << row.from;
    EXPECT_LE(messages.back().time, row.last + 10) << row.from;
  }
}

TEST(Export, RefusesWithoutTouchingAnything) {
  const MadeRecording recording({.messages = stream().keyFramesEvery(2000).until(8001)});
  const MadeRecording other(
      {.messages =
           Messages{metadata(0)} + withCodec(stream().keyFramesEvery(2000).withoutHeaders().until(8001), 9, 0x14)});
  const TempDirectory place;
  writeWholeFile(place.path() / "there.mtg", "mine");
  const struct {
    std::vector<std::string> arguments;
    ExitStatus status;
  } rows[] = {
      {{recording.directory(), "--out", place.file("there.mtg")}, ExitStatus::kFailed},
      {{recording.directory(), "--out", place.file("a.avi")}, ExitStatus::kBadUsage},
      {{recording.directory(), "--out", place.file("a.mtg"), "--from", "5", "--to", "5"}, ExitStatus::kBadUsage},
      {{recording.directory(), "--out", place.file("a.mtg"), "--from", "-1"}, ExitStatus::kBadUsage},
      {{recording.directory(), "--out", place.file("a.mtg"), "--from", "60"}, ExitStatus::kFailed},
      {{recording.directory(), "--out", place.file("no/a.mtg")}, ExitStatus::kFailed},
      {{other.directory(), "--out", place.file("a.mp4")}, ExitStatus::kFailed},
      {{place.path().string(), "--out", place.file("a.mtg")}, ExitStatus::kFailed}};
  for (auto row : rows) {
    row.arguments.insert(row.arguments.begin(), "export");
    EXPECT_EQ(run(row.arguments), row.status) << row.arguments[2] << " " << row.arguments[3];
  }
  EXPECT_EQ(readWholeFile(place.path() / "there.mtg"), "mine");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(place.path()), {}), 1);
}

}  // namespace
