#pragma once

#include <cstdint>
#include <vector>

#include "host/serve/http/HttpParts.h"

struct MHD_Response;

namespace host::serve {

/// The content of an answer while it is sent. Belongs to the response that the network library has; it is used by the
/// network thread of its connection, and by one worker while the connection is suspended.
class Answer {
 public:
  /// The response to queue, which the caller releases; null if there is no memory. `parts` outlives it.
  static MHD_Response* response(HttpParts& parts, MHD_Connection* connection, HttpResponse response);

 private:
  Answer(HttpParts& parts, MHD_Connection* connection, Body body)
      : parts_(parts), connection_(connection), body_(std::move(body)) {}

  /// The callbacks of the library.
  static std::int64_t readSome(void* self, std::uint64_t offset, char* out, std::size_t size);
  static void release(void* self) { delete static_cast<Answer*>(self); }

  std::int64_t read(std::uint64_t offset, std::span<std::byte> out);
  /// Reads from disk, on a worker.
  void fillBlock(std::uint64_t offset) noexcept;

  HttpParts& parts_;
  MHD_Connection* connection_;
  Body body_;
  /// What a worker read, from this offset of the body on.
  std::uint64_t blockOffset_ = 0;
  std::vector<std::byte> block_;
  bool hasFailed_ = false;
};

}  // namespace host::serve
