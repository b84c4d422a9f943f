#pragma once

#include "platform/tagstream/krvo_mtg.h"

namespace krvo::tagstream {

/// The status of the exception being handled.
KrvoMTGStatus statusOfCurrentException() noexcept;

/// Every entry of the library runs in this: what it throws becomes a status.
template <typename Body>
KrvoMTGStatus guarded(const Body& body) noexcept {
  try {
    body();
    return kKrvoMTGOk;
  } catch (...) {
    return statusOfCurrentException();
  }
}

}  // namespace krvo::tagstream
