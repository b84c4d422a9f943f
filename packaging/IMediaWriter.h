#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "packaging/NQMessage.h"

namespace ruvo::k2rpkgutil {

/// Where a fragment was written.
struct FragmentPosition {
  /// Bytes from the start of the file to that of the fragment.
  std::uint64_t position = 0;
  std::uint32_t reserved = 0;
};

/// Writes the fragments of one file.
class IMediaWriter {
 public:
  /// Writes the messages from the front up to, not including, the first whose timestamp is at or past `limit` as one
  /// fragment, and leaves `messages` to the caller. `bootstrap` is the body of the fragment's `abst` box.
  virtual FragmentPosition writeFragment(std::span<const NQMessage> messages, std::uint32_t limit,
                                         std::span<const std::byte> bootstrap) = 0;
  virtual void flush() = 0;

 protected:
  ~IMediaWriter() = default;
};

}  // namespace ruvo::k2rpkgutil
