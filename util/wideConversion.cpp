#include "util/wideConversion.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

namespace qvs::util {
namespace {

static_assert(std::is_same_v<std::intmax_t, long>);
static_assert(std::is_same_v<std::ptrdiff_t, long>);
static_assert(std::is_same_v<std::size_t, unsigned long>);

/// A modifier comes after those that begin with it.
constexpr struct {
  std::u16string_view text;
  ArgumentSize size;
} kSizes[] = {{u"hh", ArgumentSize::kChar},      {u"h", ArgumentSize::kShort}, {u"ll", ArgumentSize::kLongLong},
              {u"l", ArgumentSize::kLong},       {u"j", ArgumentSize::kLong},  {u"z", ArgumentSize::kLong},
              {u"t", ArgumentSize::kLong},       {u"w", ArgumentSize::kWide},  {u"L", ArgumentSize::kLongDouble},
              {u"I64", ArgumentSize::kLongLong}, {u"I32", ArgumentSize::kInt}};

bool take(const char16_t*& at, std::u16string_view text) {
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

/// Digits or an argument; 0 where there is neither.
int readNumber(const char16_t*& at, Arguments& arguments) {
  if (take(at, u"*")) return std::clamp(va_arg(arguments.list, int), -kMostNumber, kMostNumber);
  int number = 0;
  for (; *at >= u'0' && *at <= u'9'; ++at) number = std::min(number * 10 + (*at - u'0'), kMostNumber);
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
  if (*at != 0) ++at;
  return conversion;
}

}  // namespace qvs::util
