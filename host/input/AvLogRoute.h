#pragma once

#include "host/Log.h"

namespace host {

/// While it exists, the errors that libav reports go to a log. They are warnings there, because their consequences are
/// reported where they occur. All lesser messages of libav are dropped. Any thread may log meanwhile. One object at a
/// time; `log` outlives it.
class AvLogRoute {
 public:
  explicit AvLogRoute(Log& log);
  ~AvLogRoute();
  AvLogRoute(const AvLogRoute&) = delete;
  AvLogRoute& operator=(const AvLogRoute&) = delete;
};

}  // namespace host
