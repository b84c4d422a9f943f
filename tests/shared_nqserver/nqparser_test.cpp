#include "shared_nqserver/nqparser.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "shared_nqserver/NQAMF3Parser.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/hex.h"

namespace {

using test::fromHex;
using test::hex;

class Parser final : public NQAMF3Parser {
 public:
  Parser() = default;
  template <typename Source>
  Parser(const Source& source, bool throwOnError) : NQAMF3Parser(source, throwOnError) {}

  using NQAMF3Parser::readByte;
  using NQAMF3Parser::readBytes;
  using NQAMF3Parser::readDouble;
  using NQAMF3Parser::readInt16;
  using NQAMF3Parser::readInt32;
  using NQAMF3Parser::readInt64;
  using NQAMF3Parser::readString16;
  using NQAMF3Parser::readString32;
  using NQAMF3Parser::readU29;
  using NQAMF3Parser::reportError;
  using NQAMF3Parser::writeByte;
  using NQAMF3Parser::writeBytes;
  using NQAMF3Parser::writeDouble;
  using NQAMF3Parser::writeInt16;
  using NQAMF3Parser::writeInt32;
  using NQAMF3Parser::writeString16;
  using NQAMF3Parser::writeString32;
  using NQAMF3Parser::writeU29;
};

TEST(NQDataParser, ReadsBigEndian) {
  const auto bytes = fromHex("01 0203 04050607 c000000000000000 fffffffffffffffe 0002 6869 00000001 21");
  Parser parser(bytes, true);
  EXPECT_EQ(parser.readByte(), 1);
  EXPECT_EQ(parser.readInt16(), 0x0203);
  EXPECT_EQ(parser.readInt32(), 0x04050607U);
  EXPECT_EQ(parser.readDouble(), -2);
  EXPECT_EQ(parser.readInt64(), -2);
  EXPECT_STREQ(parser.readString16()->string().c_str(), "hi");
  EXPECT_STREQ(parser.readString32()->string().c_str(), "!");
  EXPECT_EQ(parser.remaining(), 0U);
}

TEST(NQDataParser, WritesBigEndian) {
  Parser parser;
  parser.writeByte(1);
  parser.writeInt16(0x0203);
  parser.writeInt32(0x04050607);
  parser.writeDouble(-2);
  parser.writeString16("hi");
  parser.writeString32("!");
  parser.writeBytes(fromHex("0809"));
  EXPECT_EQ(hex(parser.written()), "01020304 050607c0 00000000 00000000 02686900 00000121 0809");
}

TEST(NQDataParser, BufferGrowsByItsRule) {
  const struct {
    std::size_t write;
    std::uint32_t length;
  } rows[] = {{1, 256},
              {255, 256},
              {1, 512},
              {2000, 2257 + 1024},
              {1024, 3281},
              {0x10000, 69841},
              {2000, 69841 + 0x10000},
              {0x20000, 201889 + 1024}};
  Parser parser;
  std::size_t total = 0;
  for (const auto& row : rows) {
    parser.writeBytes(std::vector<std::byte>(row.write, std::byte{1}));
    total += row.write;
    EXPECT_EQ(parser.length(), row.length) << total;
  }
  EXPECT_EQ(parser.written().size(), total);
}

TEST(NQDataParser, ALongNameIsRefusedByAWriter) {
  Parser parser;
  parser.writeString16(std::string(65535, 'n'));
  EXPECT_THROW(parser.writeString16(std::string(65536, 'n')), NQBreakConnection);
  EXPECT_EQ(parser.written().size(), 65537U);
}

TEST(NQDataParser, AFailedReadYieldsNothingAndEndsTheInput) {
  const auto bytes = fromHex("0102");
  Parser parser(bytes, false);
  EXPECT_EQ(parser.readInt32(), 0U);
  EXPECT_TRUE(parser.errorFlag());
  EXPECT_EQ(parser.remaining(), 0U);
  EXPECT_FALSE(parser.readBytes(1));
}

TEST(NQDataParser, PassesOverTheEncodingByteOfExKinds) {
  const struct {
    qvs::MessageKind kind;
    const char* payload;
    std::uint32_t position;
  } rows[] = {{qvs::MessageKind::kDataEx, "00 05", 1},   {qvs::MessageKind::kCommandEx, "00 05", 1},
              {qvs::MessageKind::kContainerEx, "05", 1}, {qvs::MessageKind::kDataEx, "", 0},
              {qvs::MessageKind::kData, "00 05", 0},     {qvs::MessageKind::kCommand, "00 05", 0}};
  for (const auto& row : rows) {
    auto message = NQMessagePtr::make(0U);
    message->setType(row.kind);
    message->append(fromHex(row.payload));
    const Parser parser(message, true);
    EXPECT_EQ(parser.position(), row.position);
    EXPECT_EQ(parser.length(), fromHex(row.payload).size());
  }
}

TEST(NQAMF3Parser, IntegersTakeOneToFourBytes) {
  const struct {
    std::uint32_t value;
    const char* image;
  } rows[] = {{0, "00"},
              {0x7F, "7f"},
              {0x80, "8100"},
              {0x3FFF, "ff7f"},
              {0x4000, "818000"},
              {0x1FFFFF, "ffff7f"},
              {0x200000, "80c08000"},
              {0x0FFFFFFF, "bfffffff"},
              {0x12345678, "c8e8d678"},
              {0x1FFFFFFF, "ffffffff"}};
  for (const auto& row : rows) {
    Parser writer;
    writer.writeU29(row.value);
    EXPECT_EQ(hex(writer.written()), row.image);
    Parser reader(writer.written(), true);
    EXPECT_EQ(reader.readU29(), row.value);
    EXPECT_EQ(reader.remaining(), 0U);
  }
}

TEST(NQAMF3Parser, AnIntegerBeyondItsRangeIsWrittenAsZero) {
  Parser writer;
  writer.writeU29(0x40000000);
  writer.writeU29(0xFFFFFFFF);
  EXPECT_EQ(hex(writer.written()), "0000");
}

/// What stands in a file, nothing without one.
std::string contentOf(const std::filesystem::path& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

// Also the child of the test below, which runs this program from a folder of its own.
TEST(ParseLog, IsFlushedWhetherOrNotThereIsAFolder) {
  const auto bytes = fromHex("0102");
  for (const char* line : {"first", "second"}) {
    Parser parser(bytes, false);
    parser.reportError(1, line);
  }
  Parser silent(bytes, false);
  EXPECT_NO_THROW(silent.flushErrorLog());
}

TEST(ParseLog, HoldsTheLinesOfTheLastFlushOnly) {
  const test::TempDirectory directory;
  const auto program = directory.path() / "program";
  std::filesystem::copy_file("/proc/self/exe", program);
  const std::string run = program.string() + " --gtest_filter=ParseLog.IsFlushedWhetherOrNotThereIsAFolder >/dev/null";
  ASSERT_EQ(std::system(run.c_str()), 0) << "without the folder";
  EXPECT_FALSE(std::filesystem::exists(directory.path() / "logs"));

  std::filesystem::create_directory(directory.path() / "logs");
  ASSERT_EQ(std::system(run.c_str()), 0);
  EXPECT_EQ(contentOf(directory.path() / "logs" / "cmdParsingLog.log"),
            "Error occured in serializing message buffer at position 1:\nMessage Buffer: (01 02 )\nsecond\n");
}

}  // namespace
