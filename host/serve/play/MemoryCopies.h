#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

#include "host/serve/http/Body.h"

namespace host::serve {

/// Copies of contents in files that are in memory and have no name, which the system sends
/// without another copy for each client. The limit is for all of them together, with those that slow clients still
/// read. Any thread may call it.
class MemoryCopies {
 public:
  /// `limit` in bytes, for all copies that exist.
  explicit MemoryCopies(std::uint64_t limit) : limit_(limit) {}

  /// Reads all of it, which may wait for the disk. Nothing if the limit or the system does not allow a copy. Throws as
  /// Body::read() does.
  std::optional<Body> copy(const Body& body);
  /// Bytes of the copies that exist.
  std::uint64_t used() const { return *used_; }

 private:
  /// The file, which gives its bytes back when nobody uses it any more. Null if there is none.
  Body::File newFile(std::uint64_t size);

  const std::uint64_t limit_;
  /// Shared with the files: the last user of a file may be a response that is still sent.
  std::shared_ptr<std::atomic<std::uint64_t>> used_ = std::make_shared<std::atomic<std::uint64_t>>(0);
};

}  // namespace host::serve
