#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "host/serve/http/Access.h"
#include "host/serve/http/HttpFront.h"
#include "host/serve/http/HttpMessage.h"

namespace host::serve {

/// What clients may use. Whoever exceeds a limit is refused or cut; nobody else notices.
struct HttpLimits {
  /// Open connections, in all and of one client address. At most a quarter of the descriptors of the process; then
  /// those of an address are fewer in the same proportion.
  std::size_t connections = 2000;
  std::size_t connectionsPerAddress = 500;
  /// Bytes of the request line's target, and of request line and headers together.
  std::size_t targetBytes = 4096;
  std::size_t headerBytes = 12 << 10;
  /// Bytes of a request's content. Only the form for the token has any.
  std::size_t bodyBytes = 4096;
  /// From the connection, or from the request line of a later request, to the end of the request.
  std::chrono::milliseconds requestTime = std::chrono::seconds(10);
  /// How long a connection stays open for a next request.
  std::chrono::milliseconds idleTime = std::chrono::seconds(60);
  /// How long a client may neither send nor take a byte.
  std::chrono::seconds stallTime = std::chrono::seconds(60);

  bool operator==(const HttpLimits&) const = default;
};

struct HttpOptions {
  /// A numeric address; `::` also takes IPv4 connections.
  std::string address = "127.0.0.1";
  /// 0 for any free one.
  std::uint16_t port = 0;
  AccessOptions access = {};
  HttpLimits limits = {};

  bool operator==(const HttpOptions&) const = default;
};

/// An HTTP/1.1 server. Two threads wait for the network; others, up to 64, run the handlers and read from disk. So a
/// slow client delays nobody, nor does a disk that does not respond, as long as fewer than 64 answers wait for it.
/// `/livez` and `/readyz` are served even then: their handlers run on the network threads and must not wait.
class HttpServer {
 public:
  /// Serves from here on. `logLine` gets a line for each answer that failed by our own fault, on any thread. Throws
  /// CommandError if it cannot listen.
  HttpServer(const HttpOptions& options, HttpHandler handler, HttpFront::LogLine logLine);
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  std::uint16_t port() const;
  /// Closes all connections, in the middle of an answer, too. Waits for the handlers that are running. Called by one
  /// thread, which is none of the server's.
  void stop();

 private:
  class Engine;
  std::unique_ptr<Engine> engine_;
};

}  // namespace host::serve
