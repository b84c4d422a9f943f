#include "host/serve/http/Access.h"

#include <gmock/gmock.h>

#include "host/serve/http/HttpFront.h"
#include "tests/serve/http/contentOf.h"

namespace {

using namespace host::serve;
using test::contentOf;
using testing::HasSubstr;
using testing::Not;

using Headers = std::vector<std::pair<std::string, std::string>>;

constexpr const char* kToken = "t0ken-of-the-server";
// The password of user "me".
const std::string kBasic = "Basic bWU6dDBrZW4tb2YtdGhlLXNlcnZlcg==";

/// A server whose handler answers everything.
struct Server {
  AccessOptions options;
  HttpFront front{options,
                  [](const HttpRequest&) { return HttpResponse{.etag = "\"e\"", .cache = HttpResponse::kForEver}; },
                  [](const std::string&) {}};

  HttpResponse ask(const std::string& method, const std::string& target, Headers headers, std::string body = {}) const {
    return front.answer({.method = method, .target = target, .headers = std::move(headers), .body = std::move(body)});
  }
  unsigned get(Headers headers) const { return ask("GET", "/v1/streams", std::move(headers)).status; }
  unsigned post(Headers headers) const { return ask("POST", "/v1/streams/a/stop", std::move(headers)).status; }
};

std::string headerOf(const HttpResponse& response, const std::string& name) {
  std::string values;
  for (const auto& [other, value] : response.headers) {
    if (other == name) values += (values.empty() ? "" : ", ") + value;
  }
  return values;
}

/// The name=value of the cookie that the form leads to.
std::string cookieFrom(const Server& server) {
  const auto cookie = headerOf(server.ask("POST", "/login", {}, std::string("token=") + kToken), "Set-Cookie");
  return cookie.substr(0, cookie.find(';'));
}

TEST(Access, WithoutATokenOnlyNamesOfThisMachine) {
  const Server server;
  for (const char* host :
       {"localhost", "LocalHost:8480", "127.0.0.1", "127.0.0.1:8480", "127.3.2.1", "[::1]", "[::1]:80"}) {
    EXPECT_EQ(server.get({{"Host", host}}), 200u) << host;
  }
  for (const char* host :
       {"", "example.org", "localhost.example.org", "127.0.0.1.example.org", "127.0.0.256", "127.1", "128.0.0.1",
        "[::2]", "[::1", "[::1]x", "localhost:x", "127.0.0.1:80:80", "192.168.0.1", "::1"}) {
    EXPECT_EQ(server.get({{"Host", host}}), 403u) << host;
  }
  EXPECT_EQ(server.get({}), 403u);
  // What a proxy adds does not count: a page whose name leads here can set it, too.
  EXPECT_EQ(server.get({{"Host", "example.org"}, {"X-Forwarded-Host", "localhost"}}), 403u);
}

TEST(Access, ChangesComeFromOurPageOrNone) {
  const Server server;
  const auto expect = [&server](unsigned status, std::initializer_list<Headers> senders) {
    for (Headers headers : senders) {
      headers.emplace_back("Host", "localhost");
      EXPECT_EQ(server.post(headers), status) << testing::PrintToString(headers);
      EXPECT_EQ(server.get(headers), 200u) << "reading changes nothing";
    }
  };
  expect(200, {{},
               {{"Origin", "http://localhost"}},
               {{"Origin", "http://LOCALHOST"}},
               {{"Origin", "https://k2r.example.org"}, {"X-Forwarded-Host", "k2r.example.org"}},
               {{"Origin", "https://k2r.example.org"}, {"Sec-Fetch-Site", "same-origin"}}});
  expect(403, {{{"Origin", "https://example.org"}},
               {{"Origin", "http://localhost:81"}},
               {{"Origin", "null"}},
               {{"Origin", ""}},
               {{"Origin", "http://"}},
               {{"Sec-Fetch-Site", "cross-site"}},
               {{"Origin", "http://localhost"}, {"Sec-Fetch-Site", "same-site"}}});
}

TEST(Access, TakesTheTokenInThreeWays) {
  const Server server{.options = {.token = kToken}};
  const std::string cookie = cookieFrom(server);
  for (const Headers& headers :
       {Headers{{"Authorization", std::string("Bearer ") + kToken}},
        Headers{{"authorization", std::string("bearer  ") + kToken}}, Headers{{"Authorization", kBasic}},
        Headers{{"Cookie", cookie}}, Headers{{"Cookie", "a=b; " + cookie + ";c"}}}) {
    EXPECT_EQ(server.get(headers), 200u) << headers[0].second;
  }
  for (const Headers& headers :
       {Headers{}, Headers{{"Authorization", "Bearer t0ken-of-the-serve"}}, Headers{{"Authorization", "Bearer"}},
        Headers{{"Authorization", std::string("Bearer") + kToken}}, Headers{{"Authorization", "Basic !!!"}},
        Headers{{"Authorization", "Basic bWU="}}, Headers{{"Authorization", kToken}},
        Headers{{"Cookie", std::string("k2r=") + kToken}}, Headers{{"Cookie", cookie + "0"}},
        Headers{{"Cookie", "x" + cookie}}, Headers{{"Cookie", cookie.substr(0, cookie.find('=') + 1) + kToken}}}) {
    EXPECT_EQ(server.get(headers), 401u) << testing::PrintToString(headers);
  }
  EXPECT_EQ(server.ask("GET", std::string("/v1/streams?token=") + kToken, {}).status, 401u);
  EXPECT_EQ(server.ask("HEAD", "/metrics", {}).status, 401u);
  EXPECT_EQ(server.ask("GET", "/livez", {}).status, 200u);
  EXPECT_EQ(server.ask("GET", "/readyz", {{"Host", "10.0.0.1:8480"}}).status, 200u);
}

TEST(Access, WhatABrowserAddsByItselfNeedsOurPage) {
  const Server server{.options = {.token = kToken}};
  const Headers bearer{{"Authorization", std::string("Bearer ") + kToken}};
  const Headers basic{{"Authorization", kBasic}};
  const Headers cookie{{"Cookie", cookieFrom(server)}};
  const std::tuple<Headers, Headers, unsigned> rows[] = {{bearer, {{"Origin", "https://example.org"}}, 200},
                                                         {basic, {{"Origin", "https://example.org"}}, 403},
                                                         {basic, {}, 200},
                                                         {basic, {{"Origin", "http://k2r:8480"}}, 200},
                                                         {cookie, {{"Origin", "https://example.org"}}, 403},
                                                         {cookie, {}, 403},
                                                         {cookie, {{"Origin", "http://k2r:8480"}}, 200},
                                                         {{}, {{"Origin", "http://k2r:8480"}}, 401}};
  for (const auto& [proof, page, status] : rows) {
    Headers headers = proof;
    headers.insert(headers.end(), page.begin(), page.end());
    headers.emplace_back("Host", "k2r:8480");
    EXPECT_EQ(server.post(headers), status) << testing::PrintToString(headers);
  }
}

TEST(Access, AsksForTheTokenWhereThePageWouldBe) {
  const Server server{.options = {.token = kToken}};
  const auto asked = server.ask("GET", "/", {});
  EXPECT_EQ(asked.status, 401u);
  EXPECT_THAT(contentOf(asked.body), HasSubstr("action=\"login\""));
  EXPECT_EQ(headerOf(asked, "WWW-Authenticate"), "Bearer realm=\"k2r\"") << "with Basic the form would not be shown";
  const auto wrong = server.ask("POST", "/login", {}, "token=wrong");
  EXPECT_EQ(wrong.status, 401u);
  EXPECT_THAT(contentOf(wrong.body), HasSubstr("not the token"));
  const auto right = server.ask("POST", "/login", {{"X-Forwarded-Proto", "https"}}, "x=y&token=t0ken%2Dof-the-server");
  EXPECT_EQ(right.status, 303u);
  EXPECT_EQ(headerOf(right, "Location"), "./");
  const auto cookie = headerOf(right, "Set-Cookie");
  EXPECT_THAT(cookie,
              testing::MatchesRegex("k2r_[0-9a-f]{8}=[0-9a-f]{64}; Max-Age=[0-9]+; HttpOnly; SameSite=Strict; Secure"));
  EXPECT_THAT(cookie, Not(HasSubstr(kToken)));
  EXPECT_EQ(server.ask("POST", "/login", {{"Host", "k2r"}, {"Origin", "http://e.org"}}, "token=x").status, 403u);
  EXPECT_EQ(server.ask("GET", "/", {{"Cookie", cookieFrom(server)}}).status, 200u);
  // Players are asked for a password, and pages are not.
  EXPECT_THAT(headerOf(server.ask("GET", "/v1/streams", {}), "WWW-Authenticate"), HasSubstr("Basic"));
  EXPECT_THAT(headerOf(server.ask("GET", "/v1/streams", {{"Sec-Fetch-Mode", "cors"}}), "WWW-Authenticate"),
              Not(HasSubstr("Basic")));
}

TEST(Access, ReadingCanBeOpen) {
  const Server server{.options = {.token = kToken, .readToken = false}};
  EXPECT_EQ(server.get({{"Host", "example.org"}}), 200u);
  EXPECT_EQ(server.get({{"Authorization", "Bearer wrong"}}), 200u);
  EXPECT_EQ(server.post({}), 401u);
  EXPECT_EQ(server.ask("DELETE", "/x", {}).status, 401u) << "no reading";
  EXPECT_EQ(server.ask("PUT", "/login", {}, std::string("token=") + kToken).status, 405u);
  EXPECT_EQ(server.post({{"Authorization", kBasic}}), 200u);
  EXPECT_EQ(headerOf(server.ask("GET", "/x", {}), "Cache-Control"), HttpResponse::kForEver);
  const Server closed{.options = {.token = kToken}};
  EXPECT_EQ(headerOf(closed.ask("GET", "/x", {{"Authorization", kBasic}}), "Cache-Control"),
            "private, max-age=31536000, immutable");
}

TEST(Access, OnlyListedPagesMayReadAcrossOrigins) {
  const Headers local{{"Host", "localhost"}};
  const auto allowed = [&](const Server& server, const std::string& method, const std::string& origin) {
    return headerOf(server.ask(method, "/x", {{"Host", "localhost"}, {"Origin", origin}}),
                    "Access-Control-Allow-Origin");
  };
  const Server closed;
  EXPECT_EQ(allowed(closed, "GET", "https://a.org"), "");
  EXPECT_EQ(headerOf(closed.ask("GET", "/x", local), "Cross-Origin-Resource-Policy"), "same-origin");
  const Server listed{.options = {.allowOrigins = {"https://a.org"}}};
  EXPECT_EQ(allowed(listed, "GET", "https://a.org"), "https://a.org");
  EXPECT_EQ(allowed(listed, "OPTIONS", "https://a.org"), "https://a.org");
  EXPECT_EQ(allowed(listed, "GET", "https://a.org.b.org"), "");
  EXPECT_EQ(headerOf(listed.ask("GET", "/x", local), "Vary"), "Origin");
  EXPECT_EQ(listed.post({{"Host", "localhost"}, {"Origin", "https://a.org"}, {"Sec-Fetch-Site", "cross-site"}}), 200u);
  const auto preflight = listed.ask("OPTIONS", "/x", {{"Origin", "https://a.org"}});
  EXPECT_EQ(preflight.status, 204u);
  EXPECT_THAT(headerOf(preflight, "Access-Control-Allow-Headers"), HasSubstr("Authorization"));
  EXPECT_THAT(headerOf(preflight, "Access-Control-Expose-Headers"), HasSubstr("K2R-Time"));
  EXPECT_EQ(headerOf(preflight, "Access-Control-Allow-Credentials"), "");
}

}  // namespace
