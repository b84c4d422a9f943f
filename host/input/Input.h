#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace host {

/// One message of a stream, as it goes to the module. The data are the input's, and stay until its next().
struct InputMessage {
  /// 8 audio, 9 video, 18 script data in AMF0, 15 in AMF3; from a tag stream any other, too.
  std::uint8_t type = 0;
  std::uint32_t timeMs = 0;
  std::span<const std::byte> data;
};

/// A source of messages.
class Input {
 public:
  Input() = default;
  virtual ~Input() = default;
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  /// Asks for timestamps that begin at `timeMs`, for the continuation of a recording. Before the first next(). An input
  /// whose timestamps are given keeps them.
  virtual void continueAt(std::uint32_t) {}
  /// Its messages are handed on as they are, whatever can be made of them.
  virtual bool isVerbatim() const { return false; }
  /// The next message; nothing at the end, and soon after a request to stop. Throws InputError where the source fails.
  virtual std::optional<InputMessage> next() = 0;
};

}  // namespace host
