#include <gtest/gtest.h>

#include <stdexcept>

#include "platform/container/StatusError.h"
#include "platform/container/dates.h"
#include "platform/container/numbers.h"

namespace krvo::container {
namespace {

TEST(Rescale, IsExactInWholeNumbers) {
  const struct {
    std::uint64_t value;
    std::uint32_t from;
    std::uint32_t to;
    std::uint64_t result;
  } rows[] = {{123, 1000, 1000, 123},
              {1, 1000, 90000, 90},
              {90045, 90000, 1000, 1001},  // half rounds up
              {90044, 90000, 1000, 1000},
              {0xFFFFFFFFFFFFFFFF, 4294967295, 1, 4294967297},
              {0xFFFFFFFFFFFFFFFF, 1000, 1000, 0xFFFFFFFFFFFFFFFF},
              {4294967294, 4294967295, 4294967294, 4294967293}};
  for (const auto& row : rows) EXPECT_EQ(rescale(row.value, row.from, row.to), row.result) << row.value;
  EXPECT_THROW(rescale(std::uint64_t{1} << 60, 1, 90000), std::out_of_range);
}

TEST(Rescale, KeepsTheSign) {
  EXPECT_EQ(rescale(std::int32_t{-40}, 1000, 90000), -3600);
  EXPECT_EQ(rescale(std::numeric_limits<std::int32_t>::min(), 1, 1), std::numeric_limits<std::int32_t>::min());
  EXPECT_THROW(rescale(std::numeric_limits<std::int32_t>::min(), 1, 2), std::out_of_range);
}

K2MDate date(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  K2MDate date{};
  date.size = 8;
  date.year = static_cast<std::uint16_t>(year);
  date.month = static_cast<std::uint8_t>(month);
  date.day = static_cast<std::uint8_t>(day);
  date.hour = static_cast<std::uint8_t>(hour);
  date.minute = static_cast<std::uint8_t>(minute);
  date.second = static_cast<std::uint8_t>(second);
  return date;
}

TEST(Dates, CountSecondsFrom1904) {
  const struct {
    K2MDate date;
    std::uint64_t seconds;
  } rows[] = {{date(1904, 1, 1), 0},
              {date(1904, 3, 1), 60 * 86400},  // a leap year
              {date(1970, 1, 1), 2082844800},
              {date(2024, 1, 1, 23, 59, 59), 0xE1B7B100 + 86399},
              {date(2040, 2, 6, 6, 28, 16), 0x100000000}};
  for (const auto& row : rows) {
    EXPECT_EQ(toSeconds(row.date), row.seconds);
    const K2MDate back = toDate(row.seconds);
    EXPECT_EQ(std::tuple(back.year, back.month, back.day), std::tuple(row.date.year, row.date.month, row.date.day));
    EXPECT_EQ(std::tuple(back.hour, back.minute, back.second),
              std::tuple(row.date.hour, row.date.minute, row.date.second));
  }
  EXPECT_EQ(toDate(0xFFFFFFFFFFFFFFFF).year, 9999);
}

TEST(Dates, OutOfTheirRangesAreRefused) {
  for (const K2MDate& wrong :
       {date(1903, 12, 31), date(10000, 1, 1), date(2024, 0, 1), date(2024, 13, 1), date(2024, 1, 0), date(2024, 1, 32),
        date(2024, 1, 1, 24), date(2024, 1, 1, 0, 60), date(2024, 1, 1, 0, 0, 60)}) {
    try {
      toSeconds(wrong);
      ADD_FAILURE();
    } catch (const StatusError& error) {
      EXPECT_EQ(error.status(), kKrvoBadDate);
    }
  }
}

}  // namespace
}  // namespace krvo::container
