#pragma once

#include <cstdint>
#include <string>

namespace host::serve {

/// A socket that listens on a numeric IPv4 or IPv6 address; on `::` for both. Port 0 is any free one.
class ListenSocket {
 public:
  /// Throws CommandError, which names the address.
  ListenSocket(const std::string& address, std::uint16_t port);
  ~ListenSocket() { close(); }
  ListenSocket(const ListenSocket&) = delete;
  ListenSocket& operator=(const ListenSocket&) = delete;

  int get() const { return socket_; }
  std::uint16_t port() const;
  void close();

 private:
  int socket_ = -1;
};

}  // namespace host::serve
