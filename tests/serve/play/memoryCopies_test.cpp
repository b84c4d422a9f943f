#include "host/serve/play/MemoryCopies.h"

#include <gtest/gtest.h>

#include "tests/serve/http/contentOf.h"

namespace {

using namespace host::serve;
using test::contentOf;

TEST(MemoryCopies, AreLimitedByWhoeverStillUsesThem) {
  MemoryCopies copies(10);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(copies.copy(Body("12345678"))) << i;
  EXPECT_FALSE(copies.copy(Body("12345678901")));
  Body body("123");
  body.add(std::string("4567"));
  auto first = copies.copy(body);
  ASSERT_TRUE(first);
  EXPECT_EQ(contentOf(*first), "1234567");
  EXPECT_FALSE(copies.copy(body)) << "14 bytes";
  // A range of it is sent in the same way, and keeps it.
  const Body range = first->slice(2, 3);
  first.reset();
  ASSERT_NE(range.memorySpan(), nullptr);
  EXPECT_EQ(range.memorySpan()->offset, 2u);
  EXPECT_EQ(contentOf(range), "345");
  EXPECT_EQ(copies.used(), 7u);
  EXPECT_EQ(body.memorySpan(), nullptr);
}

}  // namespace
