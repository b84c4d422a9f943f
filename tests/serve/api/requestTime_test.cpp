#include "host/serve/api/requestTime.h"

#include <gtest/gtest.h>

#include <sstream>

#include "host/output.h"

namespace {

using namespace host::serve;

TEST(RequestTime, ReadsMoments) {
  const std::pair<const char*, const char*> rows[] = {
      {"2026-11-25T14:03:20Z", "2026-11-25T14:03:20.000Z"},
      {"2026-11-25t14:03:20.5z", "2026-11-25T14:03:20.500Z"},
      {"2026-11-25 14:03:20.123999Z", "2026-11-25T14:03:20.123Z"},
      {"2026-11-25T14:03:20+01:00", "2026-11-25T13:03:20.000Z"},
      {"2026-11-25T14:03:20 01:00", "2026-11-25T13:03:20.000Z"},  // a plus that was not encoded
      {"2026-11-25T23:03:20-05:30", "2026-11-26T04:33:20.000Z"},
      {"2016-12-31T23:59:60Z", "2017-01-01T00:00:00.000Z"},
      {"2024-02-29T00:00:00Z", "2024-02-29T00:00:00.000Z"},
      {"1970-01-01T00:00:00Z", "1970-01-01T00:00:00.000Z"},
      {"0", "1970-01-01T00:00:00.000Z"},
      {"1795615400.25", "2026-11-25T14:03:20.250Z"},
      {"253402300799.9999", "9999-12-31T23:59:59.999Z"}};
  for (const auto& [text, utc] : rows) {
    const auto moment = parseMoment(text);
    ASSERT_TRUE(moment) << text;
    EXPECT_EQ(host::utcText(*moment), utc) << text;
  }
}

TEST(RequestTime, RefusesOtherTexts) {
  std::istringstream texts(
      "now -1 +1 1. .5 1e9 0x10 253402300800 99999999999999999999 2026-11-25 2026-11-25T14:03Z "
      "2026-11-25T14:03:20 2026-13-25T14:03:20Z 2026-02-29T14:03:20Z 2026-11-25T24:00:00Z "
      "2026-11-25T14:60:00Z 2026-11-25T14:03:61Z 2026-11-25T14:03:20+1:00 2026-11-25T14:03:20+24:00 "
      "2026-11-25T14:03:20Z2 1970-01-01T00:00:00+00:01 10000-01-01T00:00:00Z");
  for (std::string text; texts >> text;) EXPECT_FALSE(parseMoment(text)) << text;
  for (const std::string_view text :
       {std::string_view("0\0", 2), std::string_view(), std::string_view(" "), std::string_view("1795615400 ")}) {
    EXPECT_FALSE(parseMoment(text)) << text;
  }
}

TEST(RequestTime, ReadsDurations) {
  const std::pair<const char*, std::int64_t> rows[] = {{"0", 0},        {"90", 90'000},     {"2.5", 2500},
                                                       {"90s", 90'000}, {"7d", 604800'000}, {"250ms", 250}};
  for (const auto& [text, ms] : rows) EXPECT_EQ(lengthInRequest(text), ms) << text;
  for (const char* text : {"", "s", "1h30", "-1s", "1 h", "1w", "1h ", "999999999999d", "1..5s", "9999999999999"}) {
    EXPECT_FALSE(lengthInRequest(text)) << text;
  }
}

HttpRequest asking(std::map<std::string, std::string, std::less<>> query) {
  HttpRequest request;
  request.query = std::move(query);
  return request;
}

TEST(RequestTime, TakesAnEndOrADuration) {
  const auto open = requestedTime(asking({}));
  EXPECT_TRUE(!open.startMs && !open.endMs);
  const auto span = requestedTime(asking({{"start", "100"}, {"duration", "1m"}}));
  EXPECT_EQ(span.startMs, 100'000);
  EXPECT_EQ(span.endMs, 160'000);
  EXPECT_EQ(requestedTime(asking({{"end", "100"}})).endMs, 100'000);
  using Query = std::map<std::string, std::string, std::less<>>;
  for (const Query& query : {Query{{"start", "x"}}, Query{{"duration", "1m"}}, Query{{"start", "1"}, {"end", "1"}},
                             Query{{"start", "2"}, {"end", "1"}}, Query{{"start", "2"}, {"duration", "0"}},
                             Query{{"start", "1"}, {"end", "2"}, {"duration", "1"}}}) {
    EXPECT_THROW(requestedTime(asking(query)), HttpError) << query.begin()->first;
  }
}

}  // namespace
