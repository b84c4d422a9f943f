#pragma once

#include <cstdint>

#include "util/libraryEntry.h"

namespace rkx {

/// A status of the encryption library other than 0, see RKXStatusCode. The host's log gets the number.
class RKXException : public qvs::util::StatusError {
 public:
  using StatusError::StatusError;
  /// Fixed, since the library gives a number only.
  const char* what() const noexcept override { return "RKX error"; }
};

/// Throws RKXException if `status` is not 0.
inline void check(std::uint32_t status) {
  if (status != 0) throw RKXException(status);
}

}  // namespace rkx
