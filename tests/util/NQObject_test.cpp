#include <gtest/gtest.h>

#include <thread>
#include <utility>
#include <vector>

#include "util/NQPtr.h"

namespace {

class Probe : public NQObject {
 public:
  explicit Probe(int& ended) : ended_(ended) {}
  ~Probe() override { ++ended_; }

 private:
  int& ended_;
};

class Derived : public Probe {
 public:
  using Probe::Probe;
};

/// Looks at the holder that it is in, as it ends.
class Curious : public NQObject {
 public:
  explicit Curious(bool& sawEmpty) : sawEmpty_(sawEmpty) {}
  ~Curious() override { sawEmpty_ = holder->get() == nullptr; }

  NQPtr<Curious>* holder = nullptr;

 private:
  bool& sawEmpty_;
};

TEST(NQObject, StartsWithoutAHolderAndEndsWithTheLast) {
  int ended = 0;
  NQPtr<Probe>::make(ended);
  EXPECT_EQ(ended, 1);

  const auto held = NQPtr<Probe>::make(ended);
  EXPECT_EQ(held->refCount(), 1);
  EXPECT_EQ(held->addRef(), 2);
  EXPECT_EQ(held->release(), 1);
  EXPECT_EQ(held->self(), held.get());
  EXPECT_TRUE(held->isAlive());
}

TEST(NQPtr, CountsItsReferences) {
  int ended = 0;
  auto first = NQPtr<Derived>::make(ended);
  NQPtr<Probe> second = first;
  EXPECT_EQ(first->refCount(), 2);
  NQPtr<Probe> third(second);
  third = third.get();
  EXPECT_EQ(first->refCount(), 3);
  NQPtr<Probe> fourth(std::move(third));
  EXPECT_EQ(first->refCount(), 3);
  EXPECT_FALSE(third);
  second = nullptr;
  fourth = std::move(second);
  EXPECT_EQ(first->refCount(), 1);
  first.reset();
  EXPECT_EQ(ended, 1);
}

TEST(NQPtr, TakesTheNewObjectBeforeItDropsTheOld) {
  struct Link : NQObject {
    NQPtr<Link> next;
  };
  auto head = NQPtr<Link>::make();
  head->next = NQPtr<Link>::make();
  head = head->next;
  EXPECT_EQ(head->refCount(), 1);
}

TEST(NQPtr, IsEmptyWhileItsObjectEnds) {
  bool sawEmpty = false;
  {
    auto holder = NQPtr<Curious>::make(sawEmpty);
    holder->holder = &holder;
  }
  EXPECT_TRUE(sawEmpty);
}

TEST(NQObject, CountIsExactAmongThreads) {
  int ended = 0;
  {
    const auto shared = NQPtr<Probe>::make(ended);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
      threads.emplace_back([&shared] {
        for (int turn = 0; turn < 10000; ++turn) NQPtr<Probe> copy(shared);
      });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(shared->refCount(), 1);
  }
  EXPECT_EQ(ended, 1);
}

}  // namespace
