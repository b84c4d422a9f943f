#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "host/input/Input.h"

namespace test {

/// Runs a shell command. Answers its standard output; throws std::runtime_error where it fails.
std::string run(const std::string& command);

/// Makes a media file with the ffmpeg tool: `arguments` go between the quiet options and the name.
void makeClip(const std::string& arguments, const std::filesystem::path& file);

/// One message, kept.
struct KeptMessage {
  std::uint8_t type = 0;
  std::uint32_t timeMs = 0;
  std::vector<std::byte> data;

  bool isVideo() const { return type == 9; }
  bool isSequenceHeader() const { return data.at(1) == std::byte{0} && (isVideo() || data.at(0) == std::byte{0xAF}); }
};
std::vector<KeptMessage> readAll(host::Input& input);

/// Writes messages into a tag stream that the ffmpeg tool reads, too.
void writeTagStream(const std::vector<KeptMessage>& messages, const std::filesystem::path& file);

/// Hashes of all decoded pictures ("v") or sounds ("a"), a line each, in presentation order.
std::string decodedHashes(const std::filesystem::path& file, const std::string& kind);

}  // namespace test
