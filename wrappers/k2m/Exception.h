#pragma once

#include <cstdint>

#include "util/libraryEntry.h"

namespace krvo::k2m {

/// A status of the container library other than 0, see KrvoStatusCode. Also thrown by streams for the library, which
/// then returns the same status to its caller: so a failure of the host's file services keeps its number on the way up.
class Exception : public qvs::util::StatusError {
 public:
  using StatusError::StatusError;
  /// Empty, since the library gives a number only. Whoever logs it names the file.
  const char* what() const noexcept override { return ""; }
};

/// Throws Exception if `status` is not 0.
inline void check(std::uint32_t status) {
  if (status != 0) throw Exception(status);
}

}  // namespace krvo::k2m
