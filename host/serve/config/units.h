#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>

namespace host::serve {

// Values of the configuration with a unit. Each function throws UsageError that quotes the text and says what is
// expected.

/// A length of time: a whole number with ms, s, m, h or d after it, such as "1h", at most 100 years; "0" gives 0.
std::chrono::milliseconds parseDuration(std::string_view text);

/// A number of bytes: a whole number with a unit or without. K, M, G, T and KiB ... are powers of 1024, KB, MB, GB and
/// TB of 1000; B is one byte. At most 2^63 - 1.
std::uint64_t parseByteCount(std::string_view text);

}  // namespace host::serve
