// Recordings as standard fragmented MP4.

#include "host/plain/PlainView.h"

#include "tests/host/PlainPlayer.h"
#include "tests/host/hostTools.h"

namespace {

using namespace test;
using namespace qvs::util;
using host::PlainView;

std::vector<std::byte> fragmentOf(const PlainView& view, std::size_t index) {
  std::vector<std::byte> bytes;
  view.readFragment(index, [&bytes](auto piece) { bytes.insert(bytes.end(), piece.begin(), piece.end()); });
  return bytes;
}

PlainView viewOf(const MadeRecording& recording) {
  return PlainView(host::readRecordingDirectory(recording.directory()));
}

std::map<std::uint32_t, Played> play(const PlainView& view) {
  std::vector<std::vector<std::byte>> fragments;
  for (std::size_t i = 0; i < view.fragmentCount(); ++i) fragments.push_back(fragmentOf(view, i));
  return playFragments(fragments);
}

/// What a player gets of the messages of one type: media without their codec's header.
std::vector<std::vector<std::byte>> samplesOf(const std::vector<StreamMessage>& messages, std::uint8_t type) {
  std::vector<std::vector<std::byte>> samples;
  for (const StreamMessage& message : messages) {
    if (message.type != type || isSequenceHeader(message)) continue;
    samples.emplace_back(message.data.begin() + (type == 9 ? 5 : 2), message.data.end());
  }
  return samples;
}

/// Takes the parameter sets off the samples that begin with them, and returns how many do.
int takeParameterSets(std::vector<std::vector<std::byte>>& samples) {
  int taken = 0;
  // Those of StreamBuilder's configuration, as they are in a sample.
  const auto sets = fromHex("00000019 6764001eacd940a02ff9610000030001000003003c8f162d96 00000006 68ebe3cb22c0");
  for (auto& sample : samples) {
    if (sample.size() < sets.size() || !std::equal(sets.begin(), sets.end(), sample.begin())) continue;
    sample.erase(sample.begin(), sample.begin() + static_cast<std::ptrdiff_t>(sets.size()));
    ++taken;
  }
  return taken;
}

constexpr std::uint32_t kVideoTrack = 1, kAudioTrack = 2;

TEST(PlainView, PlaysEverySampleWithoutABreak) {
  const auto before = av().audio(20).until(4101);
  const std::tuple<const char*, RecordingPlan, std::uint64_t> rows[] = {
      {"two tracks", {.messages = av().audio(23).until(12001)}, 12000},
      {"over a roll-over",
       {.messages = av().audio(23).until(20001), .settings = {{"Recording/SegmentDuration", "7000"}}},
       20000},
      {"frames of a rate that is no divisor of the grid", {.messages = av(1998).framesEvery(333).until(16001)}, 13986},
      {"a gap, taken out", {.messages = before + av().withoutHeaders().audio(20).from(24000).until(32001)}, 12500}};
  for (const auto& [why, plan, videoEndMs] : rows) {
    SCOPED_TRACE(why);
    auto tracks = play(viewOf(MadeRecording(plan)));
    Played& video = tracks[kVideoTrack];
    EXPECT_EQ(video.startMs, 0U);
    EXPECT_EQ(video.endMs, videoEndMs);
    EXPECT_GE(takeParameterSets(video.samples), 2);
    EXPECT_EQ(video.breaks, 0);
    auto expected = samplesOf(plan.messages, 9);
    ASSERT_LE(video.samples.size(), expected.size());
    ASSERT_GE(video.samples.size() + 52, expected.size()) << "more than what the stop drops is missing";
    expected.resize(video.samples.size());
    EXPECT_TRUE(video.samples == expected);
    const Played& audio = tracks[kAudioTrack];
    auto sounds = samplesOf(plan.messages, 8);
    sounds.resize(audio.samples.size());
    EXPECT_TRUE(!sounds.empty() && audio.samples == sounds);
    EXPECT_EQ(audio.breaks, 0);
    EXPECT_EQ(tracks.size(), 2U) << "without the hint track";
  }
}

TEST(PlainView, MarksGapsWithTheTimeOfDay) {
  const MadeRecording recording({.messages = stream().keyFramesEvery(2000).until(4041) +
                                             stream().keyFramesEvery(2000).withoutHeaders().from(24000).until(28001)});
  const std::string playlist = viewOf(recording).playlist();
  std::vector<std::string> lines;
  std::istringstream in(playlist);
  for (std::string line; std::getline(in, line);) {
    const bool isDate = line.starts_with("#EXT-X-PROGRAM-DATE-TIME");
    if (isDate || !line.starts_with('#')) lines.push_back(isDate ? "date" : line);
  }
  EXPECT_EQ(lines, (std::vector<std::string>{"date", "1-0.m4s", "2-4000.m4s", "date", "7-4080.m4s"}));
  EXPECT_EQ(playlist.find("DISCONTINUITY"), std::string::npos) << "players stop at one";
}

TEST(PlainView, HasOneHeaderForAllRecordingsOfAConfiguration) {
  const auto headers = [](const RecordingPlan& plan) { return viewOf(MadeRecording(plan)).headers(); };
  const auto first = headers({.messages = av().audio(23).until(8001)});
  ASSERT_EQ(first.size(), 1U);
  EXPECT_EQ(first, headers({.messages = av(4000).audio(20).until(16001),
                            .settings = {{"Recording/SegmentDuration", "3000"}}}));
  EXPECT_NE(first, headers({.messages = stream().keyFramesEvery(2000).until(8001)})) << "without sound";

  // `moov` with two tracks of the media, ids 1 and 2, and no other.
  const auto& header = first.begin()->second;
  for (const auto& [word, count] : {std::pair("trak", 2U), {"trex", 2U}, {"tref", 0U}, {"hint", 0U}})
    EXPECT_EQ(occurrences(textOf(header), word), count) << word;
}

TEST(PlainView, GoesIntoAFolderOfItsOwn) {
  const MadeRecording recording({.messages = av().audio(23).until(4001), .stop = false});
  const MadeRecording other({.messages = av().audio(20).from(4000).until(20001)});
  const TempDirectory place;
  const std::string folder = place.file("view");
  const auto write = [&folder](const MadeRecording& from) {
    return k2r({"playlist", from.directory(), "--plain", folder});
  };
  ASSERT_EQ(write(recording).status, 0);
  recording.append(av().audio(23).from(4000).until(12001));
  EXPECT_EQ(write(recording).status, 0) << "continued";
  const std::string fragment = readWholeFile(folder + "/2-4000.m4s");
  EXPECT_EQ(write(recording).status, 0) << "again";
  EXPECT_EQ(readWholeFile(folder + "/2-4000.m4s"), fragment);

  EXPECT_EQ(write(other).status, 1);
  EXPECT_EQ(readWholeFile(folder + "/2-4000.m4s"), fragment);
  writeWholeFile(folder + "/notes.txt", "mine");
  const auto answer = write(recording);
  EXPECT_EQ(answer.status, 1);
  EXPECT_NE(answer.errors.find("notes.txt"), std::string::npos) << answer.errors;
}

}  // namespace
