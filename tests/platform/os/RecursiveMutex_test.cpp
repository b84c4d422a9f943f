#include <mutex>
#include <thread>

#include "platform/os/RecursiveMutex.h"
#include "tests/support/testing.h"

namespace platform::os {
namespace {

/// What another thread is answered.
template <typename Operation>
bool elsewhere(Operation operation) {
  bool answer = false;
  std::thread([&] { answer = operation(); }).join();
  return answer;
}

TEST(RecursiveMutex, IsFreeAfterAsManyUnlocksOfItsHolderAsLocks) {
  RecursiveMutex mutex;
  mutex.lock();
  mutex.lock();
  EXPECT_TRUE(mutex.unlock());
  EXPECT_FALSE(elsewhere([&] { return mutex.tryLock() || mutex.isHeldByCaller() || mutex.unlock(); }));
  EXPECT_TRUE(mutex.isHeldByCaller());
  EXPECT_TRUE(mutex.unlock());
  EXPECT_FALSE(mutex.unlock() || mutex.isHeldByCaller());
  EXPECT_TRUE(elsewhere([&] { return mutex.tryLock() && mutex.unlock(); }));
}

TEST(RecursiveMutex, KeepsThreadsApartWithAndWithoutSpinning) {
  for (const std::uint32_t spinCount : {0U, 1000U}) {
    RecursiveMutex mutex(spinCount);
    int guarded = 0;
    const auto work = [&] {
      for (int round = 0; round < 5000; ++round) {
        const std::lock_guard outer(mutex), inner(mutex);
        ++guarded;
      }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(guarded, 10000);
  }
}

}  // namespace
}  // namespace platform::os
