#include "util/NQTimeValue.h"

#include <algorithm>
#include <cwchar>
#include <optional>
#include <string>

#include "platform/os/calendar.h"
#include "util/NQStrUtil.h"

namespace qvs::util {
namespace {

// 2^32 seconds, in the year 2106. The text for later times says 2038 nevertheless; it is fixed.
constexpr std::int64_t kFirstLateTick = 0x98968000000000;
constexpr std::size_t kMaxText = 512;

NQString textOfDate(const std::tm& date, const NQString& pattern) {
  const std::wstring widePattern(pattern.view().begin(), pattern.view().end());
  wchar_t text[kMaxText];
  // 0 when the text does not fit, and also for an empty text: both give the empty string.
  const std::size_t length = std::wcsftime(text, kMaxText, widePattern.c_str(), &date);
  std::u16string units(length, 0);
  std::transform(text, text + length, units.begin(), [](wchar_t unit) { return static_cast<char16_t>(unit); });
  return NQString(std::u16string_view(units));
}

}  // namespace

NQTimeValue NQTimeValue::fromLocalTime(const std::tm& local) {
  const std::optional<std::int64_t> seconds = platform::os::fromLocalTime(local);
  // Checked before the product: ticks overflow in the year 31197.
  if (!seconds || *seconds > kAfterAll / kTicksPerSecond) {
    throw NQTimeValueError(NQString(u"failed to convert from localtime"));
  }
  return NQTimeValue(*seconds * kTicksPerSecond);
}

std::int64_t NQTimeValue::userValue() const {
  if (!isUserValue()) throw NQTimeValueError(NQString(u"not user value"));
  // The lowest user value is the number 0, and the upper half of the range for negative numbers.
  const std::int64_t number = ticks_ - kFirstUserValue;
  return number < kUserValues / 2 ? number : number - kUserValues;
}

std::tm NQTimeValue::brokenDown(TimeZone zone) const {
  const bool local = zone == TimeZone::kLocal;
  std::optional<std::tm> date;
  // Times before 1970 are negative, as are the values that are no time: neither is converted.
  if (0 <= ticks_ && ticks_ != kAfterAll) {
    const std::int64_t seconds = ticks_ / kTicksPerSecond;
    date = local ? platform::os::toLocalTime(seconds) : platform::os::toUtc(seconds);
  }
  if (!date) {
    throw NQTimeValueError(NQString(local ? u"failed to convert to localtime" : u"failed to convert to gmtime"));
  }
  return *date;
}

NQString NQTimeValue::text(const NQString& pattern, TimeZone zone) const {
  if (isUserValue()) {
    NQString text;
    format(text, u"userSpecial(%lld)", static_cast<long long>(userValue()));
    return text;
  }
  if (const char16_t* const fixed = fixedText(); fixed != nullptr) return NQString(fixed);
  return textOfDate(brokenDown(zone), pattern);
}

NQString NQTimeValue::text(TimeZone zone) const {
  return text(NQString(u"%c"), zone);
}

const char16_t* NQTimeValue::fixedText() const {
  // The special values first: they are negative, too.
  if (ticks_ == kBeforeAll) return u"-infinity";
  if (ticks_ == kAfterAll) return u"+infinity";
  if (ticks_ == kNotATime) return u"notATime";
  if (ticks_ < kFirstUserValue) return u"invalid";
  if (ticks_ < 0) return u"<1970";
  return ticks_ >= kFirstLateTick ? u">2038" : nullptr;
}

}  // namespace qvs::util
