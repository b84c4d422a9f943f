#pragma once

#include <netdb.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "util/asciiCase.h"

namespace test {

/// An answer as it came over the wire.
struct WireAnswer {
  /// 0 if the server closed the connection without one.
  int status = 0;
  /// Names in lower case; of a header that comes twice the values, with a comma between them.
  std::map<std::string, std::string> headers;
  std::string body;

  std::string header(const std::string& name) const {
    const auto found = headers.find(name);
    return found == headers.end() ? std::string() : found->second;
  }
};

/// A connection to a server of this machine that sends whatever bytes a test wants. A read that waits longer than
/// `patience` ends as if the server had closed the connection.
class RawClient {
 public:
  /// `receiveBuffer` bytes of answers wait in the system if they are not read; 0 for the system's default.
  explicit RawClient(std::uint16_t port, const char* address = "127.0.0.1", int receiveBuffer = 0,
                     std::chrono::milliseconds patience = std::chrono::seconds(20)) {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* target = nullptr;
    if (::getaddrinfo(address, std::to_string(port).c_str(), &hints, &target) != 0) throw std::runtime_error("address");
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owner(target, ::freeaddrinfo);
    socket_ = ::socket(target->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval limit{.tv_sec = patience.count() / 1000, .tv_usec = patience.count() % 1000 * 1000};
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    if (receiveBuffer != 0) ::setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    if (::connect(socket_, target->ai_addr, target->ai_addrlen) != 0) {
      ::close(socket_);
      throw std::runtime_error("cannot connect");
    }
  }
  ~RawClient() { ::close(socket_); }
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  /// False if the server has closed the connection.
  bool send(std::string_view bytes) {
    while (!bytes.empty()) {
      const auto count = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (count <= 0) return false;
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
  }
  /// Waits for more bytes; false at the end.
  bool receive() {
    char buffer[64 << 10];
    const auto count = ::recv(socket_, buffer, sizeof buffer, 0);
    if (count <= 0) return false;
    received_.append(buffer, static_cast<std::size_t>(count));
    return true;
  }
  /// Whether the server closes the connection; what comes before is dropped.
  bool isClosed() {
    // The end of a connection sets no errno, and an old one may be there.
    for (errno = 0; receive(); errno = 0) received_.clear();
    return errno != EAGAIN;
  }
  /// Reads an answer; without its content for HEAD.
  WireAnswer answer(bool isHead = false) {
    std::size_t end = 0;
    while ((end = received_.find("\r\n\r\n")) == std::string::npos) {
      if (!receive()) return {};
    }
    WireAnswer answer = parseHead(received_.substr(0, end + 2));
    received_.erase(0, end + 4);
    const bool hasBody = !isHead && answer.status != 304 && answer.status != 204;
    const std::size_t size = hasBody ? std::strtoul(answer.header("content-length").c_str(), nullptr, 10) : 0;
    while (received_.size() < size && receive()) continue;
    answer.body = received_.substr(0, size);
    received_.erase(0, size);
    return answer;
  }
  /// One request, with further header lines, and its answer.
  WireAnswer ask(const std::string& method, const std::string& target, const std::string& headers = {}) {
    send(method + " " + target + " HTTP/1.1\r\n" + (hasHost(headers) ? "" : "Host: localhost\r\n") + headers + "\r\n");
    return answer(method == "HEAD");
  }
  WireAnswer get(const std::string& target, const std::string& headers = {}) { return ask("GET", target, headers); }

 private:
  static bool hasHost(const std::string& headers) { return ("\r\n" + headers).find("\r\nHost:") != std::string::npos; }

  static WireAnswer parseHead(const std::string& head) {
    WireAnswer answer;
    std::istringstream lines(head);
    std::string protocol, rest, name;
    lines >> protocol >> answer.status;
    std::getline(lines, rest);
    while (std::getline(lines, name, ':') && std::getline(lines, rest)) {
      for (char& c : name) c = qvs::util::lowerCase(c);
      std::string& value = answer.headers[name];
      // Without the blank before it and the line end after it.
      value += (value.empty() ? "" : ", ") + rest.substr(1, rest.size() - 2);
    }
    return answer;
  }

  int socket_;
  std::string received_;
};

}  // namespace test
