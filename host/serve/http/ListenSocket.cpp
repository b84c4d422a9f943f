#include "host/serve/http/ListenSocket.h"

#include <fmt/format.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <system_error>
#include <utility>

#include "host/errors.h"

namespace host::serve {
namespace {

using Addresses = std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)>;

Addresses numericAddress(const std::string& address, std::uint16_t port) {
  addrinfo hints{};
  hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (::getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) {
    throw CommandError(fmt::format("cannot listen on {}: not a numeric IPv4 or IPv6 address", address));
  }
  return {found, &::freeaddrinfo};
}

bool listenOn(int socket, const addrinfo& address) {
  const int on = 1;
  const int off = 0;
  // A port that was just in use by another run of this program is free.
  if (::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) return false;
  if (address.ai_family == AF_INET6 && ::setsockopt(socket, IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off) != 0)
    return false;
  return ::bind(socket, address.ai_addr, address.ai_addrlen) == 0 && ::listen(socket, SOMAXCONN) == 0;
}

}  // namespace

ListenSocket::ListenSocket(const std::string& address, std::uint16_t port) {
  const Addresses found = numericAddress(address, port);
  // Several threads wait for a connection, and one gets it: the others must not wait in accept().
  socket_ = ::socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (socket_ != -1 && listenOn(socket_, *found)) return;
  const std::string reason = std::generic_category().message(errno);
  close();
  throw CommandError(fmt::format("cannot listen on {} port {}: {}", address, port, reason));
}

std::uint16_t ListenSocket::port() const {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  if (::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
  return ntohs(address.ss_family == AF_INET6 ? reinterpret_cast<const sockaddr_in6&>(address).sin6_port
                                             : reinterpret_cast<const sockaddr_in&>(address).sin_port);
}

void ListenSocket::close() {
  if (socket_ != -1) ::close(std::exchange(socket_, -1));
}

}  // namespace host::serve
