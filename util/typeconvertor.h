#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qvs::util {

// Between UTF-8 and 16-bit units, unit by unit: a form above three bytes does not exist here, and each half of a
// surrogate pair is a unit of its own, with three bytes.

/// The unit at the front of a UTF-8 text.
struct Utf8Unit {
  char16_t unit = 0;
  /// Bytes that it takes; 0 where the front is no whole and valid form.
  std::size_t size = 0;
};
/// `text` is not empty.
Utf8Unit frontOfUtf8(std::string_view text);

/// Writes the units of `utf8` to `out`, which has room for one a byte, and answers how many there are. Nothing where
/// any part of the text is invalid; `out` then holds anything.
std::optional<std::size_t> utf8ToUnits(std::string_view utf8, char16_t* out);

/// Units as they come, where `utf8ToUnits` would fail: an invalid byte becomes the unit of its value.
std::u16string utf8ToUnitsLeniently(std::string_view utf8);

/// Most bytes that a unit takes.
inline constexpr std::size_t kMaxUtf8Size = 3;

/// Writes the UTF-8 form of `units` to `out`, which has room for kMaxUtf8Size bytes a unit, and answers its bytes.
std::size_t unitsToUtf8(std::u16string_view units, char* out);

}  // namespace qvs::util
