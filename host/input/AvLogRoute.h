#pragma once

#include "host/Log.h"

namespace host {

/// While it exists, the errors that libav reports on the thread that made it go to a log. They are warnings there,
/// because their consequences are reported where they occur. All lesser messages of libav are dropped, and all messages
/// of threads without a route. What libav logs on threads of its own goes to the oldest route of the process.
///
/// Made and destroyed on one thread. A thread may have several, of which the newest counts; they are destroyed in the
/// opposite order. `log` outlives it.
class AvLogRoute {
 public:
  explicit AvLogRoute(Log& log);
  ~AvLogRoute();
  AvLogRoute(const AvLogRoute&) = delete;
  AvLogRoute& operator=(const AvLogRoute&) = delete;

 private:
  /// The route of the thread before; null if it had none.
  Log* outer_;
  /// Whether it is the one for libav's own threads.
  bool isOldest_ = false;
};

}  // namespace host
