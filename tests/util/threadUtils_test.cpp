#include <thread>

#include "tests/support/testing.h"
#include "util/QVSThreadUtils.h"

namespace qvs::util {
namespace {

/// Notes each level that is locked and unlocked, with its name.
struct NotingMutex : NQThreadOnlyMutex {
  NotingMutex(char itsName, std::string& itsLog) : NQThreadOnlyMutex(true), name(itsName), log(itsLog) {}
  void noteLocked() override { log += {'+', name}; }
  void noteUnlocked() override { log += {'-', name}; }
  char name;
  std::string& log;
};

struct MutexLockTest : testing::Test {
  std::string log;
  NotingMutex a{'a', log}, b{'b', log};
};

TEST_F(MutexLockTest, ReturnsTrueAndNotesEachLevelOnce) {
  EXPECT_EQ(a.setSpinCount(1000), 0U);
  EXPECT_EQ(a.setSpinCount(0), 1000U);
  EXPECT_TRUE(a.lock() && a.lock() && a.unlock());
  std::thread([&] { EXPECT_TRUE(a.unlock()) << "of another thread's, a diagnostic"; }).join();
  EXPECT_TRUE(a.unlock());
  EXPECT_EQ(log, "+a+a-a-a") << "nothing of the other thread's";
  std::thread([&] { EXPECT_TRUE(a.lock() && a.unlock()); }).join();
}

TEST_F(MutexLockTest, LocksForItsScopeAndOnceOnly) {
  {
    MutexLock lock(&a);
    lock.assign(&a);
    b.lock();
    const MutexLock held(&b, true), nothing(nullptr);
  }
  EXPECT_EQ(std::exchange(log, {}), "+a+b-b-a");
  MutexLock lock(&a);
  lock.assign(&b);
  lock.release();
  lock.release();
  EXPECT_EQ(log, "+a-a+b-b");
}

}  // namespace
}  // namespace qvs::util
