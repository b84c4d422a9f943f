#include "shared_nqserver/nqparser.h"

#include "shared_nqserver/NQAMF3Parser.h"
#include "tests/support/testing.h"

namespace {

using test::fromHex;
using test::hex;

class Parser final : public NQAMF3Parser {
 public:
  Parser() = default;
  template <typename Source>
  Parser(const Source& source, bool throwOnError) : NQAMF3Parser(source, throwOnError) {}

  using NQAMF3Parser::readU29;
  using NQAMF3Parser::writeU29;
};

TEST(NQAMF3Parser, IntegersTakeOneToFourBytes) {
  using Row = std::pair<std::uint32_t, const char*>;
  for (const auto& [value, image] :
       {Row{0, "00"}, Row{0x7F, "7f"}, Row{0x80, "8100"}, Row{0x3FFF, "ff7f"}, Row{0x4000, "818000"},
        Row{0x1FFFFF, "ffff7f"}, Row{0x200000, "80c08000"}, Row{0x0FFFFFFF, "bfffffff"}, Row{0x12345678, "c8e8d678"},
        Row{0x1FFFFFFF, "ffffffff"}}) {
    Parser writer;
    writer.writeU29(value);
    EXPECT_EQ(hex(writer.written()), image);
    Parser reader(writer.written(), true);
    EXPECT_EQ(reader.readU29(), value);
    EXPECT_EQ(reader.remaining(), 0U);
  }
  Parser beyond;
  for (const std::uint32_t value : {0x40000000U, 0xFFFFFFFFU}) beyond.writeU29(value);
  EXPECT_EQ(hex(beyond.written()), "0000") << "what is beyond the range is zero";
}

}  // namespace
