#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include "platform/os/RecursiveMutex.h"
#include "platform/os/sleep.h"

namespace platform::os {
namespace {

/// What another thread is answered.
template <typename Operation>
bool elsewhere(Operation operation) {
  bool answer = false;
  std::thread([&] { answer = operation(); }).join();
  return answer;
}

TEST(RecursiveMutex, IsFreeAfterAsManyUnlocksAsLocks) {
  RecursiveMutex mutex;
  mutex.lock();
  mutex.lock();
  EXPECT_TRUE(mutex.unlock());
  EXPECT_FALSE(elsewhere([&] { return mutex.tryLock(); }));
  EXPECT_TRUE(mutex.unlock());
  EXPECT_FALSE(mutex.isHeldByCaller());
  EXPECT_TRUE(elsewhere([&] { return mutex.tryLock() && mutex.unlock(); }));
}

TEST(RecursiveMutex, OnlyTheHolderUnlocks) {
  RecursiveMutex mutex;
  mutex.lock();
  EXPECT_FALSE(elsewhere([&] { return mutex.isHeldByCaller() || mutex.unlock(); }));
  EXPECT_TRUE(mutex.isHeldByCaller());
  EXPECT_TRUE(mutex.unlock());
  EXPECT_FALSE(mutex.unlock());
}

TEST(RecursiveMutex, KeepsThreadsApartWithAndWithoutSpinning) {
  for (const std::uint32_t spinCount : {0U, 1000U}) {
    RecursiveMutex mutex(spinCount);
    int guarded = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
        for (int round = 0; round < 5000; ++round) {
          mutex.lock();
          mutex.lock();
          ++guarded;
          mutex.unlock();
          mutex.unlock();
        }
      });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(guarded, 20000);
  }
}

TEST(Sleep, LastsAtLeastAsLongAsAsked) {
  const auto start = std::chrono::steady_clock::now();
  sleepMs(3);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(3));
}

}  // namespace
}  // namespace platform::os
