#include <gtest/gtest.h>

#include <algorithm>
#include <span>

#include "tests/support/hex.h"
#include "util/NQBuffer.h"
#include "util/NQMemory.h"

namespace {

/// A view of a block, as the parts of an aggregate are.
class View : public NQMemory {
 public:
  View(const NQMemoryPtr& source, std::uint32_t offset, std::uint32_t length)
      : NQMemory(source->data() + offset, length), source_(source) {}

 private:
  NQMemoryPtr source_;
};

NQMemoryPtr blockOf(const char* image) {
  const auto bytes = test::fromHex(image);
  auto memory = NQMemoryPtr::make(static_cast<std::uint32_t>(bytes.size()));
  std::ranges::copy(bytes, memory->data());
  memory->setUsedLength(memory->capacity());
  return memory;
}

TEST(NQMemory, GrowsOnlyWhereThereIsNoRoom) {
  auto memory = NQMemoryPtr::make(4U);
  const std::byte* const data = memory->data();
  memory->grow(4);
  EXPECT_EQ(memory->data(), data);
  memory->grow(5);
  EXPECT_EQ(memory->capacity(), 5U);
}

TEST(NQMemory, ResizeKeepsWhatFits) {
  auto memory = blockOf("01020304");
  EXPECT_TRUE(memory->resize(2));
  EXPECT_EQ(test::hex(memory->used()), "0102");
  EXPECT_TRUE(memory->resize(8));
  EXPECT_EQ(memory->capacity(), 8U);
  EXPECT_EQ(test::hex(std::span(memory->data(), 2)), "0102");
}

TEST(NQMemory, ClearUsedTakesTheLengthBack) {
  auto memory = blockOf("0102");
  memory->clearUsed();
  EXPECT_TRUE(memory->used().empty());
  EXPECT_EQ(memory->capacity(), 2U);
}

TEST(NQMemory, AViewSharesBytesUntilItGrows) {
  auto source = blockOf("01020304");
  const NQPtr<View> view = NQPtr<View>::make(source, 1U, 2U);
  EXPECT_EQ(source->refCount(), 2);
  EXPECT_EQ(test::hex(view->used()), "0203");
  EXPECT_TRUE(view->resize(3));
  view->data()[0] = std::byte{9};
  EXPECT_EQ(test::hex(source->used()), "01020304");
}

TEST(NQBuffer, WindowStaysWithinItsBlock) {
  NQBuffer buffer(blockOf("01020304"));
  buffer.setEnd(3);
  buffer.setStart(1);
  EXPECT_EQ(test::hex(buffer.window()), "0203");
  buffer.setEnd(5);
  buffer.setEnd(0);
  buffer.setStart(4);
  EXPECT_EQ(test::hex(buffer.window()), "0203");
  EXPECT_EQ(buffer.room(), 1U);
}

TEST(NQBuffer, ResizeFollowsTheBlock) {
  NQBuffer buffer(blockOf("01020304"));
  buffer.setEnd(4);
  buffer.setStart(3);
  EXPECT_TRUE(buffer.resize(8));
  EXPECT_EQ(buffer.data(), buffer.memory()->data());
  EXPECT_EQ(buffer.room(), 4U);
  EXPECT_EQ(test::hex(buffer.window()), "04");
  EXPECT_TRUE(buffer.resize(2));
  EXPECT_EQ(buffer.start(), 2U);
  EXPECT_EQ(buffer.end(), 2U);
}

TEST(NQBuffer, WithoutABlockIsEmpty) {
  NQBuffer buffer(blockOf("01"));
  buffer.setEnd(1);
  buffer.attach(nullptr);
  EXPECT_EQ(buffer.data(), nullptr);
  EXPECT_EQ(buffer.capacity(), 0U);
  EXPECT_TRUE(buffer.window().empty());
  EXPECT_FALSE(buffer.resize(1));
}

}  // namespace
