#pragma once

#include <cstdarg>
#include <string>

#include "util/typeconvertor.h"
#include "util/wideFormat.h"

namespace qvs::util {

/// Limit of width and precision: enough bytes for one unit more than the longest text. A larger width makes the text
/// too long in any case, so cutting it changes no result, and sums of widths cannot overflow.
inline constexpr int kMaxWidth = static_cast<int>((kMaxFormatted + 1) * kMaxUtf8Size);

/// A list of arguments that several functions take from. A struct, since a va_list itself may be an array, which decays
/// when it is passed.
struct Arguments {
  std::va_list list;
};

/// A length modifier of printf: hh, h, l (also j, z, t), ll (also I64), L, w; kInt without one or with I32.
enum class ArgumentSize { kInt, kChar, kShort, kLong, kLongLong, kLongDouble, kWide };

/// One conversion of a printf pattern, from the "%" to its letter.
struct WideConversion {
  /// Those of the flags "-+ #0" that are present, each once.
  std::string flags;
  /// At least 0: a negative argument for `*` sets the flag "-".
  int width = 0;
  /// Negative if there is none.
  int precision = -1;
  ArgumentSize size = ArgumentSize::kInt;
  /// The unit after all these, a known letter or not; 0 if the pattern ends there.
  char16_t letter = 0;
  /// Whether the letter directly follows the "%", which swaps narrow and wide texts.
  bool isDirect = false;

  bool has(char flag) const { return flags.find(flag) != std::string::npos; }
};

/// Reads a conversion from `at`, which is just after the "%", and leaves `at` after its letter. Each `*` takes an
/// argument.
WideConversion readWideConversion(const char16_t*& at, Arguments& arguments);

}  // namespace qvs::util
