#pragma once

#include <cstdint>
#include <ctime>
#include <optional>

namespace platform::os {

// Conversions between seconds since 1970-01-01 00:00 UTC and the fields of a date, without the static buffer of the C
// library's plain functions: any thread may call them. They return nothing if the system cannot convert.

/// In the time zone of the process (TZ).
std::optional<std::tm> toLocalTime(std::int64_t seconds);
std::optional<std::tm> toUtc(std::int64_t seconds);
/// Fields out of range are carried over, as mktime() does; tm_isdst decides between the two hours of a clock change.
/// Returns nothing for dates before 1970, since mktime() reports its failures by -1.
std::optional<std::int64_t> fromLocalTime(std::tm local);

}  // namespace platform::os
