#include "host/serve/http/HttpServer.h"

#include <microhttpd.h>
#include <sys/resource.h>

#include <algorithm>

#include "host/errors.h"
#include "host/serve/http/AddressLimit.h"
#include "host/serve/http/Connection.h"
#include "host/serve/http/HttpParts.h"
#include "host/serve/http/ListenSocket.h"

namespace host::serve {
namespace {

constexpr unsigned kNetworkThreads = 2;
/// Answers that are made at once. Each may wait for a disk that does not respond.
constexpr std::size_t kMostWorkers = 64;
/// Bytes that a connection may take for its request line and headers, more than they may have, and for the header of
/// the answer.
constexpr std::size_t kHeaderRoom = 16 << 10;

/// A quarter of the descriptors that the process may have: recordings need some, too, whatever clients do.
std::size_t connectionsWithin(std::size_t limit) {
  rlimit descriptors{};
  if (::getrlimit(RLIMIT_NOFILE, &descriptors) != 0) return limit;
  return std::min(limit, std::max<std::size_t>(descriptors.rlim_cur / 4, kNetworkThreads));
}

/// What an address may have of the connections that are possible: the same share as of those that are wanted.
std::size_t connectionsOfAddress(const HttpLimits& limits) {
  const std::size_t possible = connectionsWithin(limits.connections);
  if (possible == limits.connections) return limits.connectionsPerAddress;
  return std::max<std::size_t>(limits.connectionsPerAddress * possible / limits.connections, 1);
}

Connection* connectionOf(MHD_Connection* handle) {
  const auto* info = MHD_get_connection_info(handle, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
  return info == nullptr ? nullptr : static_cast<Connection*>(info->socket_context);
}

}  // namespace

/// The network library and its callbacks, which run on the network threads.
class HttpServer::Engine {
 public:
  Engine(const HttpOptions& options, HttpHandler handler, HttpFront::LogLine logLine);
  ~Engine() { stop(); }
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  std::uint16_t port() const { return port_; }
  void stop();

 private:
  static MHD_Result mayConnect(void* self, const sockaddr* address, socklen_t size);
  static void connectionChanged(void* self, MHD_Connection* handle, void** context,
                                MHD_ConnectionNotificationCode what);
  static void* requestLine(void* self, const char* target, MHD_Connection* handle);
  static MHD_Result proceed(void* self, MHD_Connection* handle, const char* target, const char* method,
                            const char* version, const char* content, std::size_t* size, void** context);
  static void requestEnded(void* self, MHD_Connection* handle, void** context, MHD_RequestTerminationCode how);

  void start(const HttpLimits& limits);

  HttpParts parts_;
  AddressLimit addresses_;
  ListenSocket socket_;
  std::uint16_t port_;
  MHD_Daemon* daemon_ = nullptr;
};

HttpServer::Engine::Engine(const HttpOptions& options, HttpHandler handler, HttpFront::LogLine logLine)
    : parts_{.front = HttpFront(options.access, std::move(handler), logLine),
             .limits = options.limits,
             .logLine = logLine,
             .workers = WorkerPool(kMostWorkers)},
      addresses_(connectionsOfAddress(options.limits)),
      socket_(options.address, options.port),
      port_(socket_.port()) {
  start(options.limits);
}

void HttpServer::Engine::start(const HttpLimits& limits) {
  constexpr unsigned kFlags = MHD_USE_EPOLL_INTERNAL_THREAD | MHD_USE_ITC | MHD_ALLOW_SUSPEND_RESUME;
  // Without MHD_USE_ERROR_LOG: what the library would say may quote a request.
  daemon_ =
      MHD_start_daemon(kFlags, 0, &mayConnect, this, &proceed, this, MHD_OPTION_LISTEN_SOCKET, socket_.get(),
                       MHD_OPTION_THREAD_POOL_SIZE, kNetworkThreads, MHD_OPTION_CONNECTION_LIMIT,
                       static_cast<unsigned>(connectionsWithin(limits.connections)), MHD_OPTION_CONNECTION_TIMEOUT,
                       static_cast<unsigned>(limits.stallTime.count()), MHD_OPTION_CONNECTION_MEMORY_LIMIT,
                       limits.headerBytes + kHeaderRoom, MHD_OPTION_STRICT_FOR_CLIENT, 1, MHD_OPTION_URI_LOG_CALLBACK,
                       &requestLine, this, MHD_OPTION_NOTIFY_CONNECTION, &connectionChanged, this,
                       MHD_OPTION_NOTIFY_COMPLETED, &requestEnded, this, MHD_OPTION_END);
  if (daemon_ == nullptr) throw CommandError("cannot start the HTTP server");
}

void HttpServer::Engine::stop() {
  if (daemon_ == nullptr) return;
  parts_.isStopping = true;
  MHD_quiesce_daemon(daemon_);
  // The library must not be stopped while a worker has one of its connections.
  parts_.workers.close();
  MHD_stop_daemon(daemon_);
  daemon_ = nullptr;
  socket_.close();
}

MHD_Result HttpServer::Engine::mayConnect(void* self, const sockaddr* address, socklen_t) {
  return static_cast<Engine*>(self)->addresses_.allows(address) ? MHD_YES : MHD_NO;
}

void HttpServer::Engine::connectionChanged(void* self, MHD_Connection* handle, void** context,
                                           MHD_ConnectionNotificationCode what) {
  auto* engine = static_cast<Engine*>(self);
  const sockaddr* address = MHD_get_connection_info(handle, MHD_CONNECTION_INFO_CLIENT_ADDRESS)->client_addr;
  if (what == MHD_CONNECTION_NOTIFY_STARTED) {
    try {
      engine->addresses_.opened(address);
      *context = std::make_unique<Connection>(engine->parts_, handle).release();
    } catch (...) {
      // proceed() closes a connection without a context.
      *context = nullptr;
    }
  } else {
    const std::unique_ptr<Connection> closed(static_cast<Connection*>(*context));
    *context = nullptr;
    engine->addresses_.closed(address);
  }
}

void* HttpServer::Engine::requestLine(void*, const char* target, MHD_Connection* handle) {
  try {
    if (Connection* const connection = connectionOf(handle)) connection->beginRequest(target);
  } catch (...) {
    // The request then has no target, which is none that exists.
  }
  return nullptr;
}

MHD_Result HttpServer::Engine::proceed(void*, MHD_Connection* handle, const char*, const char* method, const char*,
                                       const char* content, std::size_t* size, void**) {
  try {
    Connection* const connection = connectionOf(handle);
    return connection != nullptr && connection->proceed(method, content, size) ? MHD_YES : MHD_NO;
  } catch (...) {
    // No exception may pass the library. This one is a lack of memory, and the connection is closed.
    return MHD_NO;
  }
}

void HttpServer::Engine::requestEnded(void*, MHD_Connection* handle, void**, MHD_RequestTerminationCode) {
  if (Connection* const connection = connectionOf(handle)) connection->endRequest();
}

HttpServer::HttpServer(const HttpOptions& options, HttpHandler handler, HttpFront::LogLine logLine)
    : engine_(std::make_unique<Engine>(options, std::move(handler), std::move(logLine))) {}

HttpServer::~HttpServer() = default;

std::uint16_t HttpServer::port() const {
  return engine_->port();
}

void HttpServer::stop() {
  engine_->stop();
}

}  // namespace host::serve
