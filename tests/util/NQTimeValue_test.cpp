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
      {kMin + 1, kNeither, "notATime"},
      {-0x6000000000000001, kNeither, "invalid"},
      {-0x6000000000000000, kUsers, "userSpecial(0)"},
      {-0x5000000000000001, kUsers, "userSpecial(1152921504606846975)"},
      {-0x5000000000000000, kUsers, "userSpecial(-1152921504606846976)"},
      {0, kTime, "Thu Jan  1 00:00:00 1970"},
      {0x98968000000000 - 1, kTime, "Sun Feb  7 06:28:15 2106"},
      {0x98968000000000, kTime, ">2038"}};
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
  EXPECT_TRUE(time.text(NQString(std::u16string(512, u'x'))).empty()) << "too long";
}

TEST_F(NQTimeValueTest, ComesFromLocalTime) {
  constexpr const char* kFails = "failed to convert from localtime";
  const std::tuple<int, int, std::string> rows[] = {{70, 30, kNothing}, {70, 29, kFails}, {29298, 0, kFails}};
  for (const auto& [year, minute, failure] : rows) {
    const std::tm local{0, minute, 5, 1, 0, year, 0, 0, 0, 0, nullptr};
    EXPECT_EQ(failureOf([&] { NQTimeValue::fromLocalTime(local); }), failure) << year << ' ' << minute;
  }
  EXPECT_EQ(NQTimeValue::fromLocalTime({0, 30, 6, 1, 0, 70, 0, 0, 0, 0, nullptr}), NQTimeValue(at(3600)));
}

TEST(IntervalText, HasEachNumber) {
  // 3 days, 4 hours, 5 minutes, 6 seconds and 0.0789012 s.
  constexpr std::int64_t kTicks = at(((3 * 24 + 4) * 60 + 5) * 60 + 6) + 789'012;
  using Row = std::tuple<std::int64_t, const char16_t*, const char*>;
  for (const auto& [ticks, pattern, text] :
       {Row{kTicks, u"%%|%D|%H|%M|%S", "%|3|04|05|06"}, Row{kTicks, u"%m|%u|%U|%n|%N", "078|901|078901|200|078901200"},
        Row{at(86399), u"%D %H %M %S", "0 23 59 59"}, Row{kTicks, u"a%xb%Qc%", "abc"},
        Row{-at(61), u"%D %M %S", "0 -1 -1"}, Row{kMin, u"%D %N", "-10675199 -477580800"}})
    EXPECT_EQ(narrow(intervalText(ticks, pattern)), text) << text;
  EXPECT_EQ(narrow(intervalText(at(90061))), "1d:01h:01m:01s");
}

}  // namespace
}  // namespace qvs::util
