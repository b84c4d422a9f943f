#include "util/wideConversion.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <type_traits>

namespace qvs::util {
namespace {

// The table below treats j, t and z as l: true where these types are long.
static_assert(std::is_same_v<std::intmax_t, long>);
static_assert(std::is_same_v<std::ptrdiff_t, long>);
static_assert(std::is_same_v<std::size_t, unsigned long>);

/// The first match counts, so a modifier comes after the longer ones that begin with it.
constexpr struct {
  std::u16string_view text;
  ArgumentSize size;
} kSizes[] = {{u"hh", ArgumentSize::kChar},      {u"h", ArgumentSize::kShort}, {u"ll", ArgumentSize::kLongLong},
              {u"l", ArgumentSize::kLong},       {u"j", ArgumentSize::kLong},  {u"z", ArgumentSize::kLong},
              {u"t", ArgumentSize::kLong},       {u"w", ArgumentSize::kWide},  {u"L", ArgumentSize::kLongDouble},
              {u"I64", ArgumentSize::kLongLong}, {u"I32", ArgumentSize::kInt}};

bool take(const char16_t*& at, std::u16string_view text) {
  // Stops at the terminator of the pattern, which equals no unit of `text`.
  const char16_t* next = at;
  for (const char16_t unit : text) {
    if (*next++ != unit) return false;
  }
  at = next;
  return true;
}

void addFlag(WideConversion& conversion, char flag) {
  if (!conversion.has(flag)) conversion.flags += flag;
}

void readFlags(const char16_t*& at, WideConversion& conversion) {
  constexpr std::u16string_view kFlags = u"-+ #0";
  for (; kFlags.find(*at) != std::u16string_view::npos; ++at) addFlag(conversion, static_cast<char>(*at));
}

/// A number in digits or, for `*`, an argument; 0 if there is neither. Cut at each digit, so that a long number in the
/// pattern cannot overflow.
int readNumber(const char16_t*& at, Arguments& arguments) {
  if (take(at, u"*")) return std::clamp(va_arg(arguments.list, int), -kMaxWidth, kMaxWidth);
  int number = 0;
  for (; *at >= u'0' && *at <= u'9'; ++at) number = std::min(number * 10 + (*at - u'0'), kMaxWidth);
  return number;
}

void readWidth(const char16_t*& at, Arguments& arguments, WideConversion& conversion) {
  conversion.width = readNumber(at, arguments);
  if (conversion.width >= 0) return;
  addFlag(conversion, '-');
  conversion.width = -conversion.width;
}

ArgumentSize readSize(const char16_t*& at) {
  for (const auto& row : kSizes) {
    if (take(at, row.text)) return row.size;
  }
  return ArgumentSize::kInt;
}

}  // namespace

WideConversion readWideConversion(const char16_t*& at, Arguments& arguments) {
  WideConversion conversion;
  const char16_t* const start = at;
  readFlags(at, conversion);
  readWidth(at, arguments, conversion);
  if (take(at, u".")) conversion.precision = readNumber(at, arguments);
  conversion.size = readSize(at);
  conversion.isDirect = at == start;
  conversion.letter = *at;
  // A "%" at the end of the pattern: the terminator is not passed.
  if (*at != 0) ++at;
  return conversion;
}

}  // namespace qvs::util
