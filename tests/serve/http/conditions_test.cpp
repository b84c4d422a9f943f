#include "host/serve/http/conditions.h"

#include <gtest/gtest.h>

namespace {

using namespace host::serve;

using Headers = std::map<std::string, std::string, std::less<>>;

/// What a client gets of "0123456789" with the tag "a": status, Content-Range, and the first and last byte sent.
std::string sent(const Headers& headers, const std::string& method = "GET", const std::string& etag = "\"a\"") {
  HttpResponse response{.body = Body("0123456789"), .etag = etag};
  applyConditions({.method = method, .path = {}, .query = {}, .headers = headers}, response);
  std::string text = std::to_string(response.status);
  for (const auto& [name, value] : response.headers) {
    if (name == "Content-Range") text += " " + value;
  }
  std::string bytes(static_cast<std::size_t>(response.body.size()), '\0');
  response.body.read(0, std::as_writable_bytes(std::span(bytes)));
  return response.status == 304 ? text : text + " " + bytes;
}

TEST(Conditions, SendTheRangeAskedFor) {
  const struct {
    const char* range;
    const char* sent;
  } rows[] = {{"bytes=0-0", "206 bytes 0-0/10 0"},
              {"bytes=2-4", "206 bytes 2-4/10 234"},
              {"Bytes= 2-4 ", "206 bytes 2-4/10 234"},
              {"bytes=7-", "206 bytes 7-9/10 789"},
              {"bytes=-3", "206 bytes 7-9/10 789"},
              {"bytes=-30", "206 bytes 0-9/10 0123456789"},
              {"bytes=9-99999999999999999999999", "206 bytes 9-9/10 9"},
              {"bytes=10-", "416 bytes */10 "},
              {"bytes=-0", "416 bytes */10 "},
              {"bytes=99999999999999999999999-", "416 bytes */10 "},
              {"bytes=18446744073709551615-18446744073709551615", "416 bytes */10 "},
              // What is malformed or of another kind is as if it were not there.
              {"bytes=4-2", "200 0123456789"},
              {"bytes=0-1,3-4", "200 0123456789"},
              {"bytes=-", "200 0123456789"},
              {"bytes=", "200 0123456789"},
              {"bytes=a-b", "200 0123456789"},
              {"bytes=1-2x", "200 0123456789"},
              {"bytes=+1-2", "200 0123456789"},
              {"items=1-2", "200 0123456789"},
              {"", "200 0123456789"}};
  for (const auto& row : rows) EXPECT_EQ(sent({{"range", row.range}}), row.sent) << row.range;
}

TEST(Conditions, RangesNeedATagAndGet) {
  const Headers range{{"range", "bytes=2-4"}};
  EXPECT_EQ(sent(range, "HEAD"), "200 0123456789");
  EXPECT_EQ(sent(range, "POST"), "200 0123456789");
  EXPECT_EQ(sent(range, "GET", ""), "200 0123456789");
}

TEST(Conditions, ARangeOfAnotherVersionIsTheWhole) {
  const struct {
    const char* ifRange;
    const char* sent;
  } rows[] = {{"\"a\"", "206 bytes 2-4/10 234"},
              {"\"b\"", "200 0123456789"},
              {"W/\"a\"", "200 0123456789"},
              {"Wed, 25 Nov 2026 14:03:20 GMT", "200 0123456789"}};
  for (const auto& row : rows) {
    EXPECT_EQ(sent({{"range", "bytes=2-4"}, {"if-range", row.ifRange}}), row.sent) << row.ifRange;
  }
}

TEST(Conditions, WhatTheClientHasIsNotSent) {
  for (const char* known : {"\"a\"", "W/\"a\"", "*", "\"b\", \"a\"", "\"x,\" ,,W/\"a\"", " \"a\" "}) {
    EXPECT_EQ(sent({{"if-none-match", known}, {"range", "bytes=2-4"}}), "304") << known;
  }
  for (const char* known : {"\"b\"", "a", "\"a", "\"aa\"", "\"b\" x \"a\"", "", "\"*\""}) {
    EXPECT_EQ(sent({{"if-none-match", known}}), "200 0123456789") << known;
  }
}

}  // namespace
