#pragma once

#include <cmath>
#include <cstdlib>

#include "tests/endtoend/ChildProcess.h"
#include "tests/support/testing.h"

namespace test {

/// What a line prints in the shell, standard output and standard error as they come. Throws std::runtime_error where it
/// fails.
inline std::string mustRun(const std::string& line) {
  const ShellAnswer answer = runShell(line);
  if (answer.status != 0) throw std::runtime_error("failed: " + line + "\n" + answer.output);
  return answer.output;
}

/// Makes a media file with the ffmpeg tool: `arguments` go between the quiet options and the name. Throws as mustRun().
inline void makeClip(const std::string& arguments, const std::string& file) {
  mustRun("ffmpeg -v error -y " + arguments + " 'file:" + file + "'");
}

constexpr const char* kVideoSource = "-f lavfi -i testsrc2=size=320x180:rate=25:duration=15 ";
constexpr const char* kAudioSource = "-f lavfi -i sine=frequency=440:sample_rate=44100:duration=15 ";
constexpr const char* kVideoCoding = "-c:v libx264 -preset ultrafast -bf 2 -b_strategy 0 -g 50 -pix_fmt yuv420p ";

/// Arguments for makeClip(): 15 seconds of pictures and sound.
inline std::string both(const std::string& coding = std::string(kVideoCoding) + "-c:a aac ") {
  return std::string(kVideoSource) + kAudioSource + coding;
}

/// One frame or packet as ffmpeg's framemd5 prints it.
struct FrameHash {
  /// Presentation time in ms, rounded.
  std::int64_t timeMs = 0;
  std::string hash;
};

/// The hashes of one stream of a file: "v" or "a", decoded, in the order of presentation, or with `codec` "copy" the
/// packets as they are. Throws std::runtime_error with ffmpeg's words where it complains.
inline std::vector<FrameHash> frameHashes(const std::string& file, const std::string& stream,
                                          const std::string& codec = "") {
  const std::string how = codec.empty() ? "-fps_mode passthrough -autoscale 0 -enc_time_base -1" : "-c " + codec;
  std::istringstream in(
      mustRun("ffmpeg -v error -copyts -i 'file:" + file + "' -map 0:" + stream + ":0 " + how + " -f framemd5 -"));
  std::vector<FrameHash> frames;
  double unit = 0;
  double unitsPerSecond = 0;
  for (std::string line; std::getline(in, line);) {
    double time = 0;
    char hash[33];
    std::sscanf(line.c_str(), "#tb 0: %lf/%lf", &unit, &unitsPerSecond);
    if (line.empty() || line[0] == '#') continue;
    // "0, dts, pts, duration, size, hash", and perhaps side data.
    const bool isFrame = std::sscanf(line.c_str(), "%*d, %*d, %lf, %*d, %*d, %32s", &time, hash) == 2;
    if (!isFrame) throw std::runtime_error("framemd5 says: " + line);
    // Multiplied first, so that halves are exact.
    frames.push_back({std::llround(time * 1000 * unit / unitsPerSecond), hash});
  }
  return frames;
}

/// Expects the first frames of the source, each later by the same time, which it returns. Times may differ by so much.
inline std::int64_t expectPrefix(const std::vector<FrameHash>& found, const std::vector<FrameHash>& source,
                                 std::size_t atLeast, std::int64_t toleranceMs = 0) {
  EXPECT_GE(found.size(), atLeast);
  EXPECT_LE(found.size(), source.size());
  if (found.empty() || found.size() > source.size()) return 0;
  const std::int64_t shift = found[0].timeMs - source[0].timeMs;
  for (std::size_t i = 0; i < found.size() && !testing::Test::HasFailure(); ++i) {
    EXPECT_EQ(found[i].hash, source[i].hash) << "frame " << i;
    EXPECT_LE(std::abs(found[i].timeMs - source[i].timeMs - shift), toleranceMs) << "frame " << i;
  }
  return shift;
}

}  // namespace test
