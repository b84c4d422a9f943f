// From a media file to a recording, and on to a plain MP4.

#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/endtoend/frameHashes.h"
#include "tests/endtoend/shell.h"
#include "tests/support/TempDirectory.h"

namespace {

using namespace test;

/// The frames of the file are the first of the source, at the same distances.
void expectPrefix(const std::vector<FrameHash>& file, const std::vector<FrameHash>& source, std::size_t atLeast) {
  ASSERT_GE(file.size(), atLeast);
  ASSERT_LE(file.size(), source.size());
  const std::int64_t shift = file[0].timeMs - source[0].timeMs;
  for (std::size_t i = 0; i < file.size(); ++i) {
    ASSERT_EQ(file[i].hash, source[i].hash) << "frame " << i;
    ASSERT_LE(std::abs(file[i].timeMs - source[i].timeMs - shift), 1) << "frame " << i;
  }
}

TEST(ExportMp4, HasTheFramesOfTheSource) {
  const TempDirectory directory;
  const std::string video = "-f lavfi -i testsrc2=size=320x180:rate=25:duration=15 ";
  const std::string audio = "-f lavfi -i sine=frequency=440:sample_rate=44100:duration=15 ";
  const struct {
    const char* why;
    std::string clip;
    std::string source;
    std::size_t frames;
    std::size_t packets;
  } rows[] = {
      {"B-frames and AAC, over a roll-over", "clip.mp4",
       video + audio + "-c:v libx264 -preset ultrafast -bf 2 -b_strategy 0 -g 50 -pix_fmt yuv420p -c:a aac", 250, 500},
      {"MP3 alone", "clip.mp3", audio + "-c:a libmp3lame -write_xing 0 -id3v2_version 0", 0, 400},
      {"a frame rate that is no whole number of ms", "clip.mkv",
       video + "-r 30000/1001 -c:v libx264 -preset ultrafast -g 60 -pix_fmt yuv420p", 290, 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    const std::string clip = directory.file(row.clip);
    const std::string recording = directory.file(std::string("rec-") + row.clip);
    const std::string file = directory.file(std::string(row.clip) + "-out.mp4");
    const CommandResult result =
        run("ffmpeg -v error -y " + row.source + " '" + clip + "' && '" + K2R_PROGRAM + "' record '" + clip +
            "' --out '" + recording + "' --quiet --set Recording/SegmentDuration=5000 && '" + K2R_PROGRAM +
            "' export '" + recording + "' --out '" + file + "' && ffmpeg -v error -i '" + file + "' -f null -");
    ASSERT_EQ(result.status, 0) << result.output;
    EXPECT_EQ(result.output, "");
    if (row.frames != 0) expectPrefix(frameHashes(file, "v", ""), frameHashes(clip, "v", ""), row.frames);
    if (row.packets != 0) expectPrefix(frameHashes(file, "a", "copy"), frameHashes(clip, "a", "copy"), row.packets);
  }
}

}  // namespace
