// The program that scripts/http_fuzz.sh sends requests to: a server on a free port, which it prints, with the routes of
// the program and two files. Ends when its input does. The first argument is the token, or nothing.

#include <cstdio>
#include <memory>

#include "host/serve/http/HttpServer.h"
#include "tests/serve/api/SampleApi.h"
#include "tests/serve/http/contentOf.h"
#include "tests/support/TempDirectory.h"

namespace {

using namespace host::serve;

Body fileBody(const std::string& path, std::size_t size) {
  Body body("head ");
  body.add(test::fileWith(path, std::string(size, 'x')), 0, size);
  return body;
}

}  // namespace

int main(int argc, char** argv) {
  const test::TempDirectory directory;
  test::SampleApi api;
  for (const auto& [name, size] : {std::pair("small", 100), std::pair("large", 8 << 20)}) {
    const HttpResponse response{.body = fileBody(directory.file(name), static_cast<std::size_t>(size)),
                                .etag = "\"file\""};
    api.router.add("GET", std::string("/") + name, [response](const HttpRequest&) { return response; });
  }
  HttpOptions options{.access = {.token = argc > 1 ? argv[1] : "", .allowOrigins = {"https://a.org"}}};
  options.limits = {.connections = 200,
                    .connectionsPerAddress = 150,
                    .requestTime = std::chrono::seconds(5),
                    .idleTime = std::chrono::milliseconds(500),
                    .stallTime = std::chrono::seconds(1)};
  HttpServer server(
      options, [&](const HttpRequest& request) { return api.router(request); },
      [](const std::string& line) { std::fprintf(stderr, "log: %s\n", line.c_str()); });
  std::printf("%d\n", server.port());
  std::fflush(stdout);
  while (std::getchar() != EOF) continue;
  server.stop();
  return 0;
}
