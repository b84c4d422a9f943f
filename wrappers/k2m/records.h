#pragma once

#include <chrono>

#include "platform/container/krvo_k2m.h"

namespace krvo::k2m {

/// The record of a date in UTC, to the second. Throws Exception with kKrvoBadDate for a time before 1904 or from the
/// year 10000 on.
K2MDate makeDate(std::chrono::sys_seconds utc);
/// The present time of the system's clock.
K2MDate dateNow();

/// A record whose size field is set and all others are zero. The library refuses a record with another size. Special
/// forms of a descriptor have the size in their `base`, for the whole record.
template <typename Record>
Record makeRecord() {
  Record record{};
  if constexpr (requires { record.base; }) {
    record.base.size = sizeof(Record);
  } else {
    record.size = sizeof(Record);
  }
  return record;
}

/// Two sample records without a size of their own: only the first one's is set.
template <>
inline K2MHintInfo makeRecord<K2MHintInfo>() {
  K2MHintInfo record{};
  record.sample = makeRecord<K2MSampleInfo>();
  return record;
}

/// A buffer record. With `free` the library owns the bytes and calls `free(context)` once when it is done with them;
/// with null they stay the caller's, who keeps them as long as the call that gets the record says.
KrvoK2MDataBuffer makeDataBuffer(const void* data, void* context = nullptr, void (*free)(void*) = nullptr);

}  // namespace krvo::k2m
