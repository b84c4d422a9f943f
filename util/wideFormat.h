#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>

namespace qvs::util {

/// The longest text that a pattern may give.
inline constexpr std::size_t kMaxFormatted = 65535;

/// The text that a printf pattern of 16-bit units makes of the arguments; empty where it would be above kMaxFormatted
/// units. Numbers look as in the C library's printf, in its locale.
///
/// Conversions d i u o x X e E f F g G a A p c s, flags, width, precision, `*` and the length modifiers are those of
/// printf (I64, I32 and w are known as well). For texts:
///
///     %s  %c             narrow        %hs  %hc           narrow       %5S  %5C     narrow
///     %S  %C             wide          %ls %lc %ws %wc    wide         %5s  %5c     wide
///
/// so that a letter's meaning turns over where anything stands between it and the "%". Narrow texts are UTF-8, their
/// precision counts bytes; an invalid byte becomes the unit of its value. A null text is "(null)". %n takes its
/// argument and does nothing. An unknown conversion is copied, and takes none.
std::u16string formatWide(const char16_t* pattern, std::va_list arguments);

}  // namespace qvs::util
