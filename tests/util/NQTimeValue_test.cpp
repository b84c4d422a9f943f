#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <string>

#include "util/NQStrUtil.h"
#include "util/NQTimeValue.h"

namespace qvs::util {
namespace {

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

std::string narrow(const NQString& text) {
  return toNarrow(text.view()).c_str();
}

/// What the operation throws; "(nothing)" where it does not.
template <typename Operation>
std::string errorOf(const Operation& operation) {
  try {
    operation();
  } catch (const NQTimeValueError& error) {
    return narrow(error.text());
  }
  return "(nothing)";
}

/// The process lives in a zone five and a half hours east of UTC, in the plain locale.
class NQTimeValueTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    ::setenv("TZ", "XST-5:30", 1);
    ::tzset();
  }
  static void TearDownTestSuite() {
    ::unsetenv("TZ");
    ::tzset();
  }
};

constexpr std::int64_t at(std::int64_t seconds) {
  return seconds * kTicksPerSecond;
}

TEST_F(NQTimeValueTest, HasATextForEachKindOfValue) {
  const struct {
    std::int64_t ticks;
    const char* text;
  } rows[] = {{kMin, "-infinity"},
              {kMax, "+infinity"},
              {kMin + 1, "notATime"},
              {kMin + 2, "invalid"},
              {-0x6000000000000001, "invalid"},
              {-0x6000000000000000, "userSpecial(0)"},
              {-0x6000000000000000 + 42, "userSpecial(42)"},
              {-0x5000000000000001, "userSpecial(1152921504606846975)"},
              {-0x5000000000000000, "userSpecial(-1152921504606846976)"},
              {-0x4000000000000001, "userSpecial(-1)"},
              {-0x4000000000000000, "<1970"},
              {-1, "<1970"},
              {0, "Thu Jan  1 00:00:00 1970"},
              {at(951782399) + 9'999'999, "Mon Feb 28 23:59:59 2000"},
              {0x98968000000000 - 1, "Sun Feb  7 06:28:15 2106"},
              {0x98968000000000, ">2038"},
              {kMax - 1, ">2038"}};
  for (const auto& row : rows) {
    EXPECT_EQ(narrow(NQTimeValue(row.ticks).text(TimeZone::kUtc)), row.text) << std::hex << row.ticks;
  }
}

TEST_F(NQTimeValueTest, FormatsByPatternInEitherZone) {
  const NQTimeValue time(at(951782400 + 3661));
  EXPECT_EQ(narrow(time.text()), "Tue Feb 29 06:31:01 2000");
  const NQString pattern(u"%Y-%m-%d %H:%M:%S \u20ac %%");
  EXPECT_EQ(narrow(time.text(pattern)), "2000-02-29 06:31:01 \xE2\x82\xAC %");
  EXPECT_EQ(narrow(time.text(pattern, TimeZone::kUtc)), "2000-02-29 01:01:01 \xE2\x82\xAC %");
}

TEST_F(NQTimeValueTest, ATextThatDoesNotFitIsEmpty) {
  const NQTimeValue time(0);
  EXPECT_EQ(time.text(NQString(std::u16string_view(std::u16string(511, u'x')))).length(), 511U);
  EXPECT_EQ(narrow(time.text(NQString(std::u16string_view(std::u16string(512, u'x'))))), "");
  EXPECT_EQ(narrow(time.text(NQString())), "");
}

TEST_F(NQTimeValueTest, OnlyTimesAreBrokenDown) {
  const struct {
    std::int64_t ticks;
    const char* local;
    const char* utc;
  } rows[] = {{kMin, "failed to convert to localtime", "failed to convert to gmtime"},
              {kMax, "failed to convert to localtime", "failed to convert to gmtime"},
              {-1, "failed to convert to localtime", "failed to convert to gmtime"},
              {0, "(nothing)", "(nothing)"},
              {kMax - 1, "(nothing)", "(nothing)"}};
  for (const auto& row : rows) {
    const NQTimeValue time(row.ticks);
    EXPECT_EQ(errorOf([&] { time.brokenDown(TimeZone::kLocal); }), row.local) << row.ticks;
    EXPECT_EQ(errorOf([&] { time.brokenDown(TimeZone::kUtc); }), row.utc) << row.ticks;
  }
}

