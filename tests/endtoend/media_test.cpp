// From a media file, through the command line and the module, to what an independent player decodes.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "tests/endtoend/frameHashes.h"
#include "tests/endtoend/shell.h"
#include "tests/support/TempDirectory.h"

namespace {

using namespace test;

constexpr const char* kVideoSource = "-f lavfi -i testsrc2=size=320x180:rate=25:duration=15";
constexpr const char* kAudioSource = "-f lavfi -i sine=frequency=440:sample_rate=44100:duration=15";

/// A clip made by ffmpeg, recorded by k2r.
class Media : public testing::Test {
 protected:
  void makeClip(const std::string& name, const std::string& arguments) {
    clip_ = directory_.file(name);
    const CommandResult made = run("ffmpeg -v error -y " + arguments + " '" + clip_ + "'");
    ASSERT_EQ(made.status, 0) << made.output;
  }
  void recordClip(const std::string& options = "") {
    const CommandResult recorded =
        run(std::string(K2R_PROGRAM) + " record '" + clip_ + "' --out '" + recording() + "' --quiet " + options);
    ASSERT_EQ(recorded.status, 0) << recorded.output;
    EXPECT_EQ(recorded.output, "");
  }
  std::string recording() const { return directory_.file("cam1"); }
  std::string segment(int number = 1) const { return recording() + "/cam1Seg" + std::to_string(number) + ".k2r"; }
  void expectSilentDecode(const std::string& file) {
    const CommandResult decoded = run("ffmpeg -v error -i '" + file + "' -f null -");
    EXPECT_EQ(decoded.status, 0);
    EXPECT_EQ(decoded.output, "");
  }

