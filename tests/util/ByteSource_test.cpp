// Buffers of bytes, streams over them, and the search for a box in a stream.

#include "util/ByteSource.h"

#include <boost/iostreams/stream.hpp>
#include <streambuf>

#include "tests/support/testing.h"
#include "util/StreamReader.h"
#include "util/bytes.h"

namespace qvs::util {
namespace {

using ruvo::k2r::ByteSource;
using ruvo::k2r::findBox;
using Stream = boost::iostreams::stream<ByteSource>;

constexpr auto bufferOf = [](std::string_view text) { return ByteBuffer(asBytes(text)); };

TEST(ByteBuffer, CopiesAreDeepMovesLeaveNothingAndItTakesItsOwnBytes) {
  ByteBuffer a = bufferOf("abc");
  ByteBuffer b = a;
  b.data()[0] = std::byte{'X'};
  EXPECT_EQ(a, bufferOf("abc"));
  a = std::move(b);
  a.append(a.bytes());
  EXPECT_EQ(a, bufferOf("XbcXbc"));
  EXPECT_EQ(b, ByteBuffer());  // NOLINT(bugprone-use-after-move): what a move leaves is the point
  for (const char* other : {"XbcXb", "XbcXbd"}) EXPECT_NE(a, bufferOf(other));
  for (const auto& empty : {ByteBuffer(), ByteBuffer(0), bufferOf("")}) EXPECT_EQ(empty.data(), nullptr);
}

TEST(ByteBuffer, SplitsIntoHeadAndTail) {
  const std::tuple<std::uint64_t, const char*, const char*> rows[] = {
      {0, "", "abcd"}, {1, "a", "bcd"}, {4, "abcd", ""}, {5, "abcd", ""}, {~std::uint64_t{0}, "abcd", ""}};
  for (const auto& [offset, head, tail] : rows)
    EXPECT_EQ(bufferOf("abcd").split(offset), std::pair(bufferOf(head), bufferOf(tail))) << offset;
}

TEST(ByteSource, ReadsAndOverwritesWithinItsSizeOnly) {
  ByteBuffer buffer = bufferOf("0123456789"), nothing;
  ByteSource source(buffer);
  char out[20] = {};
  EXPECT_EQ(source.read(out, 6), 6);
  EXPECT_EQ(source.read(out, 10), 4);
  EXPECT_EQ(std::string(out, 6), "678945");
  EXPECT_EQ(source.read(out, 10), -1);
  source.seek(0, std::ios_base::beg);
  EXPECT_EQ(source.write("ab", 2), 2);
  EXPECT_THROW(source.write("AAAAAAAAA", 9), std::ios_base::failure);
  EXPECT_EQ(source.write("cdefghij", 8), 8);
  EXPECT_THROW(source.write("x", 1), std::ios_base::failure);
  EXPECT_EQ(buffer, bufferOf("abcdefghij"));
  EXPECT_EQ(ByteSource(nothing).read(out, 1), -1);
  EXPECT_EQ(ByteSource(nothing).seek(5, std::ios_base::beg), 0);
}

TEST(ByteSource, SeeksStopAtTheBorders) {
  using Ios = std::ios_base;
  constexpr std::int64_t kMost = INT64_MAX, kLeast = INT64_MIN;
  // What becomes of position 4 of 10.
  const std::tuple<std::int64_t, Ios::seekdir, std::int64_t> rows[] = {
      {7, Ios::beg, 7},      {10, Ios::beg, 10},    {11, Ios::beg, 10},   {kMost, Ios::beg, 10}, {-1, Ios::beg, 0},
      {kLeast, Ios::beg, 0}, {3, Ios::cur, 7},      {-3, Ios::cur, 1},    {-5, Ios::cur, 0},     {7, Ios::cur, 10},
      {kMost, Ios::cur, 10}, {kLeast, Ios::cur, 0}, {0, Ios::end, 10},    {3, Ios::end, 7},      {10, Ios::end, 0},
      {11, Ios::end, 0},     {-1, Ios::end, 0},     {kLeast, Ios::end, 0}};
  ByteBuffer buffer(10);
  for (const auto& [offset, from, position] : rows) {
    ByteSource source(buffer);
    source.seek(4, Ios::beg);
    EXPECT_EQ(source.seek(offset, from), position) << offset << " from " << from;
  }
}

TEST(FindBox, LeavesTheStreamAtTheSizeInFrontOfTheType) {
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
    EXPECT_EQ(StreamReader(in).u32(), 9U) << before;
  }
}

TEST(FindBox, ReturnsFalseAtTheEndAndThrowsIfTheStreamBreaks) {
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
  struct : std::streambuf {
    int_type underflow() override { throw std::logic_error("broken"); }
  } broken;
  std::istream in(&broken);
  EXPECT_THROW(findBox(in, "avcC"_4cc), std::logic_error);
  EXPECT_EQ(in.exceptions(), std::ios_base::goodbit);
}

}  // namespace
}  // namespace qvs::util
