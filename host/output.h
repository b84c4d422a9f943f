#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>

namespace host {

/// A document for standard output. Keys stay in the order in which they are set.
using Json = nlohmann::ordered_json;

/// Prints the one document of a command to standard output. Bytes that are not UTF-8 are replaced. Throws CommandError
/// if it cannot be written.
void printJson(const Json& document);
/// Prints text to standard output. Control characters except line ends become `\xNN`, since text from a file could
/// otherwise control the terminal. Throws CommandError if it cannot be written.
void printText(std::string_view text);

/// Milliseconds as `h:mm:ss.mmm`.
std::string timeText(std::uint64_t milliseconds);

/// Milliseconds since 1970-01-01 UTC as `2026-01-31T12:00:00.000Z` (RFC 3339).
std::string utcText(std::int64_t milliseconds);

/// Two lower-case digits a byte.
std::string hexText(std::span<const std::byte> bytes);

}  // namespace host
