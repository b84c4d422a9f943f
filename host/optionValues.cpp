#include "host/optionValues.h"

#include <fmt/format.h>

#include <charconv>
#include <limits>
#include <optional>
#include <string_view>
#include <system_error>

#include "host/errors.h"

namespace host {
namespace {

using Milliseconds = std::chrono::milliseconds;

constexpr std::uint64_t kMostSeconds = 1'000'000'000;

/// All of the text as digits.
std::optional<std::uint64_t> wholeNumber(std::string_view text) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// "7", "7.5": by whole numbers, since a binary fraction would round 0.29 s down to 289 ms.
std::optional<std::uint64_t> millisecondsOf(std::string_view text) {
  constexpr std::size_t kMostDecimals = 3;
  const std::size_t point = text.find('.');
  const auto seconds = wholeNumber(text.substr(0, point));
  if (!seconds || *seconds > kMostSeconds) return std::nullopt;
  if (point == std::string_view::npos) return *seconds * 1000;
  std::string decimals(text.substr(point + 1));
  if (decimals.empty() || decimals.size() > kMostDecimals) return std::nullopt;
  decimals.resize(kMostDecimals, '0');
  const auto fraction = wholeNumber(decimals);
  if (!fraction) return std::nullopt;
  return *seconds * 1000 + *fraction;
}

std::optional<std::uint64_t> placeOf(std::string_view text) {
  constexpr std::uint64_t kMinute = 60;
  const std::size_t colon = text.rfind(':');
  const auto milliseconds = millisecondsOf(text.substr(colon + 1));
  if (colon == std::string_view::npos || !milliseconds) return milliseconds;
  // Hours and minutes, or minutes alone.
  const std::string_view above = text.substr(0, colon);
  const std::size_t first = above.find(':');
  const auto minutes = wholeNumber(above.substr(first + 1));
  const bool hasHours = first != std::string_view::npos;
  const auto hours = hasHours ? wholeNumber(above.substr(0, first)) : 0;
  if (!minutes || !hours || *milliseconds >= kMinute * 1000 || (hasHours && *minutes >= kMinute)) return std::nullopt;
  // Each part alone is checked, so that the sum cannot overflow.
  if (*minutes > kMostSeconds || *hours > kMostSeconds) return std::nullopt;
  return ((*hours * kMinute + *minutes) * kMinute) * 1000 + *milliseconds;
}

}  // namespace

std::uint64_t parseSize(const std::string& text) {
  constexpr std::string_view kUnits = "KMG";
  std::string_view digits = text;
  unsigned shift = 0;
  if (const auto unit = digits.empty() ? std::string_view::npos : kUnits.find(digits.back());
      unit != std::string_view::npos) {
    shift = 10 * (static_cast<unsigned>(unit) + 1);
    digits.remove_suffix(1);
  }
  const auto number = wholeNumber(digits);
  if (!number || *number == 0 || *number > std::numeric_limits<std::uint64_t>::max() >> shift) {
    throw UsageError(
        fmt::format("'{}' is no size; expected a whole number of bytes above 0, with K, M or G after it or not", text));
  }
  return *number << shift;
}

Milliseconds parseSeconds(const std::string& text) {
  const auto milliseconds = millisecondsOf(text);
  if (milliseconds && *milliseconds <= kMostSeconds * 1000) return Milliseconds(*milliseconds);
  throw UsageError(
      fmt::format("'{}' is no length of time; expected seconds, such as 30 or 0.5, at most {}", text, kMostSeconds));
}

Milliseconds parseTime(const std::string& text) {
  const auto place = placeOf(text);
  if (place && *place <= kMostSeconds * 1000) return Milliseconds(*place);
  throw UsageError(fmt::format(
      "'{}' is no time; expected seconds or [[H:]M:]S, with up to three decimals, such as 75.5 or 0:01:15.500", text));
}

}  // namespace host
