#pragma once

#include <cstdint>
#include <ctime>
#include <optional>

namespace platform::os {

// Between seconds since 1970-01-01 UTC and the fields of a date. Nothing where the system cannot tell.

std::optional<std::tm> toLocalTime(std::int64_t seconds);
std::optional<std::tm> toUtc(std::int64_t seconds);
/// A date before 1970 is one of those that the system cannot tell.
std::optional<std::int64_t> fromLocalTime(std::tm local);

}  // namespace platform::os
