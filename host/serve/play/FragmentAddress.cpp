#include "host/serve/play/FragmentAddress.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace host::serve {
namespace {

constexpr std::string_view kSuffix = ".m4s";
/// The year 9999 in ms. Only an invented address has a later place, and players compute this one exactly in floating
/// point.
constexpr std::uint64_t kLastPlaceMs = 253402300800000;

/// Takes a number and the hyphen after it, if there is one, off the front of the text.
template <typename Number>
bool take(std::string_view& text, Number& value) {
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc()) return false;
  text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
  if (text.starts_with('-')) text.remove_prefix(1);
  return true;
}

}  // namespace

std::string FragmentAddress::text() const {
  std::string text = fmt::format("{}-{}", number, placeMs);
  for (const std::uint32_t duration : lastDurations) text += fmt::format("-{}", duration);
  return text.append(kSuffix);
}

std::uint32_t FragmentAddress::sequenceNumber() const {
  // The place alone rises over recordings, in which fragments are counted anew. Fragments are longer than this.
  constexpr std::uint64_t kUnitMs = 16;
  return static_cast<std::uint32_t>(placeMs / kUnitMs);
}

std::optional<FragmentAddress> parseFragmentAddress(std::string_view text) {
  constexpr std::size_t kMostTracks = 16;
  FragmentAddress address;
  std::string_view rest = text.substr(0, text.size() - std::min(text.size(), kSuffix.size()));
  if (!take(rest, address.number) || !take(rest, address.placeMs) || address.placeMs > kLastPlaceMs)
    return std::nullopt;
  for (std::uint32_t duration = 0; address.lastDurations.size() < kMostTracks && take(rest, duration);) {
    address.lastDurations.push_back(duration);
  }
  // This comparison finds all other faults: other characters, leading zeros, another suffix.
  return address.text() == text ? std::optional(address) : std::nullopt;
}

}  // namespace host::serve
