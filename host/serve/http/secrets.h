#pragma once

#include <string>
#include <string_view>

namespace host::serve {

/// SHA-256, in lower-case hexadecimal digits. Throws std::runtime_error if the library fails.
std::string sha256Hex(std::string_view bytes);
/// HMAC with SHA-256, in lower-case hexadecimal digits. Throws std::runtime_error if the library fails.
std::string hmacHex(std::string_view key, std::string_view bytes);

/// Whether the texts are equal. The time says nothing about where they differ, and nothing about the length of
/// `secret`.
bool isSameSecret(std::string_view presented, std::string_view secret);

}  // namespace host::serve