  TempDirectory directory_;
  std::string clip_;
};

/// The recorded frames are the first ones of the source, each later by the same time; answers that time. Times of the
/// two may differ by the rounding of either.
std::int64_t expectPrefix(const std::vector<FrameHash>& recorded, const std::vector<FrameHash>& source,
                          std::size_t atLeast) {
  EXPECT_GE(recorded.size(), atLeast);
  EXPECT_LE(recorded.size(), source.size());
  if (recorded.empty() || recorded.size() > source.size()) return 0;
  const std::int64_t shift = recorded[0].timeMs - source[0].timeMs;
  for (std::size_t i = 0; i < recorded.size(); ++i) {
    EXPECT_EQ(recorded[i].hash, source[i].hash) << "frame " << i;
    EXPECT_LE(std::abs(recorded[i].timeMs - source[i].timeMs - shift), 1) << "frame " << i;
    if (testing::Test::HasFailure()) break;
  }
  return shift;
}

TEST_F(Media, ShowsEveryFrameInTheRightOrder) {
  const struct {
    const char* why;
    const char* name;
    const char* coding;
    std::size_t frames;
  } rows[] = {
      {"B-frames", "clip.mp4", "-c:v libx264 -preset ultrafast -bf 3 -b_strategy 0 -g 50", 250},
      {"open GOPs", "clip.mkv", "-c:v libx264 -preset veryfast -bf 2 -g 50 -x264-params open-gop=1", 250},
      {"a transport stream", "clip.ts", "-c:v libx264 -preset ultrafast -bf 2 -b_strategy 0 -g 25", 300},
      {"key frames rarer than fragments", "clip.mp4", "-c:v libx264 -preset ultrafast -g 150 -sc_threshold 0", 140},
      {"a frame rate that is no whole number of ms", "clip.mp4",
       "-r 30000/1001 -c:v libx264 -preset ultrafast -bf 2 -b_strategy 0 -g 60", 300}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    std::filesystem::remove_all(recording());
    makeClip(row.name, std::string(kVideoSource) + " -pix_fmt yuv420p " + row.coding);
    recordClip();
    expectSilentDecode(segment());
    expectPrefix(frameHashes(segment(), "v", ""), frameHashes(clip_, "v", ""), row.frames);
  }
}

TEST_F(Media, KeepsEveryAudioPacket) {
  const struct {
    const char* why;
    const char* name;
    const char* coding;
    std::size_t packets;
  } rows[] = {{"AAC", "clip.m4a", "-c:a aac", 500},
              {"AAC in stereo at 48000 Hz", "clip.mp4", "-c:a aac -ac 2 -ar 48000", 500},
              {"MP3", "clip.mp3", "-c:a libmp3lame -write_xing 0 -id3v2_version 0", 430}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    std::filesystem::remove_all(recording());
    makeClip(row.name, std::string(kAudioSource) + " " + row.coding);
    recordClip();
    expectSilentDecode(segment());
    expectPrefix(frameHashes(segment(), "a", "copy"), frameHashes(clip_, "a", "copy"), row.packets);
  }
}

TEST_F(Media, DecodesAudioAsTheSourceDoes) {
  makeClip("clip.ts", std::string(kAudioSource) + " -c:a aac");
  recordClip();
  expectPrefix(frameHashes(segment(), "a", ""), frameHashes(clip_, "a", ""), 500);
}

TEST_F(Media, KeepsSoundAndPictureTogether) {
  makeClip("clip.mp4", std::string(kVideoSource) + " " + kAudioSource +
                           " -c:v libx264 -preset ultrafast -bf 2 -b_strategy 0 -g 50 -pix_fmt yuv420p -c:a aac");
  recordClip();
  expectSilentDecode(segment());
  const auto videoShift = expectPrefix(frameHashes(segment(), "v", ""), frameHashes(clip_, "v", ""), 300);
  const auto audioShift = expectPrefix(frameHashes(segment(), "a", "copy"), frameHashes(clip_, "a", "copy"), 500);
  EXPECT_LE(std::abs(videoShift - audioShift), 1);
}

TEST_F(Media, GoesOnOverARollOver) {
  makeClip("clip.mp4", std::string(kVideoSource) + " " + kAudioSource +
                           " -c:v libx264 -preset ultrafast -bf 2 -b_strategy 0 -g 50 -pix_fmt yuv420p -c:a aac");
  recordClip("--set Recording/FragmentDuration=2000 --set Recording/SegmentDuration=3000");
  std::vector<FrameHash> video;
  std::vector<FrameHash> audio;
  int segments = 0;
  for (; std::filesystem::exists(segment(segments + 2)); ++segments) {
    SCOPED_TRACE(segments + 1);
    expectSilentDecode(segment(segments + 1));
    for (auto& frame : frameHashes(segment(segments + 1), "v", "")) video.push_back(frame);
    for (auto& packet : frameHashes(segment(segments + 1), "a", "copy")) audio.push_back(packet);
  }
  EXPECT_GE(segments, 3);
  expectPrefix(video, frameHashes(clip_, "v", ""), 300);
  expectPrefix(audio, frameHashes(clip_, "a", "copy"), 500);
}

TEST_F(Media, DescribesItselfAsTheSourceIs) {
  makeClip("clip.mp4", std::string(kVideoSource) + " " + kAudioSource +
                           " -c:v libx264 -profile:v main -level 3.1 -g 50 -pix_fmt yuv420p -c:a aac -ac 2 -ar 48000");
  recordClip();
  const CommandResult inspected = run(std::string(K2R_PROGRAM) + " inspect --json '" + recording() + "/cam1.meta'");
  ASSERT_EQ(inspected.status, 0) << inspected.output;
  const auto values = nlohmann::json::parse(inspected.output)["files"][0]["values"][0];
  const nlohmann::json expected = {{"width", 320},       {"height", 180},           {"videocodecid", "H264"},
                                   {"avcprofile", 77},   {"avclevel", 31},          {"audiocodecid", "mp4a"},
                                   {"audiochannels", 2}, {"audiosamplerate", 48000}};
  for (const auto& [name, value] : expected.items()) EXPECT_EQ(values[name], value) << name;

  const auto probe = [](const std::string& file, const char* entries) {
    return run("ffprobe -v error -show_entries stream=" + std::string(entries) + " -of csv '" + file + "'").output;
  };
  constexpr const char* kEntries = "codec_name,profile,width,height,level,channels,sample_rate";
  // The hint track comes behind.
  EXPECT_EQ(probe(segment(), kEntries).substr(0, probe(clip_, kEntries).size()), probe(clip_, kEntries));
}

TEST_F(Media, HasLittleRoomAroundItsSamples) {
  makeClip("clip.mp4", std::string(kVideoSource) + " " + kAudioSource +
                           " -c:v libx264 -preset ultrafast -b:v 1600k -minrate 1600k -maxrate 1600k -bufsize 1600k "
                           "-nal-hrd cbr -g 50 -pix_fmt yuv420p -c:a aac -b:a 96k");
  recordClip();
  std::uint64_t sampleBytes = 0;
  for (const char* stream : {"v", "a"}) {
    const CommandResult sizes = run("ffprobe -v error -select_streams " + std::string(stream) +
                                    " -show_entries packet=size -of csv=p=0 '" + segment() + "' | paste -sd+ | bc");
    ASSERT_EQ(sizes.status, 0) << sizes.output;
    sampleBytes += std::stoull(sizes.output);
  }
  const double fileBytes = static_cast<double>(std::filesystem::file_size(segment()));
  EXPECT_LT(fileBytes / static_cast<double>(sampleBytes), 1.03) << "tags and boxes together";
}

TEST(Programs, AForeignHostRecordsWithTheHeadersAlone) {
  const TempDirectory directory;
  const CommandResult recorded =
      run(std::string(K2R_MINIMAL_HOST) + " " + K2R_MODULE + " '" + directory.file("cam1") + "'");
  EXPECT_EQ(recorded.status, 0);
  EXPECT_EQ(recorded.output, "8010 ms recorded into " + directory.file("cam1") + "\n");
  const CommandResult decoded =
      run("ffprobe -v error -show_entries stream=codec_name,sample_rate,channels -of csv=p=0 '" +
          directory.file("cam1") + "/cam1Seg1.k2r'");
  EXPECT_EQ(decoded.output.substr(0, decoded.output.find('\n')), "aac,44100,2");
}

TEST(Programs, TheModuleExportsItsEntryAndTheInterfaceClassesOnly) {
  const CommandResult symbols = run(std::string("nm -D --defined-only -C ") + K2R_MODULE + " | cut -d' ' -f3-");
  ASSERT_EQ(symbols.status, 0) << symbols.output;
  const CommandResult others = run(std::string("nm -D --defined-only -C ") + K2R_MODULE +
                                   " | cut -d' ' -f3- | grep -vE '^((vtable|typeinfo|typeinfo name) for )?"
                                   "(IMO[A-Za-z]+|I[A-Za-z]*Holder|IQvsServerContext|QvsVariant)(::|$)'");
  EXPECT_EQ(others.output, "");
  EXPECT_NE(symbols.output.find("IMOCreateAdaptor\n"), std::string::npos);
  EXPECT_NE(symbols.output.find("QvsVariant::setBuffer"), std::string::npos);
}

}  // namespace
