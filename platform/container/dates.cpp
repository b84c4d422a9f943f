#include "platform/container/dates.h"

#include <algorithm>
#include <chrono>

#include "platform/container/status.h"

namespace krvo::container {
namespace {

using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::year_month_day;

constexpr std::uint8_t kDateSize = 8;
constexpr std::uint64_t kSecondsPerDay = 86400;
constexpr sys_days kEpoch = std::chrono::year(1904) / 1 / 1;
constexpr sys_days kEndOfDates = std::chrono::year(10000) / 1 / 1;

bool isDate(const K2MDate& date) {
  return date.year >= 1904 && date.year < 10000 && date.month >= 1 && date.month <= 12 && date.day >= 1 &&
         date.day <= 31 && date.hour < 24 && date.minute < 60 && date.second < 60;
}

std::uint64_t secondsBefore(sys_days day) {
  return static_cast<std::uint64_t>((day - kEpoch).count()) * kSecondsPerDay;
}

}  // namespace

std::uint64_t toSeconds(const K2MDate& date) {
  require(date.size == kDateSize);
  require(isDate(date), kKrvoBadDate);
  // 31 June becomes 1 July: callers fill the record with whatever they have, and no recording should fail over it.
  const sys_days day =
      year_month_day(std::chrono::year(date.year), std::chrono::month(date.month), std::chrono::day(date.day));
  return secondsBefore(day) + date.hour * 3600ULL + date.minute * 60ULL + date.second;
}

K2MDate toDate(std::uint64_t seconds) {
  seconds = std::min(seconds, secondsBefore(kEndOfDates) - 1);
  const year_month_day day(kEpoch + days(seconds / kSecondsPerDay));
  const std::uint64_t second = seconds % kSecondsPerDay;
  K2MDate date{};
  date.size = kDateSize;
  date.day = static_cast<std::uint8_t>(static_cast<unsigned>(day.day()));
  date.month = static_cast<std::uint8_t>(static_cast<unsigned>(day.month()));
  date.year = static_cast<std::uint16_t>(static_cast<int>(day.year()));
  date.hour = static_cast<std::uint8_t>(second / 3600);
  date.minute = static_cast<std::uint8_t>(second / 60 % 60);
  date.second = static_cast<std::uint8_t>(second % 60);
  return date;
}

}  // namespace krvo::container
