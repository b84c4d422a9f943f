#pragma once

#include <cstdarg>
#include <string>

#include "util/typeconvertor.h"
#include "util/wideFormat.h"

namespace qvs::util {

/// What width and precision are held to: bytes enough for one unit more than the longest text has.
inline constexpr int kMostNumber = static_cast<int>((kMaxFormatted + 1) * kMaxUtf8Size);

/// A list of arguments that is taken from in several places.
struct Arguments {
  std::va_list list;
};

/// A length modifier.
enum class ArgumentSize { kInt, kChar, kShort, kLong, kLongLong, kLongDouble, kWide };

/// One "%" of a printf pattern with what belongs to it.
struct WideConversion {
  /// Those of "-+ #0" that are there, once each.
  std::string flags;
  int width = 0;
  /// Negative where there is none.
  int precision = -1;
  ArgumentSize size = ArgumentSize::kInt;
  /// What the pattern has behind all these, known or not; 0 at its end.
  char16_t letter = 0;
  /// The letter stands directly behind the "%".
  bool isDirect = false;

  bool has(char flag) const { return flags.find(flag) != std::string::npos; }
};

/// Reads a conversion and leaves `at`, which starts behind the "%", behind it. `*` takes an argument.
WideConversion readWideConversion(const char16_t*& at, Arguments& arguments);

}  // namespace qvs::util
