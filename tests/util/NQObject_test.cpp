#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <span>
#include <thread>
#include <utility>

#include "tests/support/hex.h"
#include "tests/util/failures.h"
#include "util/NQBuffer.h"

namespace {

/// Counts the objects that ended, and looks at the holder that it is in as it does.
class Probe : public NQObject {
 public:
  explicit Probe(int& ended) : ended_(ended) {}
  ~Probe() override {
    ++ended_;
    EXPECT_TRUE(holder == nullptr || holder->get() == nullptr) << "no dangling holder";
  }

  NQPtr<Probe>* holder = nullptr;

 private:
  int& ended_;
};

TEST(NQObject, StartsWithoutAHolderAndEndsWithTheLast) {
  int ended = 0;
  {
    auto held = NQPtr<Probe>::make(ended);
    held->holder = &held;
    EXPECT_EQ(held->refCount(), 1);
    EXPECT_EQ(held->addRef(), 2);
    EXPECT_EQ(held->release(), 1);
    EXPECT_EQ(held->self(), held.get());
    EXPECT_TRUE(held->isAlive());
  }
  EXPECT_EQ(ended, 1);
}

TEST(NQPtr, CountsItsReferences) {
  int ended = 0;
  auto first = NQPtr<Probe>::make(ended);
  NQObjectPtr second = first;
  NQObjectPtr third(second);
  third = third.get();
  EXPECT_EQ(first->refCount(), 3);
  NQObjectPtr fourth(std::move(third));
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

TEST(NQObject, CountIsExactAmongThreads) {
  int ended = 0;
  const auto shared = NQPtr<Probe>::make(ended);
  const auto holdOften = [&] {
    for (int turn = 0; turn < 20000; ++turn) NQPtr<Probe> copy(shared);
  };
  std::thread other(holdOften);
  holdOften();
  other.join();
  EXPECT_EQ(shared->refCount(), 1);
  EXPECT_EQ(ended, 0);
}

NQMemoryPtr blockOf(const char* image) {
  const auto bytes = test::fromHex(image);
  auto memory = NQMemoryPtr::make(static_cast<std::uint32_t>(bytes.size()));
  std::ranges::copy(bytes, memory->data());
  memory->setUsedLength(memory->capacity());
  return memory;
}

TEST(NQMemory, GrowsOnlyWhereThereIsNoRoom) {
  struct View : NQMemory {
    explicit View(std::span<std::byte> bytes) : NQMemory(bytes.data(), static_cast<std::uint32_t>(bytes.size())) {}
  };
  std::byte bytes[4];
  const auto memory = NQPtr<View>::make(std::span(bytes));
  memory->grow(4);
  EXPECT_EQ(memory->data(), bytes);
  memory->grow(5);
  EXPECT_NE(memory->data(), bytes) << "now its own";
  EXPECT_EQ(memory->capacity(), 5U);
}

TEST(NQMemory, ResizeKeepsWhatFits) {
  auto memory = blockOf("01020304");
  EXPECT_TRUE(memory->resize(2));
  EXPECT_EQ(test::hex(memory->used()), "0102");
  EXPECT_TRUE(memory->resize(8));
  test::failingBuffers = 1;
  EXPECT_FALSE(memory->resize(9));
  EXPECT_EQ(memory->capacity(), 8U);
  EXPECT_EQ(test::hex(std::span(memory->data(), 2)), "0102");
  memory->clearUsed();
  EXPECT_TRUE(memory->used().empty());
}

TEST(NQBuffer, WindowStaysWithinItsBlock) {
  NQBuffer buffer(blockOf("01020304"));
  buffer.setEnd(3);
  buffer.setStart(1);
  buffer.setEnd(5);
  buffer.setEnd(0);
  buffer.setStart(4);
  EXPECT_EQ(test::hex(buffer.window()), "0203");
  EXPECT_EQ(buffer.room(), 1U);
  buffer.setEnd(1);
  EXPECT_TRUE(buffer.window().empty());
  buffer.setEnd(3);
  EXPECT_TRUE(buffer.resize(2));
  EXPECT_EQ(test::hex(buffer.window()), "02") << "cut to the block";
  buffer.attach(nullptr);
  EXPECT_EQ(buffer.data(), nullptr);
  EXPECT_EQ(buffer.capacity(), 0U);
  EXPECT_TRUE(buffer.window().empty());
  EXPECT_FALSE(buffer.resize(1));
}

}  // namespace
