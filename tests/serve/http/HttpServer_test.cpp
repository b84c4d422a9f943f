#include "host/serve/http/HttpServer.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <atomic>
#include <future>
#include <latch>
#include <memory>
#include <optional>
#include <thread>

#include "host/errors.h"
#include "tests/serve/http/RawClient.h"
#include "tests/serve/http/contentOf.h"
#include "tests/support/TempDirectory.h"

namespace {

using namespace host::serve;
using namespace std::chrono_literals;
using test::RawClient;
using test::WireAnswer;
using testing::HasSubstr;

/// What the tests' server answers: `/text` and `/file` are "0123456789" with a tag, `/large` is 64 MiB in 64 spans of a
/// file, `/echo` the request's body, `/path` the parts of the path, `/wait` comes when the test allows it.
struct ServerTest : testing::Test {
  test::TempDirectory directory;
  std::latch waiting{1};
  std::atomic<int> waiters = 0;
  std::promise<void> allowed;
  std::shared_future<void> allowance = allowed.get_future().share();
  /// By the server's threads; to be read when it has stopped.
  std::string logged;
  /// The file of the last `/large`, as long as it is sent.
  std::weak_ptr<const platform::os::Descriptor> sent;
  std::optional<HttpServer> server;

  Body::File file(const std::string& content) { return test::fileWith(directory.file("f"), content); }
  HttpResponse text() { return {.body = Body("0123456789"), .etag = "\"a\"", .cache = HttpResponse::kForEver}; }

  HttpResponse answer(const HttpRequest& request) {
    const std::string& name = request.path.front();
    if (name == "text") return text();
    if (name == "echo") return {.body = Body(request.body)};
    if (name == "path") return {.body = Body(fmt::format("{}", fmt::join(request.path, "|")))};
    if (name == "livez") return {.body = Body("ok")};
    if (name.starts_with("fail")) throw std::runtime_error("broken");
    if (name == "wait") {
      if (++waiters == 1) waiting.count_down();
      allowance.wait();
      return text();
    }
    if (name == "file" || name == "short") {
      HttpResponse response = text();
      response.body = Body("01");
      response.body.add(file("xx23456789"), 2, name == "file" ? 8 : 9);
      return response;
    }
    if (name == "large") {
      Body body;
      const auto megabyte = file(std::string(1 << 20, 'x'));
      sent = megabyte;
      for (int i = 0; i < 64; ++i) body.add(megabyte, 0, 1 << 20);
      return {.body = body};
    }
    throw HttpError{.status = 404, .text = "no such thing"};
  }

