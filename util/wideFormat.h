#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>

namespace qvs::util {

/// The longest text that a pattern may produce, in units.
inline constexpr std::size_t kMaxFormatted = 65535;

/// The arguments as formatted by a printf pattern of 16-bit units; empty if it would have more than
/// kMaxFormatted units. Numbers are those of the C library's printf, in the locale of the process. There is no wide
/// printf for 16-bit units in the C library, whose wchar_t has 32 bits.
///
/// The pattern and its arguments have to agree, as for printf: nothing checks them. Conversions d i u o x X e E f F g G
/// a A p c s, flags, width, precision, `*` and the length modifiers are those of printf (I64, I32 and w are known as
/// well). For texts:
///
///     %s  %c             narrow        %hs  %hc           narrow       %5S  %5C     narrow
///     %S  %C             wide          %ls %lc %ws %wc    wide         %5s  %5c     wide
///
/// so the meaning of a letter is swapped if anything is between it and the "%". Narrow texts are UTF-8, and their
/// precision counts bytes; an invalid byte becomes the unit of its value. A null text is "(null)". %n takes its
/// argument and writes nothing there. An unknown conversion is copied and takes no argument.
std::u16string formatWide(const char16_t* pattern, std::va_list arguments);

}  // namespace qvs::util
