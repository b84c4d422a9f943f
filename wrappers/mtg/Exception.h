#pragma once

#include <cstdint>
#include <exception>

#include "platform/tagstream/krvo_mtg.h"

namespace mtg {

/// A status of the tag-stream library other than 0, see KrvoMTGStatusCode. Streams and decoders may throw it to the
/// library, which returns the same status to its caller.
class Exception : public std::exception {
 public:
  explicit Exception(std::uint32_t status) : status_(status) {}

  std::uint32_t status() const { return status_; }
  /// Fixed, since the library gives a number only.
  const char* what() const noexcept override { return "tag-stream error"; }

 private:
  std::uint32_t status_;
};

/// Throws Exception if `status` is not 0.
inline void check(std::uint32_t status) {
  if (status != 0) throw Exception(status);
}

}  // namespace mtg