  void start(HttpLimits limits = {}, AccessOptions access = {}, const std::string& address = "127.0.0.1") {
    server.emplace(
        HttpOptions{.address = address, .port = 0, .access = access, .limits = limits},
        [this](const HttpRequest& request) { return answer(request); }, [this](const auto& line) { logged += line; });
  }
};

TEST_F(ServerTest, AnswersOneRequestAfterTheOther) {
  start();
  RawClient client(server->port());
  const WireAnswer whole = client.get("/text");
  EXPECT_EQ(whole.status, 200);
  EXPECT_EQ(whole.body, "0123456789");
  EXPECT_EQ(whole.header("content-type"), "text/plain; charset=utf-8");
  EXPECT_EQ(whole.header("x-content-type-options"), "nosniff");
  EXPECT_EQ(whole.header("cache-control"), HttpResponse::kForEver);
  EXPECT_THAT(whole.header("date"), HasSubstr("GMT"));
  EXPECT_EQ(client.get("/file").body, "0123456789");
  EXPECT_EQ(client.ask("POST", "/echo", "Content-Length: 3\r\n\r\nabc").body, "abc");
  const WireAnswer missing = client.get("/nothing");
  EXPECT_EQ(missing.status, 404);
  EXPECT_EQ(missing.body, "{\n  \"error\": \"no such thing\"\n}\n");
}

TEST_F(ServerTest, HeadHasTheHeadersOfGet) {
  start();
  RawClient client(server->port());
  for (const char* target : {"/text", "/file", "/nothing"}) {
    auto get = client.get(target);
    auto head = client.ask("HEAD", target);
    for (auto* answer : {&get, &head}) answer->headers.erase("date");
    EXPECT_EQ(head.status, get.status);
    EXPECT_EQ(head.headers, get.headers) << target;
  }
  EXPECT_EQ(client.get("/text").body, "0123456789") << "nothing of HEAD's body was sent";
}

TEST_F(ServerTest, SendsPartsAndNothingThatTheClientHas) {
  start();
  RawClient client(server->port());
  EXPECT_EQ(client.get("/file", "Range: bytes=1-3\r\n").body, "123");
  const auto known = client.get("/file", "If-None-Match: \"a\"\r\n");
  EXPECT_EQ(known.status, 304);
  EXPECT_NE(known.header("content-length"), "0") << "it would be the length of the whole";
}

TEST_F(ServerTest, PathsAreSplitBeforeTheyAreDecoded) {
  start();
  RawClient client(server->port());
  const std::pair<const char*, const char*> rows[] = {{"/path/a%2Fb/%C3%A4", "path|a/b|\xC3\xA4"},
                                                      {"/path/../x", "path|..|x"},
                                                      {"/path/%2e%2e/x?a=b", "path|..|x"},
                                                      {"/path//x/", "path||x|"},
                                                      {"/path/a+b?x", "path|a+b"},
                                                      {"/path/a\\b%5c", "path|a\\b\\"}};
  for (const auto& [target, parts] : rows) EXPECT_EQ(client.get(target).body, parts) << target;
  EXPECT_EQ(client.get("/path/a%00b").body, std::string("path|a\0b", 8));
  for (const char* bad : {"/path/%", "/path/%4", "/path/%zz", "/path?x=%-1", "*", "http://localhost/path", "x"}) {
    EXPECT_EQ(client.get(bad).status, 400) << bad;
  }
}

TEST_F(ServerTest, MalformedRequestsHarmNobody) {
  start({.requestTime = 1s});
  RawClient bystander(server->port());
  const std::tuple<const char*, std::string, int> rows[] = {
      {"no Host", "GET /text HTTP/1.1\r\n\r\n", 400},
      {"two Hosts", "GET /text HTTP/1.1\r\nHost: localhost\r\nHost: localhost\r\n\r\n", 400},
      {"a space before the colon", "GET /text HTTP/1.1\r\nHost: localhost\r\nHost : a.org\r\n\r\n", 400},
      {"two lengths", "POST /echo HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\nab",
       400},
      {"chunks", "POST /echo HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n1\r\na\r\n0\r\n\r\n",
       411},
      {"both", "POST /echo HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n",
       411},
      {"large content", "POST /echo HTTP/1.1\r\nHost: localhost\r\nContent-Length: 5000\r\n\r\nab", 413},
      {"long address", "GET /" + std::string(5000, 'a') + " HTTP/1.1\r\nHost: localhost\r\n\r\n", 414},
      {"many headers", "GET /text HTTP/1.1\r\nHost: localhost\r\nA: " + std::string(13000, 'a') + "\r\n\r\n", 431}};
  for (const auto& [why, bytes, status] : rows) {
    RawClient client(server->port());
    client.send(bytes);
    EXPECT_EQ(client.answer().status, status) << why;
    EXPECT_EQ(bystander.get("/text").status, 200) << why;
  }
}

TEST_F(ServerTest, OwnFailuresAreLoggedWithoutTheQuery) {
  start();
  RawClient client(server->port());
  const auto failed = client.get("/fail%0A?token=secret");
  EXPECT_EQ(failed.status, 500);
  EXPECT_THAT(failed.body, testing::Not(HasSubstr("broken")));
  server->stop();
  EXPECT_EQ(logged, "GET /fail?: broken");
}

TEST_F(ServerTest, CutsAnAnswerWhoseFileIsTooShort) {
  start();
  RawClient client(server->port());
  EXPECT_EQ(client.get("/short").body, "0123456789") << "one byte less than was announced";
  EXPECT_TRUE(client.isClosed());
  server->stop();
  EXPECT_THAT(logged, HasSubstr("became shorter"));
}

TEST_F(ServerTest, AHandlerThatWaitsDelaysNobody) {
  start();
  // More than there are network threads.
  std::vector<std::unique_ptr<RawClient>> clients;
  for (int i = 0; i < 4; ++i) {
    clients.push_back(std::make_unique<RawClient>(server->port()));
    clients.back()->send("GET /wait HTTP/1.1\r\nHost: localhost\r\n\r\n");
    if (i == 0) waiting.wait();
  }
  for (int i = 0; i < 8; ++i) EXPECT_EQ(RawClient(server->port()).get("/file").status, 200);
  allowed.set_value();
  for (auto& client : clients) EXPECT_EQ(client->answer().body, "0123456789");
}

TEST_F(ServerTest, ProbesDoNotWaitForWorkers) {
  start();
  std::vector<std::unique_ptr<RawClient>> clients;
  for (int i = 0; i < 70; ++i) {
    clients.push_back(std::make_unique<RawClient>(server->port()));
    clients.back()->send("GET /wait HTTP/1.1\r\nHost: localhost\r\n\r\n");
  }
  while (waiters < 64) std::this_thread::yield();
  RawClient other(server->port(), "127.0.0.1", 0, 300ms);
  EXPECT_EQ(other.get("/text").status, 0) << "all workers wait";
  EXPECT_EQ(RawClient(server->port()).get("/livez").body, "ok");
  allowed.set_value();
  for (auto& client : clients) EXPECT_EQ(client->answer().status, 200);
}

TEST_F(ServerTest, AReaderThatStopsCostsItsOwnConnection) {
  start({.stallTime = 1s});
  RawClient stalled(server->port(), "127.0.0.1", 4096);
  stalled.send("GET /large HTTP/1.1\r\nHost: localhost\r\n\r\n");
  ASSERT_TRUE(stalled.receive());
  const auto stalledFile = sent;
  EXPECT_FALSE(stalledFile.expired()) << "is being sent";
  RawClient other(server->port());
  EXPECT_EQ(other.get("/large").body.size(), std::size_t{64} << 20);
  const auto begin = std::chrono::steady_clock::now();
  while (!stalledFile.expired() && std::chrono::steady_clock::now() - begin < 10s) std::this_thread::yield();
  EXPECT_TRUE(stalledFile.expired()) << "was cut after the limit";
  EXPECT_LT(stalled.answer().body.size(), std::size_t{64} << 20);
}

TEST_F(ServerTest, RequestsHaveOneDeadline) {
  start({.requestTime = 1s, .idleTime = 1s, .stallTime = 20s});
  RawClient silent(server->port());
  RawClient slow(server->port(), "127.0.0.1", 0, 20ms);
  RawClient body(server->port());
  body.send("POST /echo HTTP/1.1\r\nHost: localhost\r\nContent-Length: 10\r\n\r\n");
  const auto begin = std::chrono::steady_clock::now();
  // Each byte is progress, and there is never an end.
  while (slow.send("G") && std::chrono::steady_clock::now() - begin < 10s) slow.receive();
  EXPECT_FALSE(slow.send("G"));
  EXPECT_TRUE(silent.isClosed());
  EXPECT_TRUE(body.isClosed());
  RawClient idle(server->port());
  EXPECT_EQ(idle.get("/text").status, 200);
  EXPECT_TRUE(idle.isClosed());
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
}

TEST_F(ServerTest, AnAnswerMayTakeLongerThanARequest) {
  start({.requestTime = 500ms, .idleTime = 500ms});
  RawClient client(server->port());
  client.send("GET /wait HTTP/1.1\r\nHost: localhost\r\n\r\n");
  waiting.wait();
  EXPECT_TRUE(RawClient(server->port()).isClosed()) << "its deadline passes meanwhile";
  allowed.set_value();
  EXPECT_EQ(client.answer().status, 200);
}

TEST_F(ServerTest, LimitsConnectionsOfAnAddress) {
  start({.connectionsPerAddress = 3});
  std::vector<std::unique_ptr<RawClient>> clients;
  for (int i = 0; i < 3; ++i) {
    clients.push_back(std::make_unique<RawClient>(server->port()));
    EXPECT_EQ(clients.back()->get("/text").status, 200);
  }
  EXPECT_EQ(RawClient(server->port()).get("/text").status, 0);
  clients.clear();
  while (RawClient(server->port()).get("/text").status != 200) std::this_thread::yield();
}

TEST_F(ServerTest, LeavesDescriptorsToTheRecordings) {
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit few{.rlim_cur = 64, .rlim_max = before.rlim_max};
  // A quarter in all, and of one address a quarter of those, as usual.
  for (const auto& [ofAddress, expected] : {std::pair(2000U, 16), std::pair(500U, 4)}) {
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    start({.connectionsPerAddress = ofAddress});
    ::setrlimit(RLIMIT_NOFILE, &before);
    std::vector<std::unique_ptr<RawClient>> clients;
    int served = 0;
    for (int i = 0; i < 17; ++i) {
      clients.push_back(std::make_unique<RawClient>(server->port(), "127.0.0.1", 0, i < expected ? 20s : 1s));
      served += clients.back()->get("/text").status == 200 ? 1 : 0;
    }
    EXPECT_EQ(served, expected);
  }
}

TEST_F(ServerTest, StopsInTheMiddleOfAnswers) {
  start();
  RawClient idle(server->port());
  RawClient reading(server->port(), "127.0.0.1", 4096);
  reading.send("GET /large HTTP/1.1\r\nHost: localhost\r\n\r\n");
  ASSERT_TRUE(reading.receive());
  RawClient waiter(server->port());
  waiter.send("GET /wait HTTP/1.1\r\nHost: localhost\r\n\r\n");
  waiting.wait();
  const auto begin = std::chrono::steady_clock::now();
  allowed.set_value();
  server->stop();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
  EXPECT_TRUE(idle.isClosed());
  EXPECT_LT(reading.answer().body.size(), std::size_t{64} << 20);
  EXPECT_THROW(RawClient(server->port()), std::runtime_error);
}

TEST_F(ServerTest, ListensOnIpv6) {
  start({}, {}, "::1");
  EXPECT_EQ(RawClient(server->port(), "::1").get("/text", "Host: [::1]:8480\r\n").status, 200);
  start({}, {}, "::");
  EXPECT_EQ(RawClient(server->port(), "127.0.0.1").get("/text").status, 200);
}

TEST_F(ServerTest, SaysWhyItCannotListen) {
  start();
  const auto listen = [&](const char* address, std::uint16_t port) {
    HttpServer({.address = address, .port = port}, {}, {});
  };
  try {
    listen("127.0.0.1", server->port());
    FAIL();
  } catch (const host::CommandError& error) {
    EXPECT_EQ(error.what(), fmt::format("cannot listen on 127.0.0.1 port {}: Address already in use", server->port()));
  }
  EXPECT_THROW(listen("localhost", 0), host::CommandError);
  EXPECT_THROW(listen("203.0.113.1", 0), host::CommandError);
}

}  // namespace
