#pragma once

#include "platform/encryption/krvo_rkx.h"
#include "platform/encryption/openssl.h"
#include "util/libraryEntry.h"

namespace krvo::encryption {

using qvs::util::StatusError;

/// Throws StatusError with that status unless the condition is true.
inline void require(bool condition, RKXStatus status) {
  if (!condition) throw StatusError(status);
}

/// For calls of OpenSSL that do not fail for any fault of the caller.
inline void requireOpenssl(bool succeeded) {
  require(succeeded, kRKXCryptographyFailed);
}

/// Every entry of the library runs in this: what it throws becomes a status, and OpenSSL's complaints are dropped.
template <typename Body>
RKXStatus guarded(const Body& body) noexcept {
  constexpr qvs::util::FailureStatuses kStatuses{.malformedInput = kRKXCryptographyFailed,
                                                 .outOfRange = kRKXBadArgument,
                                                 .tooLong = kRKXOutOfMemory,
                                                 .outOfMemory = kRKXOutOfMemory,
                                                 .otherException = kRKXCryptographyFailed,
                                                 .notAnException = kRKXCryptographyFailed};
  const ErrorQueueScope errors;
  return qvs::util::guarded(kStatuses, body);
}

}  // namespace krvo::encryption
