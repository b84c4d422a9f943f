#include "host/serve/http/origin.h"

#include <algorithm>
#include <charconv>

#include "util/asciiCase.h"

namespace host::serve {
namespace {

using qvs::util::equalInAnyCase;

bool isPort(std::string_view digits) {
  return std::ranges::all_of(digits, [](char c) { return c >= '0' && c <= '9'; });
}

/// 127.a.b.c with decimal numbers up to 255.
bool isLoopbackAddress(std::string_view text) {
  int numbers = 0;
  while (true) {
    unsigned char number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    if (result.ec != std::errc() || (numbers == 0 && number != 127)) return false;
    ++numbers;
    text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
    if (text.empty()) return numbers == 4;
    if (text.front() != '.' || numbers == 4) return false;
    text.remove_prefix(1);
  }
}

/// The `host:port` of `https://host:port`.
std::string_view authorityOf(std::string_view origin) {
  const std::size_t end = origin.find("://");
  return end == std::string_view::npos ? std::string_view() : origin.substr(end + 3);
}

}  // namespace

bool isLoopbackHost(std::string_view host) {
  // The colon before the port; those of an IPv6 address are in brackets.
  const std::size_t colon = host.find(':', host.starts_with('[') ? host.find(']') : 0);
  const std::string_view name = host.substr(0, colon);
  if (colon != std::string_view::npos && !isPort(host.substr(colon + 1))) return false;
  return equalInAnyCase(name, "localhost") || name == "[::1]" || isLoopbackAddress(name);
}

Sender senderOf(const HttpRequest& request, const std::vector<std::string>& allowOrigins) {
  const std::string* origin = request.header("origin");
  if (origin != nullptr && std::ranges::find(allowOrigins, *origin) != allowOrigins.end()) return Sender::kOurs;
  // No page can set this header, and no proxy changes it.
  if (const std::string* site = request.header("sec-fetch-site")) {
    return *site == "same-origin" || *site == "none" ? Sender::kOurs : Sender::kForeign;
  }
  if (origin == nullptr) return Sender::kUnknown;
  const std::string_view authority = authorityOf(*origin);
  for (const char* name : {"host", "x-forwarded-host"}) {
    // A foreign page cannot set the second one either: only requests with ordinary headers are sent without asking.
    const std::string* ours = request.header(name);
    if (ours != nullptr && !authority.empty() && equalInAnyCase(authority, *ours)) return Sender::kOurs;
  }
  return Sender::kForeign;
}

void CrossOrigin::addHeaders(const HttpRequest& request, HttpResponse& response) const {
  auto& headers = response.headers;
  // Keeps foreign pages from showing our pictures and media, too.
  headers.emplace_back("Cross-Origin-Resource-Policy", allowOrigins_.empty() ? "same-origin" : "cross-origin");
  if (allowOrigins_.empty()) return;
  headers.emplace_back("Vary", "Origin");
  const std::string* origin = request.header("origin");
  if (origin == nullptr) return;
  if (std::ranges::find(allowOrigins_, *origin) == allowOrigins_.end()) return;
  headers.emplace_back("Access-Control-Allow-Origin", *origin);
  headers.emplace_back("Access-Control-Expose-Headers",
                       "Accept-Ranges, Content-Disposition, Content-Length, Content-Range, Date, ETag, K2R-Time");
  if (request.method != "OPTIONS") return;
  headers.emplace_back("Access-Control-Allow-Methods", "GET, HEAD, POST");
  headers.emplace_back("Access-Control-Allow-Headers", "Authorization, If-None-Match, If-Range, Range");
  headers.emplace_back("Access-Control-Max-Age", "600");
}

HttpResponse CrossOrigin::preflight() {
  // Without Allow: only those who may use an address learn its methods.
  return {.status = 204};
}

}  // namespace host::serve
