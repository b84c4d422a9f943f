#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "util/ByteBuffer.h"
#include "util/bytes.h"

namespace qvs::util {
namespace {

ByteBuffer bufferOf(std::string_view text) {
  return ByteBuffer(asBytes(text));
}

TEST(ByteBuffer, EmptyIsANullPointer) {
  for (const auto& buffer : {ByteBuffer(), ByteBuffer(0), bufferOf("")}) {
    EXPECT_EQ(buffer.data(), nullptr);
    EXPECT_TRUE(buffer.empty());
  }
}

TEST(ByteBuffer, CopiesAreDeepAndMovesLeaveNothing) {
  ByteBuffer a = bufferOf("abc");
  ByteBuffer b = a;
  b.data()[0] = std::byte{'X'};
  EXPECT_EQ(a, bufferOf("abc"));
  const ByteBuffer c = std::move(b);
  EXPECT_EQ(c, bufferOf("Xbc"));
  EXPECT_TRUE(b.empty());  // NOLINT(bugprone-use-after-move): what a move leaves is the point
  EXPECT_EQ(b.data(), nullptr);
  a = c;
  EXPECT_EQ(a, c);
}

TEST(ByteBuffer, ComparesSizeAndContent) {
  EXPECT_NE(bufferOf("ab"), bufferOf("abc"));
  EXPECT_NE(bufferOf("abd"), bufferOf("abc"));
  EXPECT_EQ(ByteBuffer(), bufferOf(""));
}

TEST(ByteBuffer, AppendsAlsoItsOwnBytes) {
  ByteBuffer buffer;
  buffer.append(asBytes("ab"));
  buffer.append(buffer.bytes());
  buffer.append({});
  EXPECT_EQ(buffer, bufferOf("abab"));
}

TEST(ByteBuffer, SplitsIntoHeadAndTail) {
  const ByteBuffer buffer = bufferOf("abcd");
  const struct {
    std::uint64_t offset;
    const char *head, *tail;
  } rows[] = {{0, "", "abcd"}, {1, "a", "bcd"}, {4, "abcd", ""}, {5, "abcd", ""}, {~std::uint64_t{0}, "abcd", ""}};
  for (const auto& row : rows) {
    const auto [head, tail] = buffer.split(row.offset);
    EXPECT_EQ(head, bufferOf(row.head)) << row.offset;
    EXPECT_EQ(tail, bufferOf(row.tail)) << row.offset;
  }
  EXPECT_EQ(buffer, bufferOf("abcd"));
}

}  // namespace
}  // namespace qvs::util
