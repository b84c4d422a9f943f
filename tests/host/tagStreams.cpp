#include "tests/host/tagStreams.h"

#include <algorithm>

#include "host/StopSignal.h"
#include "host/input/openInput.h"
#include "tests/host/LogCapture.h"
#include "tests/support/TestHost.h"
#include "tests/support/hex.h"
#include "tests/support/tagFile.h"

namespace test {

std::vector<StreamMessage> readAll(host::Input& input) {
  std::vector<StreamMessage> messages;
  while (const auto message = input.next()) {
    messages.push_back({message->type, message->timeMs, {message->data.begin(), message->data.end()}});
  }
  return messages;
}

std::vector<StreamMessage> messagesOf(const std::string& path) {
  const host::StopSignal stop;
  LogCapture capture;
  return readAll(*host::openInput(path, {}, capture.log(), stop));
}

bool isSequenceHeader(const StreamMessage& message) {
  const bool hasOne = message.type == 9 || (message.type == 8 && message.data.at(0) == std::byte{0xAF});
  return hasOne && message.data.at(1) == std::byte{0};
}

void writeTagStream(const std::vector<StreamMessage>& messages, const std::filesystem::path& file) {
  auto image = tagFile(messages);
  std::ranges::copy(fromHex("464c56"), image.begin());
  writeWholeFile(file, textOf(image));
}

}  // namespace test
