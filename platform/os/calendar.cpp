#include "platform/os/calendar.h"

#include <time.h>

namespace platform::os {

std::optional<std::tm> toLocalTime(std::int64_t seconds) {
  const std::time_t time = seconds;
  std::tm fields{};
  if (::localtime_r(&time, &fields) == nullptr) return std::nullopt;
  return fields;
}

std::optional<std::tm> toUtc(std::int64_t seconds) {
  const std::time_t time = seconds;
  std::tm fields{};
  if (::gmtime_r(&time, &fields) == nullptr) return std::nullopt;
  return fields;
}

std::optional<std::int64_t> fromLocalTime(std::tm local) {
  const std::time_t time = ::mktime(&local);
  // -1 is a failure and also the last second of 1969: docs/decisions.md, "Only times from 1970 on are dates".
  if (time < 0) return std::nullopt;
  return time;
}

}  // namespace platform::os
