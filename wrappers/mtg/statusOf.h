#pragma once

#include "platform/tagstream/krvo_mtg.h"
#include "util/libraryEntry.h"

namespace mtg {

/// Runs an operation for the library and returns the status for its result. No exception may reach the
/// library, whose frames have C linkage.
template <typename Operation>
KrvoMTGStatus statusOf(const Operation& operation) noexcept {
  constexpr auto kStatuses = qvs::util::memoryOrOther(kKrvoMTGOutOfMemory, kKrvoMTGForeignException, kKrvoMTGUnknown);
  return qvs::util::guarded(kStatuses, operation);
}

}  // namespace mtg
