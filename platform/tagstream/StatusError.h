#pragma once

#include <exception>

#include "platform/tagstream/krvo_mtg.h"

namespace krvo::tagstream {

/// A failure that a caller of the library learns as a bare status.
class StatusError : public std::exception {
 public:
  explicit StatusError(KrvoMTGStatus status) : status_(status) {}

  KrvoMTGStatus status() const { return status_; }
  const char* what() const noexcept override { return "tag-stream library status"; }

 private:
  KrvoMTGStatus status_;
};

inline void require(bool condition, KrvoMTGStatus status = kKrvoMTGBadArgument) {
  if (!condition) throw StatusError(status);
}

/// Passes on what a callback answered.
inline void check(KrvoMTGStatus status) {
  require(status == kKrvoMTGOk, status);
}

}  // namespace krvo::tagstream
