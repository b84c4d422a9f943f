#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <string>
#include <typeinfo>

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
  const struct {
    double count;
    const char* image;
  } rows[] = {{2.9, "0a000000 02"},
              {-1, "0a000000 00"},
              {4294967295.0, "0affffff ff"},
              {1e300, "0affffff ff"},
              {std::numeric_limits<double>::quiet_NaN(), "0a000000 00"}};
  for (const auto& row : rows) EXPECT_EQ(written(AMF0StrictArrayBegin(row.count)), row.image) << row.count;
}

TEST(AMF0Items, StringsTakeTheLongFormFrom65536BytesOn) {
  EXPECT_EQ(written(AMF0String(std::string(65535, 'x'))).substr(0, 17), "02ffff78 78787878");
  EXPECT_EQ(written(AMF0String(std::string(65536, 'x'))).substr(0, 17), "0c000100 00787878");
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
  auto in = streamOf(
      "0200 0361 6263  0800000000  0001 61 00 4000000000000000  0001 62 02 0001 78"
      "0001 63 03 000009  0a ffffffff  0c 00000002 7979  000009");
  AMF0String text;
  AMF0PropNumber a;
  AMF0PropString b;
  AMF0StrictArrayBegin list;
  text.readFrom(in);
  EXPECT_EQ(text.value, "abc");
  AMF0ArrayBegin().readFrom(in);
  a.readExpecting(in, "a");
  EXPECT_EQ(a.value, 2.0);
  b.readFrom(in);
  EXPECT_EQ(b.name + b.value, "bx");
  AMF0PropObjectBegin().readExpecting(in, "c");
  AMF0ObjectEnd().readFrom(in);
  list.readFrom(in);
  EXPECT_EQ(list.count, 4294967295.0);
  text.readFrom(in);
  EXPECT_EQ(text.value, "yy");
  AMF0ArrayEnd().readFrom(in);
  EXPECT_EQ(in.peek(), std::istringstream::traits_type::eof());
}

template <typename Item>
void expectRefused(const char* image) {
  auto in = streamOf(image);
  Item item;
  EXPECT_THROW(item.readFrom(in), ParseException) << typeid(Item).name() << ' ' << image;
}

TEST(AMF0Items, RefuseOtherItems) {
  expectRefused<AMF0ObjectBegin>("08");
  expectRefused<AMF0ObjectEnd>("0000 03");
  expectRefused<AMF0ArrayEnd>("0001 61 00");
  expectRefused<AMF0ArrayBegin>("03 00000000");
  expectRefused<AMF0ArrayBegin>("08 00000001");
  expectRefused<AMF0StrictArrayBegin>("08 00000000");
  expectRefused<AMF0Number>("01 0000000000000000");
  expectRefused<AMF0String>("03 0000");
  expectRefused<AMF0PropObjectBegin>("0001 61 08");
  expectRefused<AMF0PropNumber>("0001 61 02 0000");
  expectRefused<AMF0PropString>("0001 61 00 0000000000000000");
}

TEST(AMF0Items, RefuseAnotherName) {
  auto in = streamOf("0001 61 00 0000000000000000");
  EXPECT_THROW(AMF0PropNumber().readExpecting(in, "b"), ParseException);
}

template <typename Item>
void expectShort(const char* image) {
  auto in = streamOf(image);
  Item item;
  EXPECT_THROW(item.readFrom(in), std::ios_base::failure) << typeid(Item).name() << ' ' << image;
  EXPECT_EQ(in.exceptions(), std::ios_base::goodbit);
}

TEST(AMF0Items, InputThatEndsEarlyIsAFailureAndTakesNoMemoryOnItsWord) {
  expectShort<AMF0ObjectBegin>("");
  expectShort<AMF0ObjectEnd>("0002 61");
  expectShort<AMF0ArrayBegin>("08 0000");
  expectShort<AMF0Number>("00 00000000000000");
  expectShort<AMF0String>("0c ffffffff 616263");
  expectShort<AMF0String>("02 ffff 616263");
  expectShort<AMF0NoHeaderString>("00");
  expectShort<AMF0PropString>("0001 61 02 0001");
}

}  // namespace
}  // namespace qvs::amfmessage
