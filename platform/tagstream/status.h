#pragma once

#include "platform/tagstream/krvo_mtg.h"
#include "util/libraryEntry.h"

namespace krvo::tagstream {

using qvs::util::giveHandle;
using qvs::util::StatusError;

inline void require(bool condition, KrvoMTGStatus status = kKrvoMTGBadArgument) {
  if (!condition) throw StatusError(status);
}

/// Passes on what a callback returned.
inline void check(KrvoMTGStatus status) {
  require(status == kKrvoMTGOk, status);
}

/// Every entry of the library runs in this: what it throws becomes a status.
template <typename Body>
KrvoMTGStatus guarded(const Body& body) noexcept {
  constexpr auto kStatuses = qvs::util::memoryOrOther(kKrvoMTGOutOfMemory, kKrvoMTGForeignException, kKrvoMTGUnknown);
  return qvs::util::guarded(kStatuses, body);
}

/// Takes back what giveHandle() gave.
template <typename Handle>
KrvoMTGStatus takeHandle(Handle* handle) noexcept {
  return qvs::util::takeHandle(handle, kKrvoMTGBadArgument);
}

}  // namespace krvo::tagstream
