#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <sstream>
#include <string>

#include "tests/support/hex.h"
#include "util/StreamReader.h"

namespace qvs::util {
namespace {

std::istringstream streamOf(const char* image) {
  const auto bytes = test::fromHex(image);
  return std::istringstream(std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

TEST(StreamReader, ReadsHighBytesFirst) {
  auto stream = streamOf("01 0203 040506 0708090a 0b0c0d0e0f101112 bff8000000000000 616200 636465 66");
  StreamReader in(stream);
  EXPECT_EQ(in.u8(), 0x01);
  EXPECT_EQ(in.u16(), 0x0203);
  EXPECT_EQ(in.u24(), 0x040506U);
  EXPECT_EQ(in.u32(), 0x0708090AU);
  EXPECT_EQ(in.u64(), 0x0B0C0D0E0F101112U);
  EXPECT_EQ(in.f64(), -1.5);
  EXPECT_EQ(in.zeroTerminated(), "ab");
  in.skip(1);
  EXPECT_EQ(in.bytes(2), "de");
  EXPECT_EQ(in.bytes(0), "");
  EXPECT_EQ(in.u8(), 0x66);
}

TEST(StreamReader, BytesComeInOneStringHoweverMany) {
  std::string text(200000, 'x');
  text[65536] = 'y';
  std::istringstream stream(text);
  EXPECT_EQ(StreamReader(stream).bytes(200000), text);
}

template <typename Read>
void expectFailure(const char* image, Read read) {
  auto stream = streamOf(image);
  stream.exceptions(std::ios_base::badbit);
  EXPECT_THROW(
      {
        StreamReader in(stream);
        read(in);
      },
      std::ios_base::failure)
      << image;
  EXPECT_EQ(stream.exceptions(), std::ios_base::badbit) << image;
}

TEST(StreamReader, InputThatEndsEarlyIsAFailureAndTheMaskIsPutBack) {
  expectFailure("", [](StreamReader& in) { in.u8(); });
  expectFailure("010203", [](StreamReader& in) { in.u32(); });
  expectFailure("01020304 050607", [](StreamReader& in) { in.u64(); });
  expectFailure("6162", [](StreamReader& in) { in.zeroTerminated(); });
  expectFailure("6162", [](StreamReader& in) { in.skip(3); });
  expectFailure("6162", [](StreamReader& in) { in.bytes(3); });
  expectFailure("6162", [](StreamReader& in) { in.bytes(std::numeric_limits<std::uint64_t>::max()); });
}

TEST(StreamReader, PutsTheMaskBackAfterSuccess) {
  auto stream = streamOf("01");
  { StreamReader(stream).u8(); }
  EXPECT_EQ(stream.exceptions(), std::ios_base::goodbit);
  EXPECT_EQ(stream.get(), std::istringstream::traits_type::eof()) << "raises nothing";
}

TEST(StreamReader, RefusesAStreamThatHasFailedAndLeavesItsMask) {
  auto stream = streamOf("01");
  stream.setstate(std::ios_base::failbit);
  EXPECT_THROW(StreamReader in(stream), std::ios_base::failure);
  EXPECT_EQ(stream.exceptions(), std::ios_base::goodbit);
}

TEST(FullBoxHeader, ReadsEveryForm) {
  const std::string uuid("0123456789abcdef");
  const struct {
    const char* image;
    BoxHeader header;
  } rows[] = {
      {"00000010 61627374 01020304", {.size = 16, .type = "abst"_4cc, .uuid = "", .version = 1, .flags = 0x020304}},
      {"00000001 61667261 0000000100000002 00000000",
       {.size = 0x100000002, .type = "afra"_4cc, .uuid = "", .version = 0, .flags = 0}},
      {"00000000 61627374 00000001", {.size = 0, .type = "abst"_4cc, .uuid = "", .version = 0, .flags = 1}},
      {"0000001c 75756964 30313233 34353637 38396162 63646566 02000000",
       {.size = 28, .type = "uuid"_4cc, .uuid = uuid, .version = 2, .flags = 0}}};
  for (const auto& row : rows) {
    auto stream = streamOf(row.image);
    StreamReader in(stream);
    EXPECT_EQ(readFullBoxHeader(in), row.header) << row.image;
    EXPECT_THROW(in.u8(), std::ios_base::failure) << "nothing is left of " << row.image;
  }
}

}  // namespace
}  // namespace qvs::util
