#include <thread>

#include "tests/support/testing.h"
#include "util/QVSThreadUtils.h"
#include "util/diagnostics.h"

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

TEST_F(MutexLockTest, IsTakenOverWithoutAGap) {
  {
    MutexLock first(&a);
    MutexLock second(std::move(first)), third(&b);
    third = std::move(second);
    EXPECT_EQ(log, "+a+b-b");
    third = MutexLock(&a);
    EXPECT_EQ(log, "+a+b-b+a-a") << "of two locks on one mutex one is given up";
  }
  EXPECT_EQ(log, "+a+b-b+a-a-a");
}

constexpr auto countCleanup = [](void* value) { ++*static_cast<int*>(value); };

TEST(ThreadTable, CleansUpWhatIsReplacedAndWhatIsLeftAtTheEnd) {
  int replaced = 0, uncounted = 0, left[2] = {};
  setThreadValue(3, &uncounted, nullptr);
  std::thread([&] {
    EXPECT_EQ(getThreadValue(3), nullptr) << "another thread's";
    EXPECT_TRUE(setThreadValue(3, &replaced, countCleanup));
    EXPECT_TRUE(setThreadValue(3, &uncounted, nullptr));
    EXPECT_TRUE(setThreadValue(3, &left[0], countCleanup));
    EXPECT_TRUE(setThreadValue(9, &left[1], countCleanup));
    EXPECT_EQ(getThreadValue(3), &left[0]);
    EXPECT_TRUE(replaced == 1 && left[0] + left[1] == 0);
  }).join();
  EXPECT_EQ(replaced, 1);
  EXPECT_TRUE(uncounted == 0 && left[0] == 1 && left[1] == 1) << left[0] << left[1] << uncounted;
  EXPECT_EQ(getThreadValue(3), &uncounted);
  setThreadValue(3, nullptr, nullptr);
  EXPECT_FALSE(setThreadValue(10, &uncounted, countCleanup)) << "there are ten slots";
  for (const std::size_t none : {std::size_t{10}, SIZE_MAX}) EXPECT_EQ(getThreadValue(none), nullptr) << none;
}

TEST(Diagnostics, TextStartsAtTheRootOfTheSources) {
  EXPECT_EQ(diagnosticText("/build/7/lodkin/util/NQString.cpp", 12),
            "Assert failed in lodkin/util/NQString.cpp line 12");
  EXPECT_EQ(diagnosticText("util/a.cpp", 3), "Assert failed in util/a.cpp line 3");
}

}  // namespace
}  // namespace qvs::util
