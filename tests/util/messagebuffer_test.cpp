#include "util/messagebuffer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/hex.h"
#include "util/bytes.h"
#include "util/tagHeader.h"

namespace qvs::util {
namespace {

MessageBuffer emptyBuffer() {
  MessageBuffer buffer;
  buffer.allocate();
  return buffer;
}

TEST(MessageBuffer, WritesMembersByteForByte) {
  auto buffer = emptyBuffer();
  EXPECT_TRUE(buffer.append(0x29, asBytes("ab"), 0x12345678));
  EXPECT_TRUE(buffer.append(8, {}, 1));
  EXPECT_EQ(test::hex(buffer.buffer().window()),
            "29000002 34567812 00000061 62000000 0d080000 00000001 00000000 0000000b");
}

TEST(MessageBuffer, TellsOfTheFirstAndTheHighest) {
  auto buffer = emptyBuffer();
  buffer.append(18, std::vector<std::byte>(20), 7);
  EXPECT_EQ(buffer.firstSize(), 35U);
  EXPECT_EQ(buffer.firstTime(), 7U);
  EXPECT_EQ(buffer.appended(), 1U);
  buffer.append(9, std::vector<std::byte>(1), 0xFFFFFFFF);
  buffer.append(9, {}, 3);
  EXPECT_EQ(buffer.lastTime(), 0xFFFFFFFFU);
  EXPECT_EQ(buffer.firstSize(), 35U);
  EXPECT_EQ(buffer.firstTime(), 7U);
  EXPECT_EQ(buffer.appended(), 3U);
}

TEST(MessageBuffer, ContentsAreByKind) {
  const struct {
    std::uint8_t type;
    const char* payload;
    int contents;
  } rows[] = {{9, "", 0x01}, {0xA9, "x", 0x01}, {8, "x", 0x04},  {0x28, "x", 0x04},
              {8, "", 0},    {18, "", 0x08},    {72, "x", 0x08}, {22, "x", 0x08}};
  for (const auto& row : rows) {
    auto buffer = emptyBuffer();
    buffer.append(row.type, asBytes(row.payload), 0);
    EXPECT_EQ(buffer.contents(), row.contents) << int{row.type};
  }
}

TEST(MessageBuffer, DoublesUntilAMessageFits) {
  auto buffer = emptyBuffer();
  buffer.append(9, asBytes("first"), 1);
  buffer.append(9, std::vector<std::byte>(32768 - 20 - 15), 2);
  EXPECT_EQ(buffer.buffer().capacity(), 32768U);
  buffer.append(9, std::vector<std::byte>(100000), 3);
  EXPECT_EQ(buffer.buffer().capacity(), 262144U);
  EXPECT_EQ(buffer.buffer().end(), 32768U + 100015);
  EXPECT_EQ(test::hex(buffer.buffer().window().subspan(11, 5)), "66697273 74");
  EXPECT_EQ(buffer.buffer().data(), buffer.buffer().memory()->data());
}

TEST(MessageBuffer, RefusesWhatItCannotHold) {
  MessageBuffer none;
  EXPECT_FALSE(none.append(9, asBytes("x"), 1));
  auto buffer = emptyBuffer();
  EXPECT_FALSE(buffer.append(9, std::vector<std::byte>(kMaxTagDataSize + 1), 1));
  EXPECT_EQ(buffer.appended(), 0U);
  EXPECT_EQ(buffer.contents(), 0);
  EXPECT_EQ(buffer.buffer().end(), 0U);
  EXPECT_TRUE(buffer.append(9, std::vector<std::byte>(kMaxTagDataSize), 1));
}

TEST(MessageBuffer, ClearKeepsTheBlockAndAllocateDoesNot) {
  auto buffer = emptyBuffer();
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
