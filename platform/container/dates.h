#pragma once

#include <cstdint>

#include "platform/container/krvo_k2m.h"

namespace krvo::container {

/// Seconds since 1904-01-01 UTC, the form of dates in boxes (ISO/IEC 14496-12, 8.2.2). Throws
/// StatusError(kKrvoBadArgument) for a record of the wrong size, and StatusError(kKrvoBadDate) for a year below 1904 or
/// a field out of its range.
std::uint64_t toSeconds(const K2MDate& date);

/// The inverse. A time after the year 9999, which only a damaged file has, becomes the last second of that year. Never
/// throws.
K2MDate toDate(std::uint64_t seconds);

}  // namespace krvo::container
