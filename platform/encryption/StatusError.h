#pragma once

#include <exception>

#include "platform/encryption/krvo_rkx.h"

namespace krvo::encryption {

/// A failure that a caller of the library learns as a bare status.
class StatusError : public std::exception {
 public:
  explicit StatusError(RKXStatus status) : status_(status) {}

  RKXStatus status() const { return status_; }
  const char* what() const noexcept override { return "encryption library status"; }

 private:
  RKXStatus status_;
};

inline void require(bool condition, RKXStatus status) {
  if (!condition) throw StatusError(status);
}

/// For calls of OpenSSL that do not fail for any fault of the caller.
inline void requireOpenssl(bool succeeded) {
  require(succeeded, kRKXCryptographyFailed);
}

}  // namespace krvo::encryption
