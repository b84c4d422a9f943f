#pragma once

#include <compare>
#include <cstdint>
#include <ctime>
#include <limits>
#include <string_view>

#include "util/NQString.h"
#include "util/NQThrowable.h"

namespace qvs::util {

/// A time that is not of the kind asked for, or that the calendar does not hold.
class NQTimeValueError : public NQException {
 public:
  using NQException::NQException;
};

/// Ticks of 100 ns in a second.
inline constexpr std::int64_t kTicksPerSecond = 10'000'000;

enum class TimeZone { kLocal, kUtc };

/// A point in time, in ticks since 1970-01-01 UTC. Some of the negative counts are no time:
///
///     0x8000000000000000       before all times
///     0x8000000000000001       not a time
///     0xA000000000000000 on    a number of the user's with 61 bits, up to 0xBFFFFFFFFFFFFFFF
///     0x7FFFFFFFFFFFFFFF       behind all times
class NQTimeValue {
 public:
  static constexpr std::int64_t kBeforeAll = std::numeric_limits<std::int64_t>::min();
  static constexpr std::int64_t kBehindAll = std::numeric_limits<std::int64_t>::max();
  static constexpr std::int64_t kNotATime = kBeforeAll + 1;

  constexpr explicit NQTimeValue(std::int64_t ticks = 0) : ticks_(ticks) {}
  /// The fields need not be in their ranges. Throws NQTimeValueError for a date before 1970 and for one whose ticks do
  /// not fit.
  static NQTimeValue fromLocalTime(const std::tm& local);

  constexpr std::int64_t ticks() const { return ticks_; }
  constexpr auto operator<=>(const NQTimeValue&) const = default;

  constexpr bool isUserValue() const { return kFirstUserValue <= ticks_ && ticks_ < kFirstUserValue + kUserValues; }
  /// The user's number. Throws NQTimeValueError for any other value.
  std::int64_t userValue() const;

  /// The date and time of day, to the second. Throws NQTimeValueError for what is no time and for a time before 1970.
  std::tm brokenDown(TimeZone zone) const;
  /// By the pattern of the C library's wcsftime, in its locale; empty from 512 characters on. Times before 1970 and
  /// from 2^32 s on, and what is no time, have fixed texts.
  NQString text(const NQString& pattern, TimeZone zone = TimeZone::kLocal) const;
  NQString text(TimeZone zone = TimeZone::kLocal) const;

 private:
  static constexpr std::int64_t kFirstUserValue = -0x6000000000000000;
  static constexpr std::int64_t kUserValues = 0x2000000000000000;

  /// The text where there is no date to format.
  const char16_t* fixedText() const;

  std::int64_t ticks_;
};

/// The form of an interval where no other is asked for.
inline constexpr std::u16string_view kIntervalPattern = u"%Dd:%Hh:%Mm:%Ss";

/// An interval of `ticks` by a pattern, in which stand for
///
///     %D  whole days              %m  milliseconds of a second, 3 digits
///     %H  hours of a day, 2       %u  microseconds of a millisecond, 3
///     %M  minutes of an hour, 2   %U  microseconds of a second, 6
///     %S  seconds of a minute, 2  %n  nanoseconds of a microsecond, 3
///     %%  a percent sign          %N  nanoseconds of a second, 9
///
/// Any other letter behind a "%" gives nothing. In a negative interval each number is negative.
NQString intervalText(std::int64_t ticks, std::u16string_view pattern = kIntervalPattern);
/// The same for an interval in seconds, which knows %% %D %H %M %S only. A part of a second does not count,
/// not-a-number is 0.
NQString intervalText(double seconds, std::u16string_view pattern = kIntervalPattern);

}  // namespace qvs::util
