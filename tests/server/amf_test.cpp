#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/ScriptCodec.h"
#include "tests/support/hex.h"

namespace {

constexpr std::uint8_t kAMF3 = 3;

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

/// A value as AMF3 has it: within an array, as AMF0 has forms of its own for what stands alone.
NQDataValue inArray(const char* value) {
  return test::readScript(fromHex(std::string("11 09 03 01") + value))[0];
}

// Each marker of AMF3 (AMF 3 specification, 3.1).
TEST(AMF3, ReadsEachMarkerAndWritesIt) {
  const struct {
    const char* image;
    const char* dump;
    /// Null where it is the image.
    const char* writtenBack = nullptr;
  } rows[] = {
      {"00", " kUndefinedType"},
      {"01", " kNullType"},
      {"02", " kboolType false"},
      {"03", " kboolType true"},
      {"04 7f", " kNumberType 127"},
      {"04 8100", " kNumberType 128"},
      {"04 ffffffff", " kNumberType -1"},
      {"04 bfffffff", " kNumberType 268435455"},
      {"04 c0808000", " kNumberType -268435456"},
      {"05 3ff0000000000000", " kNumberType 1"},
      {"06 07 616263", " kStringType \"abc\""},
      {"06 01", " kStringType \"\""},
      {"07 05 6162", " kXMLType"},
      {"08 01 4276f68212400000", " kDateType"},
      {"09 03 01 01", " kArrayType ( 0= kNullType )"},
      {"09 05 0361 03 01 04 07 02", " kArrayType ( 0= kNumberType 7, 1= kboolType false, a= kboolType true )"},
      {"0a 0b 01 0361 01 01", " kAvmPlusObjectType ( constructor= kStringType \"\", a= kNullType )"},
      {"0a 23 03 43 03 61 05 6263 01 03",
       " kAvmPlusObjectType ( constructor= kStringType \"C\", a= kNullType, bc= kboolType true )"},
      {"0a 1b 03 43 03 61 01 03 64 03 01",
       " kAvmPlusObjectType ( constructor= kStringType \"C\", a= kNullType, d= kboolType true )",
       "0a 23 03 43 03 61 03 64 01 03"},
      {"0a 13 01 01 03", " kAvmPlusObjectType ( constructor= kStringType \"\", = kboolType true )"},
      {"0b 05 6162", " kXMLType"},
      {"0c 05 0102", " kBlobType"},
      {"0d 05 01 00000001 ffffffff",
       " kAvmPlusObjectType ( size= kNumberType 2, fixed= kboolType true, value= kNumberType 1, value= kNumberType -1 "
       ")"},
      {"0e 03 00 ffffffff",
       " kAvmPlusObjectType ( size= kNumberType 1, fixed= kboolType false, value= kNumberType 4294967295 )"},
      {"0f 03 00 c000000000000000",
       " kAvmPlusObjectType ( size= kNumberType 1, fixed= kboolType false, value= kNumberType -2 )"},
      {"10 03 00 03 43 06 03 61",
       " kAvmPlusObjectType ( size= kNumberType 1, fixed= kboolType false, closure= kStringType \"C\", "
       "value= kStringType \"a\" )"},
      {"11 03 01 06 03 6b 04 01",
       " kAvmPlusObjectType ( size= kNumberType 1, weak= kboolType true, key= kStringType \"k\", value= kNumberType 1 "
       ")"},
      {"12", " kUndefinedType", "00"},
      {"ff", " kUndefinedType", "00"},
  };
  for (const auto& row : rows) {
    const auto array = inArray(row.image);
    EXPECT_EQ(dumpOf(array.array()->value(0)), row.dump) << row.image;
    const std::string back = row.writtenBack != nullptr ? row.writtenBack : row.image;
    EXPECT_EQ(writtenHex(array, kAMF3), hex(fromHex("11 09 03 01" + back))) << row.image;
  }
}

TEST(AMF3, WritesTheMarkerThatTheValueAsksFor) {
  const auto object = NQDataArrayPtr::make();
  object->append(makeText("a"), NQDataValue::null());
  const auto strict = NQDataArrayPtr::make();
  strict->append({}, NQDataValue::null());
  const auto memory = NQMemoryPtr::make(4U);
  for (int i = 0; i < 4; ++i) memory->data()[i] = static_cast<std::byte>(i);
  const struct {
    NQDataValue value;
    const char* image;
  } rows[] = {
      {NQDataValue::number(-0.0), "05 8000000000000000"},
      {NQDataValue::number(268435456), "05 41b0000000000000"},
      {NQDataValue::number(0.5), "05 3fe0000000000000"},
      {NQDataValue::container(NQDataKind::kObjectType, object), "0a 0b 01 03 61 01 01"},
      {NQDataValue::container(NQDataKind::kTypedObjectType, object), "0a 0b 01 03 61 01 01"},
      {NQDataValue::container(NQDataKind::kStrictArrayType, strict), "09 03 01 01"},
      {NQDataValue::container(NQDataKind::kArrayType, object), "09 01 03 61 01 01"},
      {NQDataValue::blob(memory, 1, 3), "0c 05 0102"},
      {NQDataValue::int64(5), "00"},
      {NQDataValue::bare(NQDataKind::kMovieClipType), "00"},
  };
  for (const auto& row : rows) {
    const auto array = NQDataArrayPtr::make();
    array->append(makeText("0"), row.value);
    EXPECT_EQ(writtenHex(NQDataValue::container(NQDataKind::kArrayType, array), kAMF3),
              hex(fromHex(std::string("11 09 03 01") + row.image)));
  }
}

TEST(AMF3, ReferencesGoToWhatCameBefore) {
  const struct {
    const char* what;
    /// Two elements, the second of which is a reference.
    const char* image;
    const char* first;
    /// Null where it is the first again.
    const char* second = nullptr;
  } rows[] = {
      {"string", "06 03 61  06 00", " kStringType \"a\""},
      {"array", "09 03 01 01  09 02", " kArrayType ( 0= kNullType )"},
      {"object", "0a 0b 01 01  0a 02", " kAvmPlusObjectType ( constructor= kStringType \"\" )"},
      {"class", "09 05 01 0a 13 03 43 03 61 01 0a 13 03 44 03 62 01  0a 05 03",
       " kArrayType ( 0= kAvmPlusObjectType ( constructor= kStringType \"C\", a= kNullType ), "
       "1= kAvmPlusObjectType ( constructor= kStringType \"D\", b= kNullType ) )",
       " kAvmPlusObjectType ( constructor= kStringType \"D\", b= kboolType true )"},
      {"vector", "0d 01 00  0d 02", " kAvmPlusObjectType ( size= kNumberType 0, fixed= kboolType false )"},
      {"date", "08 01 4276f68212400000  08 02", " kDateType"},
      {"XML", "0b 03 78  0b 02", " kXMLType"},
      {"bytes", "0c 03 78  0c 02", " kBlobType"},
      {"the array itself", "09 00  01", " kArrayType ( 0= kArrayType ( ... ), 1= kNullType )", " kNullType"},
      {"empty strings are not counted", "09 05 01 06 01 06 03 61  06 00",
       " kArrayType ( 0= kStringType \"\", 1= kStringType \"a\" )", " kStringType \"a\""},
      {"XML text is no string", "09 05 01 07 03 78 06 03 61  06 00",
       " kArrayType ( 0= kXMLType, 1= kStringType \"a\" )", " kStringType \"a\""},
      {"what another marker brought", "0c 03 78  08 02", " kBlobType", " kUndefinedType"},
      {"XML of the other kind", "0b 03 78  07 02", " kXMLType", " kUndefinedType"},
  };
  for (const auto& row : rows) {
    const auto value = test::readScript(fromHex(std::string("11 09 05 01") + row.image))[0];
    EXPECT_EQ(dumpOf(value.array()->value(0)), row.first) << row.what;
    EXPECT_EQ(dumpOf(value.array()->value(1)), row.second != nullptr ? row.second : row.first) << row.what;
  }
}

TEST(AMF3, RepeatedStringsAndObjectsAreWrittenAsReferences) {
  // Dates, XML and bytes are counted, though never referred to.
  for (const char* image : {"11 09 07 03 61 06 00 01 0a 0b 01 00 06 00 01 0a 02 06 00",
                            "11 09 0b 01 08 01 4276f68212400000 0b 03 78 0c 03 78 0a 0b 01 01 0a 08"})
    EXPECT_EQ(writtenHex(test::readScript(fromHex(image))[0], kAMF3), hex(fromHex(image)));
}

TEST(AMF3, ReferencesSpanTheValuesOfAPayload) {
  const auto values = test::readScript(fromHex("11 0a 0b 01 03 61 01 01 11 0a 00 07 0000"));
  ASSERT_EQ(values.size(), 3U);
  EXPECT_EQ(values[0].array(), values[1].array());
  EXPECT_EQ(values[2].array(), values[0].array());
  EXPECT_EQ(values[2].kind(), NQDataKind::kArrayType);
}

TEST(AMF3, ClearedTablesAreReferredToNoMore) {
  for (const char* reference : {"06 00", "0a 00", "0a 01"}) {
    const auto image = fromHex(std::string("11 0a 0b 03 61 01 11") + reference);
    test::ScriptCodec codec(image);
    NQDataValue value;
    codec.readValue(value);
    codec.clearTables();
    EXPECT_THROW(codec.readValue(value), NQBreakConnection) << reference;
  }
}

TEST(AMF3, AnArrayWrittenInBothFormatsIsNotMistakenForTheOther) {
  const auto array = NQDataArrayPtr::make();
  array->append(makeText("a"), NQDataValue::number(1));
  const auto object = NQDataArrayPtr::make();
  object->append(makeText("constructor"), NQDataValue::string(""));
  object->append(makeText("b"), NQDataValue::container(NQDataKind::kArrayType, array));
  const NQDataValue values[] = {NQDataValue::container(NQDataKind::kArrayType, array),
                                NQDataValue::container(NQDataKind::kAvmPlusObjectType, object)};
  const auto back = test::readScript(test::writeScript(values));
  EXPECT_EQ(dumpOf(back[1].array()->value(1)), " kArrayType ( a= kNumberType 1 )");
}

}  // namespace
