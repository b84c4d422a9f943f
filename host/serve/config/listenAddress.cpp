#include "host/serve/config/listenAddress.h"

#include <arpa/inet.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

#include "host/errors.h"

namespace host::serve {
namespace {

std::optional<std::uint16_t> portOf(std::string_view text) {
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return port;
}

bool isNumeric(int family, const std::string& host) {
  in6_addr address{};
  return ::inet_pton(family, host.c_str(), &address) == 1;
}

}  // namespace

ListenAddress parseListenAddress(const std::string& text) {
  const std::size_t colon = text.rfind(':');
  const auto port = colon == std::string::npos ? std::nullopt : portOf(std::string_view(text).substr(colon + 1));
  const std::string host = text.substr(0, colon);
  if (port && isNumeric(AF_INET, host)) return {.host = host, .port = *port};
  if (port && host.size() > 2 && host.front() == '[' && host.back() == ']') {
    const std::string inner = host.substr(1, host.size() - 2);
    if (isNumeric(AF_INET6, inner)) return {.host = inner, .port = *port};
  }
  throw UsageError(fmt::format(
      R"("{}" is no address; expected a numeric one with a port, such as "127.0.0.1:8480", "[::1]:8480" or "0.0.0.0:8480" for all of IPv4, or "" for no HTTP)",
      text));
}

bool isLoopback(const std::string& host) {
  if (in_addr four{}; ::inet_pton(AF_INET, host.c_str(), &four) == 1) return (ntohl(four.s_addr) >> 24) == 127;
  in6_addr six{};
  if (::inet_pton(AF_INET6, host.c_str(), &six) != 1) return false;
  return IN6_IS_ADDR_LOOPBACK(&six) || (IN6_IS_ADDR_V4MAPPED(&six) && six.s6_addr[12] == 127);
}

bool isOrigin(const std::string& text) {
  std::string_view rest = text;
  for (const std::string_view scheme : {"http://", "https://"}) {
    if (rest.starts_with(scheme)) rest.remove_prefix(scheme.size());
  }
  if (rest.size() == text.size()) return false;
  // A colon within brackets belongs to an IPv6 address.
  const std::size_t bracket = rest.rfind(']');
  const std::size_t colon = rest.find(':', bracket == std::string_view::npos ? 0 : bracket);
  if (colon != std::string_view::npos && !portOf(rest.substr(colon + 1))) return false;
  const std::string_view host = rest.substr(0, colon);
  if (host.starts_with('['))
    return host.ends_with(']') && isNumeric(AF_INET6, std::string(host.substr(1, host.size() - 2)));
  const auto isHostCharacter = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == '_';
  };
  return !host.empty() && std::ranges::all_of(host, isHostCharacter);
}

}  // namespace host::serve
