#pragma once

#include <cstdint>
#include <string>

namespace host::serve {

struct ListenAddress {
  /// Numeric, IPv4 or IPv6 without brackets.
  std::string host;
  std::uint16_t port = 0;
};

/// "127.0.0.1:8480", "[::1]:8480". No names, which may later mean another address, and no port alone, so that
/// nobody listens on all addresses without having written so. Throws UsageError.
ListenAddress parseListenAddress(const std::string& text);

/// Whether only programs on this machine reach the numeric address.
bool isLoopback(const std::string& host);

/// Whether the text is what a browser sends as Origin: `http://` or `https://`, a host in lower case, and a port if it
/// is not the usual one.
bool isOrigin(const std::string& text);

}  // namespace host::serve
