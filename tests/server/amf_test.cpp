#include <regex>

#include "server/AMF0Items.h"
#include "tests/support/ScriptCodec.h"
#include "tests/support/TestHost.h"
#include "tests/support/testing.h"

namespace {

constexpr std::uint8_t kAMF3 = 3;

using test::fromHex;
using test::hex;
using namespace qvs::amfmessage;

std::string writtenHex(const NQDataValue& value, std::uint8_t encoding = 0) {
  return hex(test::writeScript(std::span(&value, 1), encoding));
}

/// The dump of a value, with the names of kinds cut to "kNumber" and the like.
std::string kindsOf(const NQDataValue& value) {
  static const std::regex ending("Type?\\b");
  return std::regex_replace(test::dumpOf(value), ending, "");
}

constexpr auto spaced = [](const std::string& image) { return hex(fromHex(image)); };

/// A value, its dump, and what is written back; null where that is the image again.
struct Form {
  const char* image;
  const char* dump;
  const char* back = nullptr;
};

NQDataValue containerOf(NQDataKind kind, const char* name, const NQDataValue& member) {
  const auto array = NQDataArrayPtr::make();
  array->append(makeText(name), member);
  return NQDataValue::container(kind, array);
}

// Each marker of AMF0 (AMF 0 specification, 2.1) and this server's own.
TEST(AMF0, ReadsEachMarkerAndWritesIt) {
  const Form forms[] = {
      {"00 c000000000000000", " kNumber -2"},
      {"01 01", " kbool true"},
      {"01 02", " kbool false", "01 00"},
      {"02 0003 616263", " kString \"abc\""},
      {"03 0001 61 05 0001 62 0100 000009", " kObject ( a= kNull, b= kbool false )"},
      {"04 0001 61", " kString \"a\"", "02 0001 61"},
      {"05", " kNull"},
      {"06", " kUndefined"},
      {"08 00000003 0001 61 05 0000 0100 000009", " kArray ( a= kNull, = kbool false )",
       "08 00000000 0001 61 05 0000 0100 000009"},
      {"09", " kObjectEnd", "0d"},
      {"0a 00000002 05 0101", " kArray ( 0= kNull, 1= kbool true )", "08 00000000 0001 30 05 0001 31 0101 000009"},
      {"0b 4276f6d736000000 ffc4", " kDate"},
      {"0c 00000001 61", " kString \"a\"", "02 0001 61"},
      {"0f 00000004 3c612f3e", " kXML"},
      {"10 0002 506e 0001 78 05 000009", " kTypedObject ( constructor= kString \"Pn\", x= kNull )"},
      {"11 01", " kNull", "05"},
      {"20 00000003 010203", " kBlob"},
      {"22 fffffffffffffffe", " kInt64 -2", "00 c000000000000000"}};
  for (const auto& form : forms) {
    const auto values = test::readScript(fromHex(form.image));
    ASSERT_EQ(values.size(), 1U) << form.image;
    EXPECT_EQ(kindsOf(values[0]), form.dump) << form.image;
    EXPECT_EQ(writtenHex(values[0]), spaced(form.back ? form.back : form.image)) << form.image;
  }
  const auto null = NQDataValue::null();
  EXPECT_EQ(writtenHex(containerOf(NQDataKind::kStrictArrayType, "ignored", null)), spaced("0a 00000001 05"));
  EXPECT_EQ(writtenHex(containerOf(NQDataKind::kTypedObjectType, "constructor", NQDataValue::number(0))),
            spaced("10 0006 4f626a656374 000b 636f6e7374727563746f72 00 0000000000000000 000009"))
      << "without a class it is an object";
}

TEST(AMF0, StringsTakeTheLongFormFrom65536BytesOn) {
  EXPECT_EQ(writtenHex(NQDataValue::string(std::string(65535, 'x'))).substr(0, 17), "02ffff78 78787878");
  EXPECT_EQ(writtenHex(NQDataValue::string(std::string(65536, 'x'))).substr(0, 17), "0c000100 00787878");
}

/// A value as AMF3 has it follows this: within an array, as AMF0 has forms of its own for what is alone.
const std::string kInArray = "11 09 03 01";

// Each marker of AMF3 (AMF 3 specification, 3.1).
TEST(AMF3, ReadsEachMarkerAndWritesIt) {
  const Form forms[] = {
      {"00", " kUndefined"},
      {"01", " kNull"},
      {"03", " kbool true"},
      {"04 ffffffff", " kNumber -1"},
      {"04 c0808000", " kNumber -268435456"},
      {"05 3ff0000000000000", " kNumber 1"},
      {"06 07 616263", " kString \"abc\""},
      {"06 01", " kString \"\""},
      {"07 05 6162", " kXML"},
      {"09 03 01 01", " kArray ( 0= kNull )"},
      {"09 05 0361 03 01 04 07 02", " kArray ( 0= kNumber 7, 1= kbool false, a= kbool true )"},
      {"0a 0b 01 0361 01 01", " kAvmPlusObject ( constructor= kString \"\", a= kNull )"},
      {"0a 23 03 43 03 61 05 6263 01 03", " kAvmPlusObject ( constructor= kString \"C\", a= kNull, bc= kbool true )"},
      {"0b 05 6162", " kXML"},
      {"0c 05 0102", " kBlob"},
      {"0d 05 01 00000001 ffffffff",
       " kAvmPlusObject ( size= kNumber 2, fixed= kbool true, value= kNumber 1, value= kNumber -1 )"},
      {"0f 03 00 c000000000000000", " kAvmPlusObject ( size= kNumber 1, fixed= kbool false, value= kNumber -2 )"},
      {"10 03 00 03 43 06 03 61",
       " kAvmPlusObject ( size= kNumber 1, fixed= kbool false, closure= kString \"C\", value= kString \"a\" )"},
      {"11 03 01 06 03 6b 04 01",
       " kAvmPlusObject ( size= kNumber 1, weak= kbool true, key= kString \"k\", value= kNumber 1 )"},
      {"12", " kUndefined", "00"}};
  for (const auto& form : forms) {
    const auto array = test::readScript(fromHex(kInArray + form.image))[0];
    EXPECT_EQ(kindsOf(array.array()->value(0)), form.dump) << form.image;
    EXPECT_EQ(writtenHex(array, kAMF3), spaced(kInArray + (form.back ? form.back : form.image))) << form.image;
  }
  const auto vector = test::readScript(fromHex("11 0e 03 00 ffffffff"))[0];
  EXPECT_EQ(vector.array()->value(2).toDouble(), 4294967295.0) << "a dump shows 32 bits as a signed number";
}

TEST(AMF3, ReferencesGoToWhatCameBefore) {
  // Two elements, the second of which is a reference, and what they are; null where the second is the first again.
  const Form rows[] = {
      {"06 03 61  06 00", " kString \"a\""},
      {"09 03 01 01  09 02", " kArray ( 0= kNull )"},
      {"0a 0b 01 01  0a 02", " kAvmPlusObject ( constructor= kString \"\" )"},
      {"09 05 01 0a 13 03 43 03 61 01 0a 13 03 44 03 62 01  0a 05 03",
       " kArray ( 0= kAvmPlusObject ( constructor= kString \"C\", a= kNull ), 1= kAvmPlusObject ( constructor= kString "
       "\"D\", b= kNull ) )",
       " kAvmPlusObject ( constructor= kString \"D\", b= kbool true )"},
      {"08 01 4276f68212400000  08 02", " kDate"},
      {"0c 03 78  0c 02", " kBlob"},
      {"09 00  01", " kArray ( 0= kArray ( ... ), 1= kNull )", " kNull"},
      {"09 05 01 06 01 06 03 61  06 00", " kArray ( 0= kString \"\", 1= kString \"a\" )", " kString \"a\""},
      {"0c 03 78  08 02", " kBlob", " kUndefined"}};
  for (const auto& row : rows) {
    const auto value = test::readScript(fromHex(std::string("11 09 05 01") + row.image))[0];
    EXPECT_EQ(kindsOf(value.array()->value(0)), row.dump) << row.image;
    EXPECT_EQ(kindsOf(value.array()->value(1)), row.back ? row.back : row.dump) << row.image;
  }
}

TEST(AMF3, RepeatedStringsAndObjectsAreWrittenAsReferencesThatSpanTheValuesOfAPayload) {
  // Dates, XML and bytes are counted, though never referred to.
  for (const char* image : {"11 09 07 03 61 06 00 01 0a 0b 01 00 06 00 01 0a 02 06 00",
                            "11 09 0b 01 08 01 4276f68212400000 0b 03 78 0c 03 78 0a 0b 01 01 0a 08"})
    EXPECT_EQ(writtenHex(test::readScript(fromHex(image))[0], kAMF3), spaced(image));
  const auto values = test::readScript(fromHex("11 0a 0b 01 03 61 01 01 11 0a 00 07 0000"));
  ASSERT_EQ(values.size(), 3U);
  for (const auto& value : values) EXPECT_EQ(value.array(), values[0].array());
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

constexpr auto streamOf = [](const char* image) { return std::istringstream(test::textOf(fromHex(image))); };

TEST(AMF0Items, CountsAreTruncatedAndKeptInTheirField) {
  const std::pair<double, const char*> rows[] = {
      {std::numeric_limits<double>::quiet_NaN(), "0a000000 00"}, {2.9, "0a000000 02"}, {1e300, "0affffff ff"}};
  for (const auto& [count, image] : rows) {
    std::ostringstream out;
    AMF0StrictArrayBegin(count).writeTo(out);
    EXPECT_EQ(hex(out.str()), image) << count;
  }
}

TEST(AMF0Items, AreReadInSequence) {
  auto in = streamOf("0a ffffffff  0c 00000002 7979  0001 61 00 4000000000000000  0001 62 02 0001 78  02 0000");
  AMF0StrictArrayBegin list;
  AMF0String text;
  AMF0PropNumber number;
  AMF0PropString property;
  list.readFrom(in);
  text.readFrom(in);
  number.readExpecting(in, "a");
  EXPECT_EQ(std::tuple(list.count, text.value, number.value), std::tuple(4294967295.0, "yy", 2.0));
  EXPECT_THROW(property.readExpecting(in, "a"), ParseException) << "another name";
  EXPECT_EQ(property.name + property.value, "bx");
  text.readFrom(in);
  EXPECT_EQ(text.value, "");
  auto other = streamOf("03 0000"), cut = streamOf("0001 61 0c ffffffff 616263");
  EXPECT_THROW(text.readFrom(other), ParseException);
  EXPECT_THROW(property.readFrom(cut), std::ios_base::failure);
}

}  // namespace
