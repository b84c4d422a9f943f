#pragma once

#include <atomic>

#include "host/serve/http/DeadlineWatch.h"
#include "host/serve/http/HttpFront.h"
#include "host/serve/http/HttpServer.h"
#include "host/serve/http/WorkerPool.h"

struct MHD_Connection;

namespace host::serve {

/// What the connections of a server share.
struct HttpParts {
  HttpFront front;
  HttpLimits limits;
  HttpFront::LogLine logLine;
  WorkerPool workers;
  DeadlineWatch watch = {};
  /// From here on no connection waits for a worker: all of them end.
  std::atomic<bool> isStopping = false;

  /// Takes the connection out of the network thread's hands until `job` has run on a worker. The network thread then
  /// calls the same callback again. Called in a callback of the connection, which must return at once.
  void runOnWorker(MHD_Connection* connection, std::function<void()> job);
};

}  // namespace host::serve