TEST_F(NQTimeValueTest, ComesBackFromLocalTime) {
  const NQTimeValue time(at(951782399));
  const std::tm local = time.brokenDown(TimeZone::kLocal);
  EXPECT_EQ(local.tm_hour, 5);
  EXPECT_EQ(NQTimeValue::fromLocalTime(local), time);
}

TEST_F(NQTimeValueTest, RefusesLocalTimesThatItCannotHold) {
  const struct {
    int year, month, day, hour, minute;
    const char* error;
  } rows[] = {{70, 0, 1, 5, 30, "(nothing)"},
              {70, 0, 1, 5, 29, "failed to convert from localtime"},
              {0, 0, 1, 0, 0, "failed to convert from localtime"},
              {29296, 11, 1, 0, 0, "(nothing)"},
              {29298, 11, 1, 0, 0, "failed to convert from localtime"},
              {std::numeric_limits<int>::max(), 11, 31, 0, 0, "failed to convert from localtime"}};
  for (const auto& row : rows) {
    std::tm local{};
    local.tm_year = row.year;
    local.tm_mon = row.month;
    local.tm_mday = row.day;
    local.tm_hour = row.hour;
    local.tm_min = row.minute;
    EXPECT_EQ(errorOf([&] { NQTimeValue::fromLocalTime(local); }), row.error) << row.year << ' ' << row.minute;
  }
}

TEST_F(NQTimeValueTest, OnlyUserValuesHaveANumber) {
  EXPECT_EQ(NQTimeValue(-0x6000000000000000 + 7).userValue(), 7);
  for (const std::int64_t ticks : {std::int64_t{0}, kMin, -0x6000000000000001, -0x4000000000000000}) {
    EXPECT_EQ(errorOf([&] { NQTimeValue(ticks).userValue(); }), "not user value") << std::hex << ticks;
  }
}

TEST(IntervalText, HasEachNumber) {
  // 3 days, 4 hours, 5 minutes, 6 seconds and 0.0789012 s.
  constexpr std::int64_t kTicks = at(((3 * 24 + 4) * 60 + 5) * 60 + 6) + 789'012;
  const struct {
    std::int64_t ticks;
    const char16_t* pattern;
    const char* text;
  } rows[] = {{kTicks, u"%%", "%"},
              {kTicks, u"%D", "3"},
              {kTicks, u"%H", "04"},
              {kTicks, u"%M", "05"},
              {kTicks, u"%S", "06"},
              {kTicks, u"%m", "078"},
              {kTicks, u"%u", "901"},
              {kTicks, u"%U", "078901"},
              {kTicks, u"%n", "200"},
              {kTicks, u"%N", "078901200"},
              {at(90061), u"%Dd:%Hh:%Mm:%Ss", "1d:01h:01m:01s"},
              {at(86399), u"%D %H %M %S", "0 23 59 59"},
              {at(86400), u"%D %H %M %S", "1 00 00 00"},
              {kTicks, u"a%xb%Qc%", "abc"},
              {kTicks, u"%%D\u20ac", "%D\xE2\x82\xAC"},
              {-at(61), u"%D %M %S", "0 -1 -1"},
              {kMax, u"%D", "10675199"},
              {kMin, u"%D %N", "-10675199 -477580800"},
              {0, u"", ""}};
  for (const auto& row : rows) EXPECT_EQ(narrow(intervalText(row.ticks, row.pattern)), row.text) << row.text;
  EXPECT_EQ(narrow(intervalText(at(90061))), "1d:01h:01m:01s");
}

TEST(IntervalText, OfSecondsAsANumber) {
  const struct {
    double seconds;
    const char16_t* pattern;
    const char* text;
  } rows[] = {{90061.999, u"%Dd:%Hh:%Mm:%Ss", "1d:01h:01m:01s"},
              {86399, u"%% %D %H %M %S", "% 0 23 59 59"},
              {1.5, u"<%m%u%U%n%N>", "<>"},
              {-59.5, u"%S", "-59"},
              {NAN, u"%D %S", "0 00"},
              {INFINITY, u"%D", "106751991167300"}};
  for (const auto& row : rows) EXPECT_EQ(narrow(intervalText(row.seconds, row.pattern)), row.text) << row.seconds;
  EXPECT_EQ(narrow(intervalText(3600.0)), "0d:01h:00m:00s");
}

}  // namespace
}  // namespace qvs::util
