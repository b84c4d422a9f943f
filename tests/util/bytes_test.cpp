#include "util/bytes.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>

#include "tests/support/hex.h"
#include "util/StreamReader.h"
#include "util/box.h"
#include "util/narrow.h"

namespace qvs::util {
namespace {

/// What a reader says of its input; nothing where it is content.
template <typename Read>
std::string complaintOf(const Read& read) {
  try {
    read();
  } catch (const MalformedInput& failure) {
    return failure.message();
  }
  return {};
}

TEST(ByteReader, ReadsPastTheEndMoveNothing) {
  const struct {
    const char* wanted;
    void (*read)(ByteReader&);
  } rows[] = {{"4", [](ByteReader& in) { in.u32(); }},
              {"3", [](ByteReader& in) { in.skip(3); }},
              {"18446744073709551615", [](ByteReader& in) { in.bytes(~std::uint64_t{0}); }},
              {"4294967296", [](ByteReader& in) { in.need(std::uint64_t{1} << 32); }}};
  const auto image = test::fromHex("01020304");
  ByteReader in(image);
  in.skip(2);
  for (const auto& row : rows) {
    EXPECT_EQ(complaintOf([&] { row.read(in); }),
              std::string("input ends early: ") + row.wanted + " bytes wanted at offset 2, 2 left");
  }
}

TEST(OpenBox, TakesOnlySizesThatTheInputHas) {
  const struct {
    const char* image;
    const char* complaint;
  } rows[] = {{"00000008 6672", "input ends early: 4 bytes wanted at offset 4, 2 left"},
              {"00000009 66726565", "free: box size 9 with 8 bytes left"},
              {"00000007 66726565 00", "free: box size 7 with 9 bytes left"},
              {"00000001 66726565 00000000", "input ends early: 8 bytes wanted at offset 8, 4 left"},
              {"00000001 66726565 0000000000000008 00", "free: box size 8 with 17 bytes left"},
              {"00000001 66726565 0000000000000011", "free: box size 17 with 16 bytes left"},
              {"00000001 66726565 ffffffffffffffff", "free: box size 18446744073709551615 with 16 bytes left"},
              {"00000008 6d6f6f66", "free expected, moof found"},
              {"0000000a 66726565 aabb cc", "2 bytes"},
              {"00000001 66726565 0000000000000012 aabb cc", "2 bytes"},
              {"00000000 66726565 aabbcc", "3 bytes"}};
  for (const auto& row : rows) {
    const auto image = test::fromHex(row.image);
    ByteReader in(image);
    std::size_t size = 0;
    const std::string complaint = complaintOf([&] { size = openBox(in, "free"_4cc).remaining(); });
    EXPECT_EQ(complaint.empty() ? std::to_string(size) + " bytes" : complaint, row.complaint) << row.image;
  }
}

TEST(Narrow, KeepsTheValueOrThrows) {
  EXPECT_EQ(narrow<std::uint8_t>(255), 255);
  EXPECT_THROW(narrow<std::uint8_t>(256), std::out_of_range);
  EXPECT_THROW(narrow<std::uint64_t>(-1), std::out_of_range);
  EXPECT_THROW(narrow<std::int32_t>(std::numeric_limits<std::uint32_t>::max()), std::out_of_range);
}

std::istringstream streamOf(const char* image) {
  const auto bytes = test::fromHex(image);
  return std::istringstream(std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

TEST(StreamReader, BytesComeInOneStringHoweverMany) {
  std::string text(200000, 'x');
  text[65536] = 'y';
  std::istringstream stream(text);
  EXPECT_EQ(StreamReader(stream).bytes(200000), text);
}

TEST(StreamReader, PutsTheMaskBackWhateverHappens) {
  auto stream = streamOf("01");
  stream.exceptions(std::ios_base::badbit);
  EXPECT_EQ(StreamReader(stream).u8(), 1);
  EXPECT_EQ(stream.exceptions(), std::ios_base::badbit);
  EXPECT_THROW(StreamReader(stream).u8(), std::ios_base::failure);
  EXPECT_EQ(stream.exceptions(), std::ios_base::badbit) << "after a failure";
  EXPECT_THROW(StreamReader in(stream), std::ios_base::failure) << "the stream has failed before";
  EXPECT_EQ(stream.exceptions(), std::ios_base::badbit) << "after a refusal";
}

TEST(FullBoxHeader, ReadsEveryForm) {
  const struct {
    const char* image;
    BoxHeader header;
  } rows[] = {
      {"00000010 61627374 01020304", {.size = 16, .type = "abst"_4cc, .uuid = "", .version = 1, .flags = 0x020304}},
      {"00000001 61667261 0000000100000002 00000000",
       {.size = 0x100000002, .type = "afra"_4cc, .uuid = "", .version = 0, .flags = 0}},
      {"00000000 61627374 00000001", {.size = 0, .type = "abst"_4cc, .uuid = "", .version = 0, .flags = 1}},
      {"0000001c 75756964 30313233 34353637 38396162 63646566 02000000",
       {.size = 28, .type = "uuid"_4cc, .uuid = "0123456789abcdef", .version = 2, .flags = 0}}};
  for (const auto& row : rows) {
    auto stream = streamOf(row.image);
    StreamReader in(stream);
    EXPECT_EQ(readFullBoxHeader(in), row.header) << row.image;
    EXPECT_THROW(in.u8(), std::ios_base::failure) << "nothing is left of " << row.image;
  }
}

}  // namespace
}  // namespace qvs::util
