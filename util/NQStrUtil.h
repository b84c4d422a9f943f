#pragma once

#include <cstdarg>
#include <cstddef>
#include <string_view>

#include "util/NQString.h"

namespace qvs::util {

/// The UTF-8 form of a wide text (see util/typeconvertor.h).
NQNarrowString toNarrow(std::u16string_view wide);

/// Sets `out` to the text that `pattern` makes of the arguments, as told at `formatWide`; directly behind a "%", `s`
/// takes a narrow string and `S` a wide one, `c` and `C` likewise. A text of 65536 characters or more leaves `out`
/// empty. Arguments may not be objects of classes: of an NQString its c_str() is passed.
void format(NQString& out, const char16_t* pattern, ...);
void formatList(NQString& out, const char16_t* pattern, std::va_list arguments);

/// Bytes for a log, the first 1024 at most: printable ASCII as it is, all else as two hex digits, a blank behind each.
/// Null gives the empty string.
NQString byteDump(const void* data, std::size_t size);

/// A path cut at its last backslash, which goes to neither part.
struct PathParts {
  /// Empty where the path has no backslash.
  NQString directory;
  NQString name;
};
PathParts splitPath(const NQString& path);

}  // namespace qvs::util
