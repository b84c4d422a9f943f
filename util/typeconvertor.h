#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qvs::util {

// Between UTF-8 and 16-bit units, one unit at a time: sequences of four bytes do not exist here, and each half of a
// surrogate pair is a sequence of three bytes. So a character beyond 0xFFFF has six bytes, and a true four-byte
// sequence is invalid.

//
//     units             bytes
//     0000 .. 007F      00..7F
//     0080 .. 07FF      C2..DF 80..BF
//     0800 .. 0FFF      E0     A0..BF 80..BF
//     1000 .. FFFF      E1..EF 80..BF 80..BF

/// The unit at the front of a UTF-8 text.
struct Utf8Unit {
  char16_t unit = 0;
  /// Bytes of its sequence; 0 if the text does not begin with a whole and valid one.
  std::size_t size = 0;
};
/// Decodes the front. `text` is not empty. Overlong sequences are invalid.
Utf8Unit frontOfUtf8(std::string_view text);

/// Writes the units of `utf8` to `out`, which has room for as many units as the text has bytes, and returns how many
/// there are. Returns nothing if any part of the text is invalid; the content of `out` is then unspecified.
std::optional<std::size_t> utf8ToUnits(std::string_view utf8, char16_t* out);

/// The same for texts that must not be lost, as in a log: an invalid byte becomes the unit of its value.
std::u16string utf8ToUnitsLeniently(std::string_view utf8);

/// The most bytes that one unit becomes.
inline constexpr std::size_t kMaxUtf8Size = 3;

/// Writes the UTF-8 form of `units` to `out`, which has room for kMaxUtf8Size bytes for each unit, and returns the
/// number of bytes.
std::size_t unitsToUtf8(std::u16string_view units, char* out);

}  // namespace qvs::util
