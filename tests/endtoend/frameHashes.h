#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace test {

/// One frame or packet as ffmpeg's framemd5 tells it.
struct FrameHash {
  /// Presentation time in ms, rounded.
  std::int64_t timeMs = 0;
  std::string hash;
};

/// The hashes of one stream of a file. `inputOptions` stand before the file, `stream` is "v" or "a", `codec` "" to
/// decode or "copy" to take the packets as they are. Throws std::runtime_error with ffmpeg's words where it complains.
std::vector<FrameHash> frameHashes(const std::string& file, const std::string& stream, const std::string& codec,
                                   const std::string& inputOptions = "");

}  // namespace test
