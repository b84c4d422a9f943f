#include "platform/os/sleep.h"

#include <chrono>
#include <thread>

namespace platform::os {

void sleepMs(std::uint32_t ms) {
  if (ms == 0) {
    std::this_thread::yield();
  } else {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
  }
}

}  // namespace platform::os
