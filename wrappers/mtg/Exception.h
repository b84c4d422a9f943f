#pragma once

#include <cstdint>

#include "platform/tagstream/krvo_mtg.h"
#include "util/libraryEntry.h"

namespace mtg {

/// A status of the tag-stream library other than 0, see KrvoMTGStatusCode. Streams and decoders may throw it to the
/// library, which returns the same status to its caller.
class Exception : public qvs::util::StatusError {
 public:
  using StatusError::StatusError;
  /// Fixed, since the library gives a number only.
  const char* what() const noexcept override { return "tag-stream error"; }
};

/// Throws Exception if `status` is not 0.
inline void check(std::uint32_t status) {
  if (status != 0) throw Exception(status);
}

}  // namespace mtg
