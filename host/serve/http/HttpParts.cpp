#include "host/serve/http/HttpParts.h"

#include <microhttpd.h>

namespace host::serve {

void HttpParts::runOnWorker(MHD_Connection* connection, std::function<void()> job) {
  // Suspended before a worker can resume it.
  MHD_suspend_connection(connection);
  bool isPushed = false;
  try {
    isPushed = workers.push([connection, job = std::move(job)] {
      job();
      MHD_resume_connection(connection);
    });
  } catch (...) {
    // The server cannot be stopped while one is suspended.
    MHD_resume_connection(connection);
    throw;
  }
  // The server is stopping: the callback sees that when it is called again.
  if (!isPushed) MHD_resume_connection(connection);
}

}  // namespace host::serve
