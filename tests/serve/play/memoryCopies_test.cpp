#include "host/serve/play/MemoryCopies.h"

#include <gtest/gtest.h>

namespace {

using namespace host::serve;

std::string textOf(const Body& body) {
  std::vector<std::byte> bytes(static_cast<std::size_t>(body.size()));
  EXPECT_EQ(body.read(0, bytes), bytes.size());
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

TEST(MemoryCopies, AreLimitedByWhoeverStillUsesThem) {
  MemoryCopies copies(10);
  Body body("123");
  body.add(std::string("4567"));
  auto first = copies.copy(body);
  ASSERT_TRUE(first);
  EXPECT_EQ(textOf(*first), "1234567");
  EXPECT_FALSE(copies.copy(body)) << "14 bytes";
  // A range of it is sent in the same way, and keeps it.
  const Body range = first->slice(2, 3);
  first.reset();
  ASSERT_NE(range.memorySpan(), nullptr);
  EXPECT_EQ(range.memorySpan()->offset, 2u);
  EXPECT_EQ(textOf(range), "345");
  EXPECT_EQ(copies.used(), 7u);
  EXPECT_EQ(body.memorySpan(), nullptr);
}

TEST(MemoryCopies, GiveTheirBytesBack) {
  MemoryCopies copies(10);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(copies.copy(Body("12345678"))) << i;
  EXPECT_FALSE(copies.copy(Body("12345678901")));
  EXPECT_EQ(copies.used(), 0u);
}

}  // namespace
