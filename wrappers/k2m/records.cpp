#include "wrappers/k2m/records.h"

#include "wrappers/k2m/Exception.h"

namespace krvo::k2m {
namespace {

/// The value of its size field. The record has 10 bytes: the field is fixed, and does not follow sizeof.
constexpr std::uint8_t kDateSize = 8;

}  // namespace

K2MDate makeDate(std::chrono::sys_seconds utc) {
  const auto midnight = std::chrono::floor<std::chrono::days>(utc);
  const std::chrono::year_month_day day(midnight);
  const std::chrono::hh_mm_ss time(utc - midnight);
  const int year = static_cast<int>(day.year());
  // The dates of the file format count from 1904 (ISO/IEC 14496-12, 8.2.2), and the record has 4 digits for the year.
  if (!day.ok() || year < 1904 || year > 9999) throw Exception(kKrvoBadDate);
  K2MDate date{};
  date.size = kDateSize;
  date.day = static_cast<std::uint8_t>(static_cast<unsigned>(day.day()));
  date.month = static_cast<std::uint8_t>(static_cast<unsigned>(day.month()));
  date.year = static_cast<std::uint16_t>(year);
  date.hour = static_cast<std::uint8_t>(time.hours().count());
  date.minute = static_cast<std::uint8_t>(time.minutes().count());
  date.second = static_cast<std::uint8_t>(time.seconds().count());
  return date;
}

K2MDate dateNow() {
  return makeDate(std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()));
}

KrvoK2MDataBuffer makeDataBuffer(const void* data, void* context, void (*free)(void*)) {
  auto buffer = makeRecord<KrvoK2MDataBuffer>();
  buffer.data = data;
  buffer.context = context;
  buffer.free = free;
  return buffer;
}

}  // namespace krvo::k2m
