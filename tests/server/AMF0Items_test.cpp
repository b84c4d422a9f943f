#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <string>
#include <utility>

#include "server/AMF0Items.h"
#include "tests/support/hex.h"

namespace qvs::amfmessage {
namespace {

template <typename Item>
std::string written(const Item& item) {
  std::ostringstream out;
  item.writeTo(out);
  return test::hex(out.str());
}

std::istringstream streamOf(const char* image) {
  const auto bytes = test::fromHex(image);
  return std::istringstream(std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

TEST(AMF0Items, AreWrittenByteForByte) {
  EXPECT_EQ(written(AMF0ObjectBegin()), "03");
  EXPECT_EQ(written(AMF0ObjectEnd()), "000009");
  EXPECT_EQ(written(AMF0ArrayBegin()), "08000000 00");
  EXPECT_EQ(written(AMF0ArrayEnd()), "000009");
  EXPECT_EQ(written(AMF0StrictArrayBegin(3.0)), "0a000000 03");
  EXPECT_EQ(written(AMF0Number(1.5)), "003ff800 00000000 00");
  EXPECT_EQ(written(AMF0String("abc")), "02000361 6263");
  EXPECT_EQ(written(AMF0NoHeaderString("abc")), "00036162 63");
  EXPECT_EQ(written(AMF0PropObjectBegin("k")), "00016b03");
  EXPECT_EQ(written(AMF0PropNumber("k", -2)), "00016b00 c0000000 00000000");
  EXPECT_EQ(written(AMF0PropString("k", "")), "00016b02 0000");
}

TEST(AMF0Items, CountsAreTruncatedAndKeptInTheirField) {
  const std::pair<double, const char*> rows[] = {{2.9, "0a000000 02"},
                                                 {-1, "0a000000 00"},
                                                 {4294967295.0, "0affffff ff"},
                                                 {1e300, "0affffff ff"},
                                                 {std::numeric_limits<double>::quiet_NaN(), "0a000000 00"}};
  for (const auto& [count, image] : rows) EXPECT_EQ(written(AMF0StrictArrayBegin(count)), image) << count;
}

TEST(AMF0Items, LongNamesAreRefusedBeforeAnythingIsWritten) {
  std::ostringstream out;
  const std::string name(65536, 'n');
  EXPECT_THROW(AMF0NoHeaderString(name).writeTo(out), WriteException);
  EXPECT_THROW(AMF0PropNumber(name, 1).writeTo(out), WriteException);
  EXPECT_EQ(out.str(), "");
  AMF0PropString(name.substr(1), "v").writeTo(out);
  EXPECT_EQ(out.str().size(), 2U + 65535 + 4);
}

TEST(AMF0Items, AreReadInSequence) {
  auto in = streamOf("0a ffffffff  0c 00000002 7979  0001 61 00 4000000000000000  0001 62 02 0001 78  02 0000");
  AMF0StrictArrayBegin list;
  AMF0String text;
  AMF0PropNumber number;
  AMF0PropString property;
  list.readFrom(in);
  EXPECT_EQ(list.count, 4294967295.0);
  text.readFrom(in);
  EXPECT_EQ(text.value, "yy");
  number.readExpecting(in, "a");
  EXPECT_EQ(number.value, 2.0);
  EXPECT_THROW(property.readExpecting(in, "a"), ParseException) << "another name";
  EXPECT_EQ(property.name + property.value, "bx");
  text.readFrom(in);
  EXPECT_EQ(text.value, "");
}

template <typename Item>
void read(std::istream& in) {
  Item().readFrom(in);
}

TEST(AMF0Items, RefuseOtherItemsAndInputThatEndsEarly) {
  enum class Refusal { kOther, kShort };
  using enum Refusal;
  const struct {
    Refusal refusal;
    void (*read)(std::istream& in);
    const char* image;
  } rows[] = {{kOther, read<AMF0ObjectBegin>, "08"},
              {kOther, read<AMF0ObjectEnd>, "0000 03"},
              {kOther, read<AMF0ArrayEnd>, "0001 61 00"},
              {kOther, read<AMF0ArrayBegin>, "03 00000000"},
              {kOther, read<AMF0ArrayBegin>, "08 00000001"},
              {kOther, read<AMF0StrictArrayBegin>, "08 00000000"},
              {kOther, read<AMF0Number>, "01 0000000000000000"},
              {kOther, read<AMF0String>, "03 0000"},
              {kOther, read<AMF0PropObjectBegin>, "0001 61 08"},
              {kShort, read<AMF0ObjectBegin>, ""},
              {kShort, read<AMF0ObjectEnd>, "0002 61"},
              {kShort, read<AMF0ArrayBegin>, "08 0000"},
              {kShort, read<AMF0Number>, "00 00000000000000"},
              {kShort, read<AMF0String>, "0c ffffffff 616263"},
              {kShort, read<AMF0NoHeaderString>, "00"},
              {kShort, read<AMF0PropString>, "0001 61 02 0001"}};
  for (const auto& row : rows) {
    auto in = streamOf(row.image);
    if (row.refusal == kOther) {
      EXPECT_THROW(row.read(in), ParseException) << row.image;
    } else {
      EXPECT_THROW(row.read(in), std::ios_base::failure) << row.image;
    }
    EXPECT_EQ(in.exceptions(), std::ios_base::goodbit) << row.image;
  }
}

}  // namespace
}  // namespace qvs::amfmessage
