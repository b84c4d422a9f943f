#pragma once

#include <sys/socket.h>

#include <cstddef>
#include <map>
#include <mutex>
#include <string>

namespace host::serve {

/// Counts the open connections of each client address. A client with IPv6 usually has a /64 of addresses, so those
/// count as one, and an IPv4 address counts the same whether it came over an IPv6 socket or not. Any thread may call
/// it.
class AddressLimit {
 public:
  explicit AddressLimit(std::size_t most) : most_(most) {}

  /// Whether the address may open one more. Two threads may ask at once, so a client can exceed the limit by the number
  /// of threads that accept.
  bool allows(const sockaddr* address) const;
  void opened(const sockaddr* address);
  void closed(const sockaddr* address);

 private:
  const std::size_t most_;
  mutable std::mutex mutex_;
  /// Guarded by the mutex. Addresses without a connection have no entry.
  std::map<std::string, std::size_t> counts_;
};

}  // namespace host::serve
