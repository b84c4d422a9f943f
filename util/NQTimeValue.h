#pragma once

#include <compare>
#include <cstdint>
#include <ctime>
#include <limits>
#include <string_view>

#include "util/NQString.h"
#include "util/NQThrowable.h"

namespace qvs::util {

/// A time is not of the kind asked for, or outside of what the calendar can convert. The texts are fixed.
class NQTimeValueError : public NQException {
 public:
  using NQException::NQException;
};

/// Ticks of 100 ns in a second.
inline constexpr std::int64_t kTicksPerSecond = 10'000'000;

/// kLocal is the zone of the process, as the C library reads it.
enum class TimeZone { kLocal, kUtc };

/// A point in time, in ticks since 1970-01-01 UTC. A value. Some counts are no time:
///
///     0x8000000000000000       before all times
///     0x8000000000000001       not a time
///     0xA000000000000000 on    a number of the user's with 61 bits, up to 0xBFFFFFFFFFFFFFFF
///     0x7FFFFFFFFFFFFFFF       after all times
///
/// Comparison is that of the counts, so a user's number orders below every time.
class NQTimeValue {
 public:
  static constexpr std::int64_t kBeforeAll = std::numeric_limits<std::int64_t>::min();
  static constexpr std::int64_t kAfterAll = std::numeric_limits<std::int64_t>::max();
  static constexpr std::int64_t kNotATime = kBeforeAll + 1;

  constexpr explicit NQTimeValue(std::int64_t ticks = 0) : ticks_(ticks) {}
  /// From a local date, whose fields need not be in their ranges. Throws NQTimeValueError for a date before 1970 and
  /// for one whose ticks do not fit 64 bits.
  static NQTimeValue fromLocalTime(const std::tm& local);

  /// The count, one of the special values included.
  constexpr std::int64_t ticks() const { return ticks_; }
  constexpr auto operator<=>(const NQTimeValue&) const = default;

  /// Whether the value is a user's number and no time.
  constexpr bool isUserValue() const { return kFirstUserValue <= ticks_ && ticks_ < kFirstUserValue + kUserValues; }
  /// The user's number, sign-extended from 61 bits. Throws NQTimeValueError for any other value.
  std::int64_t userValue() const;

  /// Date and time of day; the part of a second is dropped. Throws NQTimeValueError for a value that is no time and for
  /// a time before 1970.
  std::tm brokenDown(TimeZone zone) const;
  /// By a pattern of the C library's wcsftime, in the locale of the process; empty from 512 characters on. Times before
  /// 1970, times from 2^32 s on, and values that are no time have fixed texts.
  NQString text(const NQString& pattern, TimeZone zone = TimeZone::kLocal) const;
  /// By the pattern "%c".
  NQString text(TimeZone zone = TimeZone::kLocal) const;

 private:
  static constexpr std::int64_t kFirstUserValue = -0x6000000000000000;
  static constexpr std::int64_t kUserValues = 0x2000000000000000;

  /// The text of a value that has no date to format; null for all others.
  const char16_t* fixedText() const;

  std::int64_t ticks_;
};

/// The default form of an interval.
inline constexpr std::u16string_view kIntervalPattern = u"%Dd:%Hh:%Mm:%Ss";

/// An interval of `ticks` by a pattern, in which these are replaced:
///
///     %D  whole days              %m  milliseconds of a second, 3 digits
///     %H  hours of a day, 2       %u  microseconds of a millisecond, 3
///     %M  minutes of an hour, 2   %U  microseconds of a second, 6
///     %S  seconds of a minute, 2  %n  nanoseconds of a microsecond, 3
///     %%  a percent sign          %N  nanoseconds of a second, 9
///
/// Any other letter after a "%" gives nothing. In a negative interval each number has its own minus sign.
NQString intervalText(std::int64_t ticks, std::u16string_view pattern = kIntervalPattern);
/// The same for an interval in seconds, with %% %D %H %M %S only. The part of a second is dropped; an interval beyond
/// 64 bits becomes the nearest inside, not-a-number 0.
NQString intervalText(double seconds, std::u16string_view pattern = kIntervalPattern);

}  // namespace qvs::util
