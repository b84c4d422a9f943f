#include <cmath>
#include <cstdlib>
#include <ctime>

#include "tests/support/testing.h"
#include "tests/util/failures.h"
#include "util/NQTimeValue.h"

namespace qvs::util {
namespace {

using test::narrow;

constexpr std::int64_t kMax = INT64_MAX, kMin = INT64_MIN;
const std::string kNothing = "(nothing)";

constexpr auto failureOf = [](const auto& operation) { return test::failureOf<NQTimeValueError>(operation); };

/// The process lives in a zone five and a half hours east of UTC, in the plain locale.
struct NQTimeValueTest : testing::Test {
  NQTimeValueTest() {
    ::setenv("TZ", "XST-5:30", 1);
    ::tzset();
  }
};

constexpr std::int64_t at(std::int64_t seconds) {
  return seconds * kTicksPerSecond;
}

TEST_F(NQTimeValueTest, EachKindOfValueHasATextAndOnlyItsOwnNumbers) {
  enum Kind { kTime, kUsers, kNeither };
  const std::tuple<std::int64_t, Kind, const char*> rows[] = {
      {kMin, kNeither, "-infinity"},
      {kMax, kNeither, "+infinity"},
      {kMin + 1, kNeither, "notATime"},
      {kMin + 2, kNeither, "invalid"},
      {-0x6000000000000001, kNeither, "invalid"},
      {-0x6000000000000000, kUsers, "userSpecial(0)"},
      {-0x5000000000000001, kUsers, "userSpecial(1152921504606846975)"},
      {-0x5000000000000000, kUsers, "userSpecial(-1152921504606846976)"},
      {-0x4000000000000001, kUsers, "userSpecial(-1)"},
      {-0x4000000000000000, kNeither, "<1970"},
      {-1, kNeither, "<1970"},
      {0, kTime, "Thu Jan  1 00:00:00 1970"},
      {at(951782399) + 9'999'999, kTime, "Mon Feb 28 23:59:59 2000"},
      {0x98968000000000 - 1, kTime, "Sun Feb  7 06:28:15 2106"},
      {0x98968000000000, kTime, ">2038"},
      {kMax - 1, kTime, ">2038"}};
  for (const auto& [ticks, kind, text] : rows) {
    const NQTimeValue value(ticks);
    EXPECT_EQ(narrow(value.text(TimeZone::kUtc)), text) << ticks;
    EXPECT_EQ(failureOf([&] { value.userValue(); }), kind == kUsers ? kNothing : "not user value") << text;
    for (const auto& [zone, failure] : {std::pair(TimeZone::kLocal, "localtime"), {TimeZone::kUtc, "gmtime"}})
      EXPECT_EQ(failureOf([&, asked = zone] { value.brokenDown(asked); }),
                kind == kTime ? kNothing : "failed to convert to " + std::string(failure));
  }
}

TEST_F(NQTimeValueTest, FormatsByPatternInEitherZone) {
  const NQTimeValue time(at(951782400 + 3661));
  EXPECT_EQ(narrow(time.text()), "Tue Feb 29 06:31:01 2000");
  const NQString pattern(u"%Y-%m-%d %H:%M:%S \u20ac %%");
  EXPECT_EQ(narrow(time.text(pattern)), "2000-02-29 06:31:01 \xE2\x82\xAC %");
  EXPECT_EQ(narrow(time.text(pattern, TimeZone::kUtc)), "2000-02-29 01:01:01 \xE2\x82\xAC %");
  for (const std::size_t size : {511U, 512U})
    EXPECT_EQ(time.text(NQString(std::u16string(size, u'x'))).length(), size % 512) << "too long a text is empty";
}

TEST_F(NQTimeValueTest, ComesFromLocalTime) {
  constexpr const char* kFails = "failed to convert from localtime";
  const std::tuple<int, int, int, int, std::string> rows[] = {
      {70, 0, 5, 30, kNothing},    {70, 0, 5, 29, kFails},    {0, 0, 0, 0, kFails},
      {29296, 11, 0, 0, kNothing}, {29298, 11, 0, 0, kFails}, {std::numeric_limits<int>::max(), 11, 0, 0, kFails}};
  for (const auto& [year, month, hour, minute, failure] : rows) {
    const std::tm local{0, minute, hour, 1, month, year, 0, 0, 0, 0, nullptr};
    EXPECT_EQ(failureOf([&] { NQTimeValue::fromLocalTime(local); }), failure) << year << ' ' << minute;
  }
  const NQTimeValue time(at(951782399));
  EXPECT_EQ(NQTimeValue::fromLocalTime(time.brokenDown(TimeZone::kLocal)), time);
}

TEST(IntervalText, HasEachNumber) {
  // 3 days, 4 hours, 5 minutes, 6 seconds and 0.0789012 s.
  constexpr std::int64_t kTicks = at(((3 * 24 + 4) * 60 + 5) * 60 + 6) + 789'012;
  using Row = std::tuple<std::int64_t, const char16_t*, const char*>;
  for (const auto& [ticks, pattern, text] :
       {Row{kTicks, u"%%|%D|%H|%M|%S", "%|3|04|05|06"}, Row{kTicks, u"%m|%u|%U|%n|%N", "078|901|078901|200|078901200"},
        Row{at(1), u"%m|%u|%U|%n|%N", "000|000|000000|000|000000000"},
        Row{at(1) - 1, u"%m|%u|%U|%n|%N", "999|999|999999|900|999999900"}, Row{at(86399), u"%D %H %M %S", "0 23 59 59"},
        Row{at(86400), u"%D %H %M %S", "1 00 00 00"}, Row{kTicks, u"a%xb%Qc%", "abc"},
        Row{kTicks, u"%%D\u20ac", "%D\xE2\x82\xAC"}, Row{-at(61), u"%D %M %S", "0 -1 -1"}, Row{kMax, u"%D", "10675199"},
        Row{kMin, u"%D %N", "-10675199 -477580800"}})
    EXPECT_EQ(narrow(intervalText(ticks, pattern)), text) << text;
  EXPECT_EQ(narrow(intervalText(at(90061))), "1d:01h:01m:01s");
}

TEST(IntervalText, OfSecondsAsANumber) {
  using Row = std::tuple<double, const char16_t*, const char*>;
  for (const auto& [seconds, pattern, text] :
       {Row{86399.9, u"%%|%D|%H|%M|%S", "%|0|23|59|59"}, Row{1.5, u"<%m%u%U%n%N>", "<>"}, Row{-59.5, u"%S", "-59"},
        Row{NAN, u"%D %S", "0 00"}, Row{INFINITY, u"%D", "106751991167300"}})
    EXPECT_EQ(narrow(intervalText(seconds, pattern)), text) << seconds;
  EXPECT_EQ(narrow(intervalText(90061.5)), "1d:01h:01m:01s");
}

}  // namespace
}  // namespace qvs::util
