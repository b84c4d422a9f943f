#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/ScriptCodec.h"
#include "tests/support/hex.h"

namespace {

using test::dumpOf;
using test::fromHex;
using test::hex;

std::string writtenHex(const NQDataValue& value, std::uint8_t encoding = 0) {
  return hex(test::writeScript(std::span(&value, 1), encoding));
}

// Each marker of AMF0 (AMF 0 specification, 2.1) and this server's own.
TEST(AMF0, ReadsEachMarkerAndWritesIt) {
  const struct {
    const char* image;
    const char* dump;
    const char* writtenBack;
  } rows[] = {
      {"00 c000000000000000", " kNumberType -2", "00c00000 00000000 00"},
      {"01 01", " kboolType true", "0101"},
      {"01 02", " kboolType false", "0100"},
      {"02 0003 616263", " kStringType \"abc\"", "02000361 6263"},
      {"03 0001 61 05 0001 62 0100 000009", " kObjectType ( a= kNullType, b= kboolType false )",
       "03000161 05000162 01000000 09"},
      {"03 000009", " kObjectType ( )", "03000009"},
      {"04 0001 61", " kStringType \"a\"", "02000161"},
      {"05", " kNullType", "05"},
      {"06", " kUndefinedType", "06"},
      {"08 00000003 0001 61 05 0000 0100 000009", " kArrayType ( a= kNullType, = kboolType false )",
       "08000000 00000161 05000001 00000009"},
      {"09", " kObjectEndType", "0d"},
      {"0a 00000002 05 0101", " kArrayType ( 0= kNullType, 1= kboolType true )",
       "08000000 00000130 05000131 01010000 09"},
      {"0b 4276f6d7 36000000 ffc4", " kDateType", "0b4276f6 d7360000 00ffc4"},
      {"0c 00000001 61", " kStringType \"a\"", "02000161"},
      {"0d", " kUndefinedType", "06"},
      {"0f 00000004 3c612f3e", " kXMLType", "0f000000 043c612f 3e"},
      {"10 0002 506e 0001 78 05 000009", " kTypedObjectTyp ( constructor= kStringType \"Pn\", x= kNullType )",
       "10000250 6e000178 05000009"},
      {"11 01", " kNullType", "05"},
      {"20 00000003 010203", " kBlobType", "20000000 03010203"},
      {"22 fffffffffffffffe", " kInt64Type -2", "00c00000 00000000 00"},
  };
  for (const auto& row : rows) {
    const auto values = test::readScript(fromHex(row.image));
    ASSERT_EQ(values.size(), 1U) << row.image;
    EXPECT_EQ(dumpOf(values[0]), row.dump) << row.image;
    EXPECT_EQ(writtenHex(values[0]), row.writtenBack) << row.image;
  }
}

TEST(AMF0, WritesAStrictArrayWithItsCount) {
  const auto array = NQDataArrayPtr::make();
  array->append(makeText("ignored"), NQDataValue::null());
  array->append({}, NQDataValue::boolean(true));
  EXPECT_EQ(writtenHex(NQDataValue::container(NQDataKind::kStrictArrayType, array)), "0a000000 02050101");
}

TEST(AMF0, WritesATypedObjectWithoutAClassAsObject) {
  const auto array = NQDataArrayPtr::make();
  array->append(makeText("constructor"), NQDataValue::number(0));
  EXPECT_EQ(writtenHex(NQDataValue::container(NQDataKind::kTypedObjectType, array)),
            "1000064f 626a6563 74000b63 6f6e7374 72756374 6f720000 00000000 00000000 0009");
}

TEST(AMF0, StringsTakeTheLongFormFrom65536BytesOn) {
  EXPECT_EQ(writtenHex(NQDataValue::string(std::string(65535, 'x'))).substr(0, 17), "02ffff78 78787878");
  EXPECT_EQ(writtenHex(NQDataValue::string(std::string(65536, 'x'))).substr(0, 17), "0c000100 00787878");
}

}  // namespace
