#include <gtest/gtest.h>

#include "tests/support/hex.h"
#include "util/box.h"

namespace qvs::util {
namespace {

TEST(BoxScope, PatchesTheSizesOfNestedBoxes) {
  ByteWriter out;
  out.u16(0xAAAA);
  {
    const BoxScope outer(out, "moof"_4cc);
    {
      const BoxScope inner(out, "mfhd"_4cc, 1, 0x020304);
      out.u32(7);
    }
    const BoxScope empty(out, "free"_4cc);
  }
  EXPECT_EQ(test::hex(out.bytes()), "aaaa0000 00206d6f 6f660000 00106d66 68640102 03040000 00070000 00086672 6565");
}

TEST(NextBox, ReadsSizesOf32And64BitsAndToTheEnd) {
  const auto image =
      test::fromHex("0000000a 66726565 0102  00000001 6d646174 0000000000000013 030405  00000000 736b6970 06070809");
  ByteReader in(image);
  const struct {
    FourCC type;
    std::uint32_t headerSize;
    const char* payload;
  } rows[] = {{"free"_4cc, 8, "0102"}, {"mdat"_4cc, 16, "030405"}, {"skip"_4cc, 8, "06070809"}};
  for (const auto& row : rows) {
    BoxView box = nextBox(in);
    EXPECT_EQ(box.type, row.type);
    EXPECT_EQ(box.headerSize, row.headerSize);
    EXPECT_EQ(test::hex(box.payload.bytes(box.payload.remaining())), row.payload);
  }
  EXPECT_EQ(in.remaining(), 0U);
}

TEST(NextBox, RefusesSizesThatTheInputDoesNotHave) {
  const struct {
    const char* why;
    const char* image;
  } rows[] = {{"no header", "00000008 6672"},
              {"beyond the input", "00000009 66726565"},
              {"below the header", "00000007 66726565 00"},
              {"64-bit size cut short", "00000001 66726565 00000000"},
              {"64-bit size below its header", "00000001 66726565 0000000000000008 00"},
              {"64-bit size beyond the input", "00000001 66726565 0000000000000011"},
              {"the largest size", "00000001 66726565 ffffffffffffffff"}};
  for (const auto& row : rows) {
    const auto image = test::fromHex(row.image);
    ByteReader in(image);
    EXPECT_THROW(nextBox(in), MalformedInput) << row.why;
  }
}

TEST(OpenBox, ShowsTheCallerThePayloadOnly) {
  const auto image = test::fromHex("0000000c 6d666864 00000007 ffffffff");
  ByteReader in(image);
  ByteReader box = openBox(in, "mfhd"_4cc);
  EXPECT_EQ(box.u32(), 7U);
  EXPECT_THROW(box.u8(), MalformedInput);
  EXPECT_EQ(in.position(), 12U);
}

TEST(OpenBox, NamesTheTypeItFound) {
  const auto image = test::fromHex("00000008 66726565");
  ByteReader in(image);
  try {
    openBox(in, "moof"_4cc);
    FAIL();
  } catch (const MalformedInput& e) {
    EXPECT_EQ(e.message(), "moof expected, free found");
  }
}

TEST(VersionAndFlags, AreOneWord) {
  const auto image = test::fromHex("01020304");
  ByteReader in(image);
  const auto word = readVersionAndFlags(in);
  EXPECT_EQ(word.version, 1);
  EXPECT_EQ(word.flags, 0x020304U);
}

}  // namespace
}  // namespace qvs::util
