#include <gtest/gtest.h>

#include <boost/iostreams/stream.hpp>
#include <cstdint>
#include <limits>
#include <sstream>
#include <string>

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

TEST(ByteSource, ReadsWhatIsLeftAndThenTheEnd) {
  ByteBuffer buffer(asBytes("0123456789"));
  ByteSource source(buffer);
  char out[20] = {};
  EXPECT_EQ(source.read(out, 6), 6);
  EXPECT_EQ(source.read(out, 10), 4);
  EXPECT_EQ(std::string(out, 6), "678945");
  EXPECT_EQ(source.read(out, 10), -1);
}

TEST(ByteSource, OfNothingIsAtItsEnd) {
  ByteBuffer buffer;
  ByteSource source(buffer);
  char out[1];
  EXPECT_EQ(source.read(out, 1), -1);
  EXPECT_EQ(source.seek(0, std::ios_base::end), 0);
  EXPECT_EQ(source.seek(5, std::ios_base::beg), 0);
}

TEST(ByteSource, OverwritesWithinItsSizeOnly) {
  ByteBuffer buffer(asBytes("0123456789"));
  ByteSource source(buffer);
  EXPECT_EQ(source.write("ab", 2), 2);
  EXPECT_THROW(source.write("AAAAAAAAA", 9), std::ios_base::failure);
  EXPECT_EQ(source.write("cdefghij", 8), 8);
  EXPECT_THROW(source.write("x", 1), std::ios_base::failure);
  EXPECT_EQ(buffer, ByteBuffer(asBytes("abcdefghij")));
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
    ByteBuffer buffer(before);
    buffer.append(test::fromHex("00000009 61766343 aa"));
    Stream in(buffer);
    ASSERT_TRUE(findBox(in, "avcC"_4cc)) << before;
    EXPECT_EQ(in.tellg(), static_cast<std::streamoff>(before));
    qvs::util::StreamReader box(in);
    EXPECT_EQ(box.u32(), 9U) << before;
  }
}

TEST(FindBox, StartsAtThePositionOfTheStream) {
  ByteBuffer buffer(test::fromHex("00000008 73696e66 00000009 73696e66 01"));
  Stream in(buffer);
  in.seekg(8);
  ASSERT_TRUE(findBox(in, "sinf"_4cc));
  EXPECT_EQ(qvs::util::StreamReader(in).u32(), 9U);
}

TEST(FindBox, AnswersFalseAtTheEndWhateverTheMask) {
  const struct {
    const char* why;
    const char* image;
  } rows[] = {
      {"nothing", ""}, {"three bytes", "617663"}, {"cut short", "00000009 617663"}, {"another", "00000008 61766344"}};
  for (const auto& row : rows) {
    ByteBuffer buffer(test::fromHex(row.image));
    Stream in(buffer);
    const auto mask = std::ios_base::eofbit | std::ios_base::failbit;
    in.exceptions(mask);
    EXPECT_FALSE(findBox(in, "avcC"_4cc)) << row.why;
    EXPECT_EQ(in.exceptions(), mask) << row.why;
  }
}

TEST(FindBox, DoesNotTakeZerosForATypeOfZeros) {
  std::istringstream in(std::string(3, '\0'));
  EXPECT_FALSE(findBox(in, 0));
}

TEST(FindBox, PutsTheMaskBackAfterASuccess) {
  ByteBuffer buffer(test::fromHex("00000008 61766343"));
  Stream in(buffer);
  in.exceptions(std::ios_base::failbit);
  EXPECT_TRUE(findBox(in, "avcC"_4cc));
  EXPECT_EQ(in.exceptions(), std::ios_base::failbit);
}

}  // namespace
}  // namespace ruvo::k2r
