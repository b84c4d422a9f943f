#include "host/serve/http/DeadlineWatch.h"

#include <sys/socket.h>

namespace host::serve {

DeadlineWatch::DeadlineWatch() : thread_([this] { run(); }) {}

DeadlineWatch::~DeadlineWatch() {
  {
    const std::scoped_lock lock(mutex_);
    isStopping_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void DeadlineWatch::set(int socket, std::optional<Clock::time_point> deadline) {
  const std::scoped_lock lock(mutex_);
  const auto entry = deadlines_.find(socket);
  if (entry != deadlines_.end()) {
    order_.erase({entry->second, socket});
    deadlines_.erase(entry);
  }
  if (!deadline) return;
  deadlines_.emplace(socket, *deadline);
  order_.emplace(*deadline, socket);
  // Nearly every deadline is removed before it comes. To wake the thread for each that is the first one now would cost
  // two thread switches for each request; it wakes for the one before, and then waits for this one.
  if (*deadline >= wakesAt_) return;
  wakesAt_ = *deadline;
  changed_.notify_one();
}

void DeadlineWatch::run() {
  std::unique_lock lock(mutex_);
  while (!isStopping_) {
    if (order_.empty()) {
      wakesAt_ = Clock::time_point::max();
      changed_.wait(lock);
    } else if (const auto [deadline, socket] = *order_.begin(); Clock::now() < deadline) {
      wakesAt_ = deadline;
      changed_.wait_until(lock, deadline);
    } else {
      ::shutdown(socket, SHUT_RDWR);
      deadlines_.erase(socket);
      order_.erase(order_.begin());
    }
  }
}

}  // namespace host::serve
