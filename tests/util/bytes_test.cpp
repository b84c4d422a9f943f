#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <stdexcept>

#include "tests/support/hex.h"
#include "util/bytes.h"
#include "util/fourcc.h"
#include "util/narrow.h"

namespace qvs::util {
namespace {

TEST(ByteWriter, WritesHighBytesFirst) {
  ByteWriter out;
  out.u8(0x01);
  out.u16(0x0203);
  out.u24(0xFF040506);  // the low 24 bits
  out.u32(0x0708090A);
  out.u64(0x0B0C0D0E0F101112);
  out.i16(-2);
  out.i32(-3);
  out.f64(-1.5);
  out.text("ab");
  out.zeros(2);
  EXPECT_EQ(test::hex(out.bytes()), "01020304 05060708 090a0b0c 0d0e0f10 1112fffe fffffffd bff80000 00000000 61620000");
}

TEST(ByteWriter, PatchesFourBytesInPlace) {
  ByteWriter out;
  out.u64(0);
  out.patchU32(2, 0x01020304);
  EXPECT_EQ(test::hex(out.bytes()), "00000102 03040000");
  EXPECT_THROW(out.patchU32(5, 1), std::out_of_range);
  EXPECT_EQ(test::hex(out.take()), "00000102 03040000");
  EXPECT_EQ(out.size(), 0U);
}

TEST(ByteReader, ReadsHighBytesFirst) {
  const auto image =
      test::fromHex("01 0203 040506 0708090a 0b0c0d0e0f101112 fffe fffffffd 800000 7fffff bff8000000000000 6162 00");
  ByteReader in(image);
  EXPECT_EQ(in.u8(), 0x01);
  EXPECT_EQ(in.u16(), 0x0203);
  EXPECT_EQ(in.u24(), 0x040506U);
  EXPECT_EQ(in.u32(), 0x0708090AU);
  EXPECT_EQ(in.u64(), 0x0B0C0D0E0F101112U);
  EXPECT_EQ(in.i16(), -2);
  EXPECT_EQ(in.i32(), -3);
  EXPECT_EQ(in.i24(), -0x800000);
  EXPECT_EQ(in.i24(), 0x7FFFFF);
  EXPECT_EQ(in.f64(), -1.5);
  EXPECT_EQ(test::hex(in.bytes(2)), "6162");
  EXPECT_EQ(in.remaining(), 1U);
}

template <typename Read>
void expectShort(const char* image, Read read) {
  const auto bytes = test::fromHex(image);
  ByteReader in(bytes);
  EXPECT_THROW(read(in), MalformedInput) << image;
  EXPECT_EQ(in.position(), 0U) << image;
}

TEST(ByteReader, ReadsPastTheEndMoveNothing) {
  expectShort("", [](ByteReader& in) { in.u8(); });
  expectShort("01", [](ByteReader& in) { in.u16(); });
  expectShort("0102", [](ByteReader& in) { in.u24(); });
  expectShort("010203", [](ByteReader& in) { in.u32(); });
  expectShort("01020304 050607", [](ByteReader& in) { in.u64(); });
  expectShort("0102", [](ByteReader& in) { in.skip(3); });
  expectShort("0102", [](ByteReader& in) { in.bytes(std::numeric_limits<std::uint64_t>::max()); });
  expectShort("0102", [](ByteReader& in) { in.need(std::uint64_t{1} << 32); });
}

TEST(ByteReader, SaysWhatWasWantedWhere) {
  const auto image = test::fromHex("0102030405");
  ByteReader in(image);
  in.skip(3);
  try {
    in.u32();
    FAIL();
  } catch (const MalformedInput& e) {
    EXPECT_EQ(e.message(), "input ends early: 4 bytes wanted at offset 3, 2 left");
  }
}

TEST(Narrow, KeepsTheValueOrThrows) {
  EXPECT_EQ(narrow<std::uint8_t>(255), 255);
  EXPECT_EQ(narrow<std::int8_t>(-128L), -128);
  EXPECT_THROW(narrow<std::uint8_t>(256), std::out_of_range);
  EXPECT_THROW(narrow<std::uint64_t>(-1), std::out_of_range);
  EXPECT_THROW(narrow<std::uint32_t>(std::uint64_t{1} << 32), std::out_of_range);
  EXPECT_THROW(narrow<std::int32_t>(std::numeric_limits<std::uint32_t>::max()), std::out_of_range);
}

TEST(FourCC, HasItsFirstCharacterInTheHighestByte) {
  EXPECT_EQ("moof"_4cc, 0x6D6F6F66U);
  EXPECT_EQ(toText(0x6D6F6F66), "moof");
  EXPECT_EQ("\xA9nam"_4cc, 0xA96E616DU);
}

}  // namespace
}  // namespace qvs::util
