#pragma once

#include "platform/container/krvo_k2m.h"

namespace krvo::container {

/// The status of the exception being handled.
KrvoStatus statusOfCurrentException() noexcept;

/// Every entry of the library runs in this: what it throws becomes a status.
template <typename Body>
KrvoStatus guarded(const Body& body) noexcept {
  try {
    body();
    return kKrvoOk;
  } catch (...) {
    return statusOfCurrentException();
  }
}

}  // namespace krvo::container
