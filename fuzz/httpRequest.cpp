// Requests, from the wire's bytes on: whatever they are, there is an answer that keeps the rules of HTTP, and without
// the token none that says anything.
//
// The input is a request as it is sent; one whose first byte is '!' goes to a server with a token.

#include <set>

#include "fuzz/fuzzing.h"
#include "host/serve/http/HttpFront.h"
#include "tests/serve/api/SampleApi.h"

namespace {

using namespace host::serve;

std::string_view takeLine(std::string_view& rest) {
  const std::size_t end = std::min(rest.find('\n'), rest.size());
  std::string_view line = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

/// What the network library makes of bytes: a C string for the target, and headers with a colon.
RawRequest parseWire(std::string_view bytes) {
  RawRequest request;
  std::string_view line = takeLine(bytes);
  request.method = line.substr(0, line.find(' '));
  line.remove_prefix(std::min(line.size(), request.method.size() + 1));
  request.target = line.substr(0, std::min(line.rfind(' '), line.find('\0')));
  for (line = takeLine(bytes); !line.empty(); line = takeLine(bytes)) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) continue;
    std::string_view value = line.substr(colon + 1);
    while (value.starts_with(' ')) value.remove_prefix(1);
    request.headers.emplace_back(line.substr(0, colon), value);
  }
  request.body = bytes;
  return request;
}

std::string headerOf(const HttpResponse& response, std::string_view name) {
  for (const auto& [other, value] : response.headers) {
    if (other == name) return value;
  }
  return {};
}

void checkAnswer(const HttpResponse& response) {
  static const std::set<unsigned> kStatuses = {200, 204, 206, 303, 304, 400, 401, 403, 404, 405, 409, 416};
  fuzz::require(kStatuses.contains(response.status), "a status that docs/http.md has for this");
  for (const auto& [name, value] : response.headers) {
    fuzz::require(value.find_first_of("\r\n") == std::string::npos, "no line end in a header");
  }
  std::vector<std::byte> content(static_cast<std::size_t>(response.body.size()));
  fuzz::require(response.body.read(0, content) == content.size(), "the body has the size that it says");
  if (response.status == 206) {
    unsigned long long first = 0;
    unsigned long long last = 0;
    unsigned long long size = 0;
    const int count =
        std::sscanf(headerOf(response, "Content-Range").c_str(), "bytes %llu-%llu/%llu", &first, &last, &size);
    fuzz::require(count == 3 && first <= last && last < size && last - first + 1 == content.size(),
                  "a range of the whole");
  }
  if (response.status == 401) fuzz::require(!headerOf(response, "WWW-Authenticate").empty(), "401 says how");
}

/// Names that a request without the token may ask for.
bool isOpen(std::string_view target) {
  target = target.substr(0, target.find('?'));
  return target == "/login" || target == "/livez" || target == "/readyz";
}

}  // namespace

void fuzz::target(Bytes input) {
  static const test::SampleApi api;
  const auto handler = [](const HttpRequest& request) {
    if (request.path == std::vector<std::string>{"text"})
      return HttpResponse{.body = Body("0123456789"), .etag = "\"a\""};
    return api.router(request);
  };
  const auto noLog = [](const std::string& line) { fuzz::require(false, line.c_str()); };
  static const HttpFront open({.allowOrigins = {"https://a.org"}}, handler, noLog);
  static const HttpFront closed({.token = "a token that nobody guesses"}, handler, noLog);

  std::string_view bytes(reinterpret_cast<const char*>(input.data()), input.size());
  const bool needsToken = bytes.starts_with('!');
  if (needsToken) bytes.remove_prefix(1);
  RawRequest request = parseWire(bytes);
  const std::string method = request.method;
  const std::string target = request.target;
  const HttpResponse response = (needsToken ? closed : open).answer(std::move(request));
  checkAnswer(response);
  if (!needsToken || method == "OPTIONS" || isOpen(target)) return;
  // Percent-encoded names are open, too: what they decode to is.
  const bool isEncoded = target.find('%') != std::string::npos;
  fuzz::require(response.status >= 400 || isEncoded, "nothing without the token");
}
