#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/input/Input.h"
#include "tests/support/StreamBuilder.h"

namespace test {

/// All messages of an input.
std::vector<StreamMessage> readAll(host::Input& input);
/// What `k2r record` takes from a file.
std::vector<StreamMessage> messagesOf(const std::string& path);
/// Of AVC or AAC.
bool isSequenceHeader(const StreamMessage& message);
/// Writes messages into a tag stream that the ffmpeg tool reads, too.
void writeTagStream(const std::vector<StreamMessage>& messages, const std::filesystem::path& file);

}  // namespace test
