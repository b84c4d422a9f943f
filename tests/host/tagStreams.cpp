#include "tests/host/tagStreams.h"

#include <array>

#include "tests/support/TestHost.h"
#include "tests/support/hex.h"
#include "util/bytes.h"
#include "util/tagHeader.h"

namespace test {

std::vector<StreamMessage> readAll(host::Input& input) {
  std::vector<StreamMessage> messages;
  while (const auto message = input.next()) {
    messages.push_back({message->type, message->timeMs, {message->data.begin(), message->data.end()}});
  }
  return messages;
}

bool isSequenceHeader(const StreamMessage& message) {
  const bool hasOne = message.type == 9 || (message.type == 8 && message.data.at(0) == std::byte{0xAF});
  return hasOne && message.data.at(1) == std::byte{0};
}

void writeTagStream(const std::vector<StreamMessage>& messages, const std::filesystem::path& file) {
  qvs::util::ByteWriter out;
  out.bytes(fromHex("464c56 01 05 00000009 00000000"));
  for (const StreamMessage& message : messages) {
    const auto size = static_cast<std::uint32_t>(message.data.size());
    std::array<std::byte, qvs::util::kTagHeaderSize> header = {};
    qvs::util::writeTagHeader(header.data(), message.type, size, message.time);
    out.bytes(header);
    out.bytes(message.data);
    out.u32(size + 11);
  }
  writeWholeFile(file, {reinterpret_cast<const char*>(out.bytes().data()), out.size()});
}

}  // namespace test
