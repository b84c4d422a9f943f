#include "host/serve/http/conditions.h"

#include <gtest/gtest.h>

#include "tests/serve/http/contentOf.h"

namespace {

using namespace host::serve;

constexpr const char* kWhole = "200 0123456789";

using Headers = std::map<std::string, std::string, std::less<>>;

/// What a client gets of "0123456789" with the tag "a": status, Content-Range, and the first and last byte sent.
std::string sent(const Headers& headers, const std::string& method = "GET", const std::string& etag = "\"a\"") {
  HttpResponse response{.body = Body("0123456789"), .etag = etag};
  applyConditions({.method = method, .path = {}, .query = {}, .headers = headers}, response);
  std::string text = std::to_string(response.status);
  for (const auto& [name, value] : response.headers) {
    if (name == "Content-Range") text += " " + value;
  }
  return response.status == 304 ? text : text + " " + test::contentOf(response.body);
}

TEST(Conditions, SendTheRangeAskedFor) {
  const std::pair<const char*, const char*> rows[] = {{"bytes=0-0", "0-0/10 0"},
                                                      {"bytes=2-4", "2-4/10 234"},
                                                      {"Bytes= 2-4 ", "2-4/10 234"},
                                                      {"bytes=7-", "7-9/10 789"},
                                                      {"bytes=-3", "7-9/10 789"},
                                                      {"bytes=-30", "0-9/10 0123456789"},
                                                      {"bytes=9-99999999999999999999999", "9-9/10 9"}};
  for (const auto& [range, part] : rows) EXPECT_EQ(sent({{"range", range}}), std::string("206 bytes ") + part);
  for (const char* range :
       {"bytes=10-", "bytes=-0", "bytes=99999999999999999999999-", "bytes=18446744073709551615-18446744073709551615"}) {
    EXPECT_EQ(sent({{"range", range}}),
              "416 bytes */10 {\n  \"error\": \"the range begins after the 10 bytes there are\"\n}\n")
        << range;
  }
  // What is malformed or of another kind is as if it were not there.
  for (const char* range :
       {"bytes=4-2", "bytes=0-1,3-4", "bytes=-", "bytes=", "bytes=a-b", "bytes=1-2x", "bytes=+1-2", "items=1-2", ""}) {
    EXPECT_EQ(sent({{"range", range}}), kWhole) << range;
  }
}

TEST(Conditions, RangesNeedATagAndGet) {
  const Headers range{{"range", "bytes=2-4"}};
  EXPECT_EQ(sent(range, "HEAD"), kWhole);
  EXPECT_EQ(sent(range, "POST"), kWhole);
  EXPECT_EQ(sent(range, "GET", ""), kWhole);
}

TEST(Conditions, ARangeOfAnotherVersionIsTheWhole) {
  EXPECT_EQ(sent({{"range", "bytes=2-4"}, {"if-range", "\"a\""}}), "206 bytes 2-4/10 234");
  for (const char* other : {"\"b\"", "W/\"a\"", "Wed, 25 Nov 2026 14:03:20 GMT"}) {
    EXPECT_EQ(sent({{"range", "bytes=2-4"}, {"if-range", other}}), kWhole) << other;
  }
}

TEST(Conditions, WhatTheClientHasIsNotSent) {
  for (const char* known : {"\"a\"", "W/\"a\"", "*", "\"b\", \"a\"", "\"x,\" ,,W/\"a\"", " \"a\" "}) {
    EXPECT_EQ(sent({{"if-none-match", known}, {"range", "bytes=2-4"}}), "304") << known;
  }
  for (const char* known : {"\"b\"", "a", "\"a", "\"aa\"", "\"b\" x \"a\"", "", "\"*\""}) {
    EXPECT_EQ(sent({{"if-none-match", known}}), kWhole) << known;
  }
}

}  // namespace
