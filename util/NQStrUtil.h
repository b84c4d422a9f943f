#pragma once

#include <cstdarg>
#include <cstddef>
#include <string_view>

#include "util/NQString.h"

namespace qvs::util {

/// The UTF-8 form of a wide text; lone halves of surrogate pairs become three bytes each (see util/typeconvertor.h).
NQNarrowString toNarrow(std::u16string_view wide);

/// Sets `out` to the arguments as formatted by `pattern`, by the rules at `formatWide`: directly after a "%",
/// `s` takes a narrow string and `S` a wide one, `c` and `C` likewise. A text of 65536 characters or more leaves `out`
/// empty. Arguments may not be objects of classes: pass the c_str() of an NQString. An argument may point into `out`.
void format(NQString& out, const char16_t* pattern, ...);
/// The same; `arguments` is copied and still at its place afterwards.
void formatList(NQString& out, const char16_t* pattern, std::va_list arguments);

/// Bytes as text for a log, {0x41, 0x00, 0x7A} as "A 00 z ": printable ASCII as the character, any other byte as two
/// hex digits, a blank after each. Stops after 1024 bytes, without a mark. Null gives the empty string.
NQString byteDump(const void* data, std::size_t size);

/// A path cut at its last backslash, which belongs to neither part. Slashes do not count: such a path is a name.
struct PathParts {
  /// Empty if the path has no backslash.
  NQString directory;
  NQString name;
};
PathParts splitPath(const NQString& path);

}  // namespace qvs::util
