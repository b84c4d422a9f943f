#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace host {

/// The first `shown` bytes of the SHA-256, at most 32, in lower-case hexadecimal digits: a name for content. Throws
/// CommandError if the library fails.
std::string digestText(std::span<const std::byte> bytes, std::size_t shown);

}  // namespace host
