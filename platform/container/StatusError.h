#pragma once

#include <exception>

#include "platform/container/krvo_k2m.h"

namespace krvo::container {

/// A failure that a caller of the library learns as a bare status.
class StatusError : public std::exception {
 public:
  explicit StatusError(KrvoStatus status) : status_(status) {}

  KrvoStatus status() const { return status_; }
  const char* what() const noexcept override { return "container library status"; }

 private:
  KrvoStatus status_;
};

inline void require(bool condition, KrvoStatus status = kKrvoBadArgument) {
  if (!condition) throw StatusError(status);
}

/// Passes on what a callback answered.
inline void check(KrvoStatus status) {
  require(status == kKrvoOk, status);
}

}  // namespace krvo::container
