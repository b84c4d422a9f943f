#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace test {

/// What a line prints in the shell, standard output and standard error as they come. Throws std::runtime_error where it
/// fails.
std::string mustRun(const std::string& line);

/// Makes a media file with the ffmpeg tool: `arguments` go between the quiet options and the name. Throws as mustRun().
void makeClip(const std::string& arguments, const std::string& file);

/// One frame or packet as ffmpeg's framemd5 tells it.
struct FrameHash {
  /// Presentation time in ms, rounded.
  std::int64_t timeMs = 0;
  std::string hash;
};

/// The hashes of one stream of a file: "v" or "a", decoded, in the order of presentation, or with `codec` "copy" the
/// packets as they are. Throws std::runtime_error with ffmpeg's words where it complains.
std::vector<FrameHash> frameHashes(const std::string& file, const std::string& stream, const std::string& codec = "");

/// Expects the first frames of the source, each later by the same time, which it answers. Times may differ by so much.
std::int64_t expectPrefix(const std::vector<FrameHash>& found, const std::vector<FrameHash>& source,
                          std::size_t atLeast, std::int64_t toleranceMs = 0);

}  // namespace test
