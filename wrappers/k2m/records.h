#pragma once

#include <chrono>

#include "platform/container/krvo_k2m.h"

namespace krvo::k2m {

/// Throws Exception(kKrvoBadDate) for a time that the record does not hold: before 1904 or from the year 10000 on.
K2MDate makeDate(std::chrono::sys_seconds utc);
K2MDate dateNow();

/// A record that is zero but for its size; the forms of a descriptor have it in the plain one.
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

/// Its size is that of the sample record in it.
template <>
inline K2MHintInfo makeRecord<K2MHintInfo>() {
  K2MHintInfo record{};
  record.sample = makeRecord<K2MSampleInfo>();
  return record;
}

/// A buffer record. `free` may be null: the bytes then stay the caller's.
KrvoK2MDataBuffer makeDataBuffer(const void* data, void* context = nullptr, void (*free)(void*) = nullptr);

}  // namespace krvo::k2m
