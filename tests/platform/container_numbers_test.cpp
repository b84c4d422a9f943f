#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "platform/container/StatusError.h"
#include "platform/container/dates.h"
#include "platform/container/numbers.h"
#include "tests/support/hex.h"

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

// Dates are their size 8, day, month, 0, year, hour, minute, second, 0.
std::string image(const K2MDate& date) {
  return test::hex(std::as_bytes(std::span(&date, 1)));
}

TEST(Dates, CountSecondsFrom1904) {
  const struct {
    K2MDate date;
    std::uint64_t seconds;
  } rows[] = {{{8, 1, 1, 0, 1904, 0, 0, 0, 0}, 0},
              {{8, 1, 3, 0, 1904, 0, 0, 0, 0}, 60 * 86400},  // a leap year
              {{8, 1, 1, 0, 1970, 0, 0, 0, 0}, 2082844800},
              {{8, 1, 1, 0, 2024, 23, 59, 59, 0}, 0xE1B7B100 + 86399},
              {{8, 6, 2, 0, 2040, 6, 28, 16, 0}, 0x100000000}};
  for (const auto& row : rows) {
    EXPECT_EQ(toSeconds(row.date), row.seconds);
    EXPECT_EQ(image(toDate(row.seconds)), image(row.date));
  }
  EXPECT_EQ(toDate(0xFFFFFFFFFFFFFFFF).year, 9999);
}

TEST(Dates, OutOfTheirRangesAreRefused) {
  const K2MDate rows[] = {
      {8, 31, 12, 0, 1903, 0, 0, 0, 0}, {8, 1, 1, 0, 10000, 0, 0, 0, 0}, {8, 1, 0, 0, 2024, 0, 0, 0, 0},
      {8, 1, 13, 0, 2024, 0, 0, 0, 0},  {8, 0, 1, 0, 2024, 0, 0, 0, 0},  {8, 32, 1, 0, 2024, 0, 0, 0, 0},
      {8, 1, 1, 0, 2024, 24, 0, 0, 0},  {8, 1, 1, 0, 2024, 0, 60, 0, 0}, {8, 1, 1, 0, 2024, 0, 0, 60, 0}};
  for (const K2MDate& wrong : rows) {
    try {
      toSeconds(wrong);
      ADD_FAILURE() << image(wrong);
    } catch (const StatusError& error) {
      EXPECT_EQ(error.status(), kKrvoBadDate) << image(wrong);
    }
  }
}

}  // namespace
}  // namespace krvo::container
