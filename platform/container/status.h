#pragma once

#include "platform/container/krvo_k2m.h"
#include "util/libraryEntry.h"

namespace krvo::container {

using qvs::util::giveHandle;
using qvs::util::StatusError;

/// Throws `status` unless `condition` is true.
inline void require(bool condition, KrvoStatus status = kKrvoBadArgument) {
  if (!condition) throw StatusError(status);
}

/// Passes on what a callback returned.
inline void check(KrvoStatus status) {
  require(status == kKrvoOk, status);
}

/// Every entry of the library runs in this: what it throws becomes a status.
template <typename Body>
KrvoStatus guarded(const Body& body) noexcept {
  // Lengths come from files and records. One that no memory can take is short of memory, not a fault of the caller.
  constexpr qvs::util::FailureStatuses kStatuses{.malformedInput = kKrvoMalformed,
                                                 .outOfRange = kKrvoTooLarge,
                                                 .tooLong = kKrvoOutOfMemory,
                                                 .outOfMemory = kKrvoOutOfMemory,
                                                 .otherException = kKrvoForeignException,
                                                 .notAnException = kKrvoUnknown};
  return qvs::util::guarded(kStatuses, body);
}

/// Takes back what giveHandle() gave.
template <typename Handle>
KrvoStatus takeHandle(Handle* handle) noexcept {
  return qvs::util::takeHandle(handle, kKrvoBadArgument);
}

}  // namespace krvo::container
