#include <gtest/gtest.h>

#include <boost/iostreams/stream.hpp>
#include <cstdint>
#include <limits>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

#include "tests/support/hex.h"
#include "util/ByteSource.h"
#include "util/StreamReader.h"
#include "util/bytes.h"

namespace ruvo::k2r {
namespace {

using qvs::util::asBytes;
using qvs::util::ByteBuffer;
using qvs::util::operator""_4cc;
using Stream = boost::iostreams::stream<ByteSource>;

ByteBuffer bufferOf(std::string_view text) {
  return ByteBuffer(asBytes(text));
}

TEST(ByteBuffer, EmptyIsANullPointer) {
  for (const auto& buffer : {ByteBuffer(), ByteBuffer(0), bufferOf("")}) EXPECT_EQ(buffer.data(), nullptr);
}

TEST(ByteBuffer, CopiesAreDeepAndMovesLeaveNothing) {
  ByteBuffer a = bufferOf("abc");
  ByteBuffer b = a;
  b.data()[0] = std::byte{'X'};
  EXPECT_EQ(a, bufferOf("abc"));
  a = std::move(b);
  EXPECT_EQ(a, bufferOf("Xbc"));
  EXPECT_EQ(b, ByteBuffer());  // NOLINT(bugprone-use-after-move): what a move leaves is the point
  EXPECT_NE(a, bufferOf("Xb"));
  EXPECT_NE(a, bufferOf("Xbd"));
}

TEST(ByteBuffer, AppendsAlsoItsOwnBytes) {
  ByteBuffer buffer = bufferOf("ab");
  buffer.append(buffer.bytes());
  buffer.append({});
  EXPECT_EQ(buffer, bufferOf("abab"));
}

TEST(ByteBuffer, SplitsIntoHeadAndTail) {
  const struct {
    std::uint64_t offset;
    const char *head, *tail;
  } rows[] = {{0, "", "abcd"}, {1, "a", "bcd"}, {4, "abcd", ""}, {5, "abcd", ""}, {~std::uint64_t{0}, "abcd", ""}};
  for (const auto& row : rows) {
    const auto [head, tail] = bufferOf("abcd").split(row.offset);
    EXPECT_EQ(head, bufferOf(row.head)) << row.offset;
    EXPECT_EQ(tail, bufferOf(row.tail)) << row.offset;
  }
}

TEST(ByteSource, ReadsWhatIsLeftAndThenTheEnd) {
  ByteBuffer buffer = bufferOf("0123456789");
  ByteSource source(buffer);
  char out[20] = {};
  EXPECT_EQ(source.read(out, 6), 6);
  EXPECT_EQ(source.read(out, 10), 4);
  EXPECT_EQ(std::string(out, 6), "678945");
  EXPECT_EQ(source.read(out, 10), -1);
  ByteBuffer nothing;
  EXPECT_EQ(ByteSource(nothing).read(out, 1), -1);
  EXPECT_EQ(ByteSource(nothing).seek(5, std::ios_base::beg), 0);
}

TEST(ByteSource, OverwritesWithinItsSizeOnly) {
  ByteBuffer buffer = bufferOf("0123456789");
  ByteSource source(buffer);
  EXPECT_EQ(source.write("ab", 2), 2);
  EXPECT_THROW(source.write("AAAAAAAAA", 9), std::ios_base::failure);
  EXPECT_EQ(source.write("cdefghij", 8), 8);
  EXPECT_THROW(source.write("x", 1), std::ios_base::failure);
  EXPECT_EQ(buffer, bufferOf("abcdefghij"));
}

TEST(ByteSource, SeeksStopAtTheBorders) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
  const struct {
    std::int64_t offset;
    std::ios_base::seekdir from;
    std::int64_t position;  // of 10, from 4
  } rows[] = {{7, std::ios_base::beg, 7},      {10, std::ios_base::beg, 10},    {11, std::ios_base::beg, 10},
              {kMost, std::ios_base::beg, 10}, {-1, std::ios_base::beg, 0},     {kLeast, std::ios_base::beg, 0},
              {3, std::ios_base::cur, 7},      {-3, std::ios_base::cur, 1},     {-5, std::ios_base::cur, 0},
              {7, std::ios_base::cur, 10},     {kMost, std::ios_base::cur, 10}, {kLeast, std::ios_base::cur, 0},
              {0, std::ios_base::end, 10},     {3, std::ios_base::end, 7},      {10, std::ios_base::end, 0},
              {11, std::ios_base::end, 0},     {-1, std::ios_base::end, 0},     {kLeast, std::ios_base::end, 0}};
  ByteBuffer buffer(10);
  for (const auto& row : rows) {
    ByteSource source(buffer);
    source.seek(4, std::ios_base::beg);
    EXPECT_EQ(source.seek(row.offset, row.from), row.position) << row.offset << " from " << row.from;
  }
}

TEST(FindBox, StandsOnTheSizeInFrontOfTheType) {
  // The type also lies across the border of the stream's own buffer of 4096 bytes.
  for (const std::size_t before : {0U, 1U, 4085U, 4090U, 4093U, 9000U}) {
    ByteBuffer buffer(test::fromHex("00000008 61766343"));  // Behind this one the search begins.
    buffer.append(ByteBuffer(before).bytes());
    buffer.append(test::fromHex("00000009 61766343 aa"));
    Stream in(buffer);
    in.seekg(8);
    in.exceptions(std::ios_base::failbit);
    ASSERT_TRUE(findBox(in, "avcC"_4cc)) << before;
    EXPECT_EQ(in.exceptions(), std::ios_base::failbit) << "put back";
    EXPECT_EQ(in.tellg(), static_cast<std::streamoff>(8 + before));
    EXPECT_EQ(qvs::util::StreamReader(in).u32(), 9U) << before;
  }
}

TEST(FindBox, AnswersFalseAtTheEndWhateverTheMask) {
  const auto mask = std::ios_base::eofbit | std::ios_base::failbit;
  for (const char* image : {"", "617663", "00000009 617663", "00000008 61766344"}) {
    ByteBuffer buffer(test::fromHex(image));
    Stream in(buffer);
    in.exceptions(mask);
    EXPECT_FALSE(findBox(in, "avcC"_4cc)) << image;
    EXPECT_EQ(in.exceptions(), mask) << image;
  }
  std::istringstream zeros(std::string(3, '\0'));
  EXPECT_FALSE(findBox(zeros, 0)) << "three zeros are no type of zeros";
}

}  // namespace
}  // namespace ruvo::k2r
