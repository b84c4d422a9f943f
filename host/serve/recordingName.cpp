#include "host/serve/recordingName.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>

#include "host/output.h"

namespace host::serve {
namespace {

/// Length of `20261125T140320.500Z`.
constexpr std::size_t kTimeLength = 20;
constexpr std::int64_t kYear10000Ms = 253402300800000;

/// The same moment as `2026-11-25T14:03:20.500Z` without its separators.
std::string compact(std::string text) {
  std::erase_if(text, [](char c) { return c == '-' || c == ':'; });
  return text;
}

/// A number in plain decimal without leading zeros.
std::optional<std::uint32_t> number(std::string_view digits) {
  std::uint32_t value = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (result.ec != std::errc() || result.ptr != digits.data() + digits.size()) return std::nullopt;
  return value;
}

}  // namespace

std::string recordingNameText(const RecordingName& name) {
  const std::string time = compact(utcText(name.beginMs));
  return name.number == 1 ? time : fmt::format("{}-{}", time, name.number);
}

std::optional<RecordingName> parseRecordingName(std::string_view text) {
  if (text.size() < kTimeLength) return std::nullopt;
  RecordingName name;
  const auto field = [text](std::size_t from, std::size_t count) {
    return static_cast<int>(number(text.substr(from, count)).value_or(0));
  };
  const std::chrono::sys_days day = std::chrono::year(field(0, 4)) / field(4, 2) / field(6, 2);
  const auto time = day + std::chrono::hours(field(9, 2)) + std::chrono::minutes(field(11, 2)) +
                    std::chrono::seconds(field(13, 2)) + std::chrono::milliseconds(field(16, 3));
  name.beginMs = time.time_since_epoch().count();
  if (name.beginMs < 0 || name.beginMs >= kYear10000Ms) return std::nullopt;
  if (text.size() > kTimeLength) {
    const auto suffix = number(text.substr(kTimeLength + 1));
    if (!suffix || *suffix < 2) return std::nullopt;
    name.number = *suffix;
  }
  // This comparison finds all other faults: letters, a thirteenth month, leading zeros of the suffix.
  return recordingNameText(name) == text ? std::optional(name) : std::nullopt;
}

bool isStreamName(std::string_view text) {
  constexpr std::size_t kLongest = 64;
  return !text.empty() && text.size() <= kLongest && std::ranges::all_of(text, [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
  });
}

}  // namespace host::serve
