#include "host/serve/http/AddressLimit.h"

#include <netinet/in.h>

#include <string_view>

namespace host::serve {
namespace {

/// The bytes of the address that tell clients apart; 4 for IPv4, 8 for IPv6.
std::string clientOf(const sockaddr* address) {
  if (address->sa_family == AF_INET) {
    const auto& v4 = reinterpret_cast<const sockaddr_in*>(address)->sin_addr;
    return {reinterpret_cast<const char*>(&v4), sizeof v4};
  }
  if (address->sa_family != AF_INET6) return {};
  const auto& v6 = reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr;
  const std::string_view bytes(reinterpret_cast<const char*>(&v6), sizeof v6);
  return std::string(IN6_IS_ADDR_V4MAPPED(&v6) ? bytes.substr(12) : bytes.substr(0, 8));
}

}  // namespace

bool AddressLimit::allows(const sockaddr* address) const {
  const std::scoped_lock lock(mutex_);
  const auto entry = counts_.find(clientOf(address));
  return most_ != 0 && (entry == counts_.end() || entry->second < most_);
}

void AddressLimit::opened(const sockaddr* address) {
  const std::scoped_lock lock(mutex_);
  ++counts_[clientOf(address)];
}

void AddressLimit::closed(const sockaddr* address) {
  const std::scoped_lock lock(mutex_);
  const auto entry = counts_.find(clientOf(address));
  if (entry != counts_.end() && --entry->second == 0) counts_.erase(entry);
}

}  // namespace host::serve
