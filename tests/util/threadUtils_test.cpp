#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "util/QVSThreadUtils.h"
#include "util/diagnostics.h"

namespace qvs::util {
namespace {

/// Writes down what is asked of it.
class LoggingMutex : public IMutex {
 public:
  explicit LoggingMutex(char name) : name_(name) {}
  bool lock() override { return note('+'); }
  bool unlock() override { return note('-'); }
  std::uint32_t setSpinCount(std::uint32_t) override { return 0; }

  static std::string log;

 private:
  bool note(char what) {
    log += what;
    log += name_;
    return true;
  }
  char name_;
};
std::string LoggingMutex::log;

class MutexLockTest : public testing::Test {
 protected:
  MutexLockTest() { LoggingMutex::log.clear(); }
  LoggingMutex a_{'a'};
  LoggingMutex b_{'b'};
};

TEST(NQThreadOnlyMutex, NeedsAnUnlockForEachLock) {
  NQThreadOnlyMutex mutex(true);
  EXPECT_TRUE(mutex.lock());
  EXPECT_TRUE(mutex.lock());
  EXPECT_TRUE(mutex.unlock());
  bool inside = false;
  std::thread other([&] {
    mutex.lock();
    inside = true;
    mutex.unlock();
  });
  EXPECT_FALSE(inside);
  EXPECT_TRUE(mutex.unlock());
  other.join();
  EXPECT_TRUE(inside);
}

TEST(NQThreadOnlyMutex, StaysLockedWhenAnotherThreadUnlocks) {
  NQThreadOnlyMutex mutex(false);
  mutex.lock();
  std::thread([&] { EXPECT_TRUE(mutex.unlock()); }).join();
  int guarded = 0;
  std::thread other([&] {
    mutex.lock();
    guarded = 1;
    mutex.unlock();
  });
  guarded = 2;
  mutex.unlock();
  other.join();
  EXPECT_EQ(guarded, 1);
}

TEST(NQThreadOnlyMutex, BeginsWithoutSpinning) {
  NQThreadOnlyMutex mutex(true);
  EXPECT_EQ(mutex.setSpinCount(1000), 0U);
  EXPECT_EQ(mutex.setSpinCount(0), 1000U);
}

TEST_F(MutexLockTest, LocksForItsScope) {
  {
    const MutexLock lock(&a_);
    const MutexLock held(&b_, true);
    const MutexLock nothing(nullptr);
  }
  EXPECT_EQ(LoggingMutex::log, "+a-b-a");
}

TEST_F(MutexLockTest, AssigningTheHeldMutexDoesNothing) {
  MutexLock lock(&a_);
  lock.assign(&a_);
  EXPECT_EQ(LoggingMutex::log, "+a");
  lock.assign(&b_);
  lock.release();
  lock.release();
  EXPECT_EQ(LoggingMutex::log, "+a-a+b-b");
}

TEST_F(MutexLockTest, IsTakenOverWithoutAGap) {
  {
    MutexLock first(&a_);
    MutexLock second(std::move(first));
    MutexLock third(&b_);
    third = std::move(second);
    EXPECT_EQ(third.held(), &a_);
    EXPECT_EQ(LoggingMutex::log, "+a+b-b");
  }
  EXPECT_EQ(LoggingMutex::log, "+a+b-b-a");
}

TEST_F(MutexLockTest, OfTwoLocksOnOneMutexOneIsGivenUp) {
  MutexLock first(&a_);
  MutexLock second(&a_);
  first = std::move(second);
  EXPECT_EQ(LoggingMutex::log, "+a+a-a");
  EXPECT_EQ(first.held(), &a_);
}

int cleanups[4];
void countCleanup(void* value) {
  ++*static_cast<int*>(value);
}

TEST(ThreadTable, RefusesSlotsBeyondItsEnd) {
  int value = 0;
  EXPECT_FALSE(setThreadValue(kThreadSlots, &value, countCleanup));
  EXPECT_EQ(getThreadValue(kThreadSlots), nullptr);
  EXPECT_EQ(getThreadValue(SIZE_MAX), nullptr);
  EXPECT_EQ(value, 0);
}

TEST(ThreadTable, CleansUpWhatIsReplacedAndWhatIsLeftAtTheEnd) {
  std::fill(std::begin(cleanups), std::end(cleanups), 0);
  std::thread([] {
    EXPECT_EQ(getThreadValue(3), nullptr);
    EXPECT_TRUE(setThreadValue(3, &cleanups[0], countCleanup));
    EXPECT_TRUE(setThreadValue(3, &cleanups[1], nullptr));
    EXPECT_EQ(cleanups[0], 1);
    EXPECT_TRUE(setThreadValue(3, &cleanups[2], countCleanup));
    EXPECT_TRUE(setThreadValue(9, &cleanups[3], countCleanup));
    EXPECT_EQ(getThreadValue(3), &cleanups[2]);
    EXPECT_EQ(cleanups[2] + cleanups[3], 0);
  }).join();
  EXPECT_EQ(std::vector<int>(std::begin(cleanups), std::end(cleanups)), (std::vector<int>{1, 0, 1, 1}));
}

TEST(ThreadTable, KeepsThreadsApart) {
  int mine = 0;
  setThreadValue(0, &mine, nullptr);
  std::thread([] { EXPECT_EQ(getThreadValue(0), nullptr); }).join();
  EXPECT_EQ(getThreadValue(0), &mine);
  setThreadValue(0, nullptr, nullptr);
}

TEST(Diagnostics, TextStartsAtTheRootOfTheSources) {
  EXPECT_EQ(diagnosticText("/build/7/lodkin/util/NQString.cpp", 12),
            "Assert failed in lodkin/util/NQString.cpp line 12");
  EXPECT_EQ(diagnosticText("util/a.cpp", 3), "Assert failed in util/a.cpp line 3");
}

}  // namespace
}  // namespace qvs::util
