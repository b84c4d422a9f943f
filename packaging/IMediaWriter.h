#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "packaging/NQMessage.h"

namespace ruvo::k2rpkgutil {

/// The place of a written fragment.
struct FragmentPosition {
  /// Offset of the fragment's first byte from the start of the file.
  std::uint64_t position = 0;
  /// Always 0.
  std::uint32_t reserved = 0;
};

/// Writes the fragments of one file. No destructor slot: the owner knows the class.
class IMediaWriter {
 public:
  /// Writes one fragment: the messages from the front up to, not including, the first whose timestamp is `limit` or
  /// later (milliseconds on the stream's clock). `messages` stays the caller's, who removes the written ones only once
  /// this has returned; after an exception the same call may be repeated. `bootstrap` is the body of the fragment's
  /// `abst` box and is read during the call only.
  virtual FragmentPosition writeFragment(std::span<const NQMessage> messages, std::uint32_t limit,
                                         std::span<const std::byte> bootstrap) = 0;
  /// Passes on what the writer buffers to its stream. No recording needs it: data reach the stream with each fragment.
  virtual void flush() = 0;

 protected:
  ~IMediaWriter() = default;
};

}  // namespace ruvo::k2rpkgutil
