#pragma once

#include <pthread.h>

#include <functional>

namespace host::serve {

/// A thread with a small stack, of which a process can have thousands. Belongs to one thread.
class SmallThread {
 public:
  /// Calls `work` on a new thread; it must not throw. Throws std::system_error if the system has no more threads.
  explicit SmallThread(std::function<void()> work);
  /// Waits until `work` has returned.
  ~SmallThread();
  SmallThread(const SmallThread&) = delete;
  SmallThread& operator=(const SmallThread&) = delete;

 private:
  std::function<void()> work_;
  pthread_t thread_{};
};

}  // namespace host::serve
