#pragma once

#include "platform/encryption/krvo_rkx.h"
#include "platform/encryption/openssl.h"

namespace krvo::encryption {

/// The status of the exception being handled.
RKXStatus statusOfCurrentException() noexcept;

/// Every entry of the library runs in this: what it throws becomes a status, and OpenSSL's complaints are dropped.
template <typename Body>
RKXStatus guarded(const Body& body) noexcept {
  const ErrorQueueScope errors;
  try {
    body();
    return kRKXOk;
  } catch (...) {
    return statusOfCurrentException();
  }
}

}  // namespace krvo::encryption
