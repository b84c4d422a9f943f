#pragma once

#include "host/Log.h"

namespace host {

/// While it lives, what libav has to say of errors goes to a log, as warnings, since what they cost shows elsewhere;
/// all else it says is dropped. libav logs from any thread. One object at a time; `log` outlives it.
class AvLogRoute {
 public:
  explicit AvLogRoute(Log& log);
  ~AvLogRoute();
  AvLogRoute(const AvLogRoute&) = delete;
  AvLogRoute& operator=(const AvLogRoute&) = delete;
};

}  // namespace host
