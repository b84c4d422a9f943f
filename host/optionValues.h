#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace host {

// The forms of values on the command line. Each function throws UsageError that quotes the text and says what is
// expected.

/// A number of bytes: a whole number above 0, with K, M or G (1024, 1024^2, 1024^3) after it or nothing.
std::uint64_t parseSize(const std::string& text);

/// A length of time in seconds, from 0 to 10^9, with up to three decimals: "30", "0.5".
std::chrono::milliseconds parseSeconds(const std::string& text);

/// A place in a recording: seconds, or [[H:]M:]S, with up to three decimals: "75.5", "1:15.5". Minutes after hours, and
/// seconds after minutes, are below 60. At most 10^9 seconds.
std::chrono::milliseconds parseTime(const std::string& text);

}  // namespace host
