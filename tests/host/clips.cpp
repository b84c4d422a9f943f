#include "tests/host/clips.h"

#include <array>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "util/bytes.h"
#include "util/tagHeader.h"

namespace test {

std::string run(const std::string& command) {
  std::FILE* const pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("no shell");
  std::string output;
  std::array<char, 4096> buffer = {};
  while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe))
    output.append(buffer.data(), count);
  if (::pclose(pipe) != 0) throw std::runtime_error("failed: " + command);
  return output;
}

void makeClip(const std::string& arguments, const std::filesystem::path& file) {
  run("ffmpeg -nostdin -v error -y " + arguments + " 'file:" + file.string() + "'");
}

std::vector<KeptMessage> readAll(host::Input& input) {
  std::vector<KeptMessage> messages;
  while (const auto message = input.next()) {
    messages.push_back({message->type, message->timeMs, {message->data.begin(), message->data.end()}});
  }
  return messages;
}

void writeTagStream(const std::vector<KeptMessage>& messages, const std::filesystem::path& file) {
  qvs::util::ByteWriter out;
  out.text("FLV");
  out.u16(0x0105);
  out.u32(9);
  out.u32(0);
  for (const KeptMessage& message : messages) {
    const auto size = static_cast<std::uint32_t>(message.data.size());
    std::array<std::byte, qvs::util::kTagHeaderSize> header = {};
    qvs::util::writeTagHeader(header.data(), message.type, size, message.timeMs);
    out.bytes(header);
    out.bytes(message.data);
    out.u32(size + 11);
  }
  std::ofstream stream(file, std::ios::binary);
  stream.write(reinterpret_cast<const char*>(out.bytes().data()), static_cast<std::streamsize>(out.size()));
}

std::string decodedHashes(const std::filesystem::path& file, const std::string& kind) {
  std::istringstream lines(run("ffmpeg -nostdin -v error -i 'file:" + file.string() + "' -map 0:" + kind +
                               ":0 -fps_mode passthrough -f framemd5 -"));
  std::string hashes;
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with('#')) hashes += line.substr(line.rfind(',') + 1) + '\n';
  }
  return hashes;
}

}  // namespace test
