#include "util/bytes.h"

#include "tests/support/testing.h"
#include "tests/util/failures.h"
#include "util/StreamReader.h"
#include "util/box.h"
#include "util/narrow.h"

namespace qvs::util {
namespace {

TEST(ByteReader, ReadsPastTheEndMoveNothing) {
  const std::pair<const char*, void (*)(ByteReader&)> rows[] = {
      {"4", [](ByteReader& in) { in.u32(); }},
      {"3", [](ByteReader& in) { in.skip(3); }},
      {"18446744073709551615", [](ByteReader& in) { in.bytes(~std::uint64_t{0}); }},
      {"4294967296", [](ByteReader& in) { in.need(std::uint64_t{1} << 32); }}};
  const auto image = test::fromHex("01020304");
  ByteReader in(image);
  in.skip(2);
  for (const auto& [wanted, read] : rows) {
    EXPECT_EQ(test::failureOf<MalformedInput>([&, &readOne = read] { readOne(in); }),
              std::string("input ends early: ") + wanted + " bytes wanted at offset 2, 2 left");
  }
}

TEST(OpenBox, TakesOnlySizesThatTheInputHas) {
  const std::pair<const char*, const char*> rows[] = {
      {"00000007 66726565 00", "free: box size 7 with 9 bytes left"},
      {"00000001 66726565 00000000", "input ends early: 8 bytes wanted at offset 8, 4 left"},
      {"00000001 66726565 0000000000000008 00", "free: box size 8 with 17 bytes left"},
      {"00000001 66726565 0000000000000011", "free: box size 17 with 16 bytes left"},
      {"00000001 66726565 ffffffffffffffff", "free: box size 18446744073709551615 with 16 bytes left"},
      {"00000008 6d6f6f66", "free expected, moof found"},
      {"00000001 66726565 0000000000000012 aabb cc", "2 bytes"},
      {"00000000 66726565 aabbcc", "3 bytes"}};
  for (const auto& [image, answer] : rows) {
    const auto bytes = test::fromHex(image);
    ByteReader in(bytes);
    std::size_t size = 0;
    const std::string complaint = test::failureOf<MalformedInput>([&] { size = openBox(in, "free"_4cc).remaining(); });
    EXPECT_EQ(complaint == "(nothing)" ? std::to_string(size) + " bytes" : complaint, answer) << image;
  }
}

TEST(Narrow, KeepsTheValueOrThrows) {
  EXPECT_EQ(narrow<std::uint8_t>(255), 255);
  EXPECT_THROW(narrow<std::uint8_t>(256), std::out_of_range);
  EXPECT_THROW(narrow<std::uint64_t>(-1), std::out_of_range);
}

TEST(StreamReader, BytesComeInOneStringHoweverMany) {
  const std::string text = std::string(65536, 'x') + std::string(134464, 'y');
  std::istringstream stream(text);
  EXPECT_EQ(StreamReader(stream).bytes(200000), text);
}

TEST(StreamReader, PutsTheMaskBackWhateverHappens) {
  std::istringstream stream("1");
  stream.exceptions(std::ios_base::badbit);
  EXPECT_EQ(StreamReader(stream).u8(), '1');
  EXPECT_EQ(stream.exceptions(), std::ios_base::badbit);
  for (const char* why : {"the end", "a stream that has failed before"}) {
    EXPECT_THROW(StreamReader(stream).u8(), std::ios_base::failure) << why;
    EXPECT_EQ(stream.exceptions(), std::ios_base::badbit) << why;
  }
}

}  // namespace
}  // namespace qvs::util
