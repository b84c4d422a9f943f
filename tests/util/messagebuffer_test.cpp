#include "util/messagebuffer.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/hex.h"
#include "tests/util/failures.h"
#include "util/bytes.h"
#include "util/tagHeader.h"

namespace qvs::util {
namespace {

struct MessageBufferTest : testing::Test {
  MessageBufferTest() { buffer.allocate(); }

  MessageBuffer buffer;
};

TEST_F(MessageBufferTest, WritesMembersByteForByteAndTellsOfThem) {
  EXPECT_TRUE(buffer.append(0x29, asBytes("ab"), 0x12345678));
  EXPECT_TRUE(buffer.append(8, {}, 1));
  EXPECT_EQ(test::hex(buffer.buffer().window()),
            "29000002 34567812 00000061 62000000 0d080000 00000001 00000000 0000000b");
  EXPECT_EQ(buffer.firstSize(), 17U);
  EXPECT_EQ(buffer.firstTime(), 0x12345678U);
  EXPECT_EQ(buffer.lastTime(), 0x12345678U) << "the highest one";
  EXPECT_EQ(buffer.appended(), 2U);
}

TEST_F(MessageBufferTest, ContentsAreByKind) {
  const struct {
    std::uint8_t type;
    const char* payload;
    int contents;
  } rows[] = {{9, "", 0x01}, {0xA9, "x", 0x01}, {8, "x", 0x04},  {0x28, "x", 0x04},
              {8, "", 0},    {18, "", 0x08},    {72, "x", 0x08}, {22, "x", 0x08}};
  for (const auto& row : rows) {
    buffer.clear();
    buffer.append(row.type, asBytes(row.payload), 0);
    EXPECT_EQ(buffer.contents(), row.contents) << int{row.type};
  }
}

TEST_F(MessageBufferTest, DoublesUntilAMessageFits) {
  buffer.append(9, asBytes("first"), 1);
  buffer.append(9, std::vector<std::byte>(32768 - 20 - 15), 2);
  EXPECT_EQ(buffer.buffer().capacity(), 32768U);
  test::failingBuffers = 1;
  EXPECT_FALSE(buffer.append(9, std::vector<std::byte>(100000), 3));
  EXPECT_EQ(buffer.appended(), 2U);
  EXPECT_TRUE(buffer.append(9, std::vector<std::byte>(100000), 3));
  EXPECT_EQ(buffer.buffer().capacity(), 262144U);
  EXPECT_EQ(buffer.buffer().end(), 32768U + 100015);
  EXPECT_EQ(test::hex(buffer.buffer().window().subspan(11, 5)), "66697273 74");
}

TEST_F(MessageBufferTest, RefusesWhatItCannotHold) {
  EXPECT_FALSE(MessageBuffer().append(9, asBytes("x"), 1));
  EXPECT_FALSE(buffer.append(9, std::vector<std::byte>(kMaxTagDataSize + 1), 1));
  EXPECT_EQ(buffer.appended() + buffer.contents() + buffer.buffer().end(), 0U);
  EXPECT_TRUE(buffer.append(9, std::vector<std::byte>(kMaxTagDataSize), 1));
}

TEST_F(MessageBufferTest, ClearKeepsTheBlockAndAllocateDoesNot) {
  buffer.append(9, asBytes("x"), 5);
  const NQMemoryPtr block = buffer.buffer().memory();
  buffer.clear();
  EXPECT_EQ(buffer.buffer().memory(), block);
  EXPECT_EQ(buffer.buffer().end(), 0U);
  EXPECT_EQ(buffer.appended() + buffer.lastTime() + buffer.firstTime() + buffer.firstSize() + buffer.contents(), 0U);
  buffer.allocate();
  EXPECT_NE(buffer.buffer().memory(), block);
}

}  // namespace
}  // namespace qvs::util
