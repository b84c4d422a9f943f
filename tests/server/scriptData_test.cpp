#include "tests/support/ScriptCodec.h"
#include "tests/support/testing.h"

namespace {

using test::fromHex;

using Lines = std::vector<std::string>;

/// The error log of a payload that is refused.
Lines logOf(const std::string& image) {
  const auto bytes = fromHex(image);
  test::ScriptCodec codec(bytes);
  NQDataValue value;
  try {
    codec.readValue(value);
    ADD_FAILURE() << "taken: " << image;
  } catch (const NQBreakConnection& broken) {
    EXPECT_EQ(broken.code(), 0xC0000405U);
  }
  return codec.errorLog();
}

TEST(ScriptErrors, LogSaysWhereWhatAndInWhichValues) {
  const std::string front = "Error occured in serializing message buffer at position ";
  const Lines expected = {front + "5:\nMessage Buffer: (03 00 01 a 00 ? F0 )",
                          "Message data is not complete",
                          "while reading number type",
                          "while processing script variable",
                          "while processing object data type",
                          "while processing script variable"};
  EXPECT_EQ(logOf("03 0001 61 00 3ff0"), expected);
  // A string is refused at its length.
  EXPECT_TRUE(logOf("02 0004 616263")[0].starts_with(front + "0:"));
  EXPECT_TRUE(logOf("0c 00000004 616263")[0].starts_with(front + "1:"));
}

TEST(ScriptErrors, EachHasItsText) {
  const std::string incomplete = "Message data is not complete";
  const std::string beyondRest = " is found greater than remaining bytes";
  const std::string tooLong = beyondRest + ". " + incomplete;
  const std::string noObject = ", the object index 1 is found greater than refTable size 0";
  const std::string noReference = "While reading the object from reference table" + noObject;
  const std::string noString =
      "While reading the AMF3 string, index of string 2 is found greater than sting reference table length 0";
  const std::string object = "While serializing the object atom, ";
  const std::string longArray = ",array length found greater than remaining bytes";
  const std::tuple<const char*, std::string, const char*> rows[] = {
      {"", incomplete, "processing script variable"},
      {"02 0004 616263", "Length of string 4" + tooLong, "processing string type"},
      {"0f ffffffff 61", "Length of string 4294967295" + tooLong, "processing xml type"},
      {"0a 00000003 0505", "while serializing the array length,length of array is found longer than remaining bytes",
       "processing strict array type"},
      {"11", incomplete, "processing AMF3 object data type"},
      {"11 06 04", noString, "processing string data atom"},
      {"11 09 07 0101", "while serializing the array atom" + longArray, "processing array atom"},
      {"11 0c 05 01", "while serializing the byte array atom,length of data" + beyondRest + "\n",
       "processing byte array"},
      {"11 0a 02", noReference, "processing object atom"},
      {"11 0a 33 01", object + "the property index count 3" + beyondRest + " 1", "processing object atom"},
      {"11 0a 07 01",
       object + "the property index count  externalizable flag is found on ( last 3 bits of value 7). Server doesn't "
                "has support for IExternalizable yet.",
       "processing object atom"},
      {"11 0a 05 01", object + "class info index 1 is found greater than class reference table size 0",
       "processing object atom"},
      {"11 10 83ffffff 00 01", "while serializing the vector object atom" + longArray,
       "processing vector object atom"}};
  for (const auto& [image, text, context] : rows) {
    const Lines log = logOf(image);
    ASSERT_GE(log.size(), 3U) << image;
    EXPECT_EQ(log[1], text) << image;
    EXPECT_EQ(log[2], std::string("while ") + context) << image;
  }
}

TEST(ScriptErrors, WithoutThrowingTheFirstOneEndsTheReadingUnlessItIsAMarker) {
  for (const char* image : {"0e", "12", "1f", "21", "23", "ff"}) {
    const auto unknown = fromHex(image);
    test::ScriptCodec codec(unknown, false);
    NQDataValue value;
    EXPECT_THROW(codec.readValue(value), NQBreakConnection) << image;
    EXPECT_EQ(codec.errorLog(), Lines{"while processing script variable"}) << image;
  }
  const auto bytes = fromHex("08 00000000 0001 61 05 0001 62 03 0001 63 11 09 05 01 0a 0b 01 03 64 05 00");
  test::ScriptCodec codec(bytes, false);
  NQDataValue value;
  EXPECT_EQ(codec.readValue(value), 9);
  EXPECT_TRUE(codec.errorFlag());
  EXPECT_EQ(codec.remaining(), 0U);
  EXPECT_EQ(codec.flushes, 1);
  EXPECT_EQ(test::dumpOf(value), " kArrayType ( a= kNullType )");
  EXPECT_EQ(codec.readValue(value), 9);
}

std::string repeated(const std::string& text, std::size_t count) {
  std::string result;
  while (count-- > 0) result += text;
  return result;
}

// What a sender can make of a reader's memory is bounded by the length of what is sent, and so is the count of values.
TEST(ScriptAllowance, RefusesMoreThanItsLengthAllows) {
  const std::string number = "00 3ff0000000000000", count30000 = "83d461";
  const std::tuple<const char*, std::string, std::string, std::size_t, bool> rows[] = {
      {"more nulls", "0a 0000ea60", "05", 60000, false},
      {"a count that is not there", "0a 00ffffff", "05", 0x100, false},
      {"more objects", "0a 00007530", "03 000009", 30000, false},
      {"objects with a number", "0a 00007530", "03 0001 74" + number + "000009", 30000, true},
      {"objects with less", "0a 00007530", "03 0001 74 05 000009", 30000, false},
      {"byte arrays", "11 09" + count30000 + "01", "0c 01", 30000, false},
      {"small integers", "11 09" + count30000 + "01", "04 01", 30000, true},
      {"names of a class", "11 0a c4ae03 01", "01", 140000, false},
      {"a million values", "0a 000f423f", number, 999999, true},
      {"a million and one", "0a 000f4240", number, 1000000, false}};
  for (const auto& [what, front, element, count, isTaken] : rows) {
    const auto image = fromHex(front + repeated(element, count));
    test::ScriptCodec codec(image, false);
    NQDataValue value;
    codec.readValue(value);
    EXPECT_EQ(codec.flushes, isTaken ? 0 : 1) << what;
  }
}

// Data that contains itself: a payload and where a text lies in it, whose count says whether the data has gone.
const std::pair<const char*, const char*> kCyclic[] = {
    {"object", "03 0001 70 02 0001 70 0001 73 07 0000 000009"},
    {"strict array", "0a 00000002 02 0001 70 07 0000"},
    {"two objects", "03 0001 70 02 0001 70 0001 69 03 0001 75 07 0000 0001 73 07 0001 000009 0001 69 07 0001 000009"},
    {"AMF3 array, by a name", "11 09 03 03 73 09 00 01 06 03 70"},
    {"AMF3 object", "11 0a 0b 01 03 70 06 00 03 73 0a 00 01"},
    {"AMF3 vector", "11 10 05 00 01 06 03 70 10 00"},
    {"AMF3 dictionary", "11 11 03 00 11 00 06 03 70"},
    {"AMF0 object that AMF3 lies in", "03 0001 70 02 0001 70 0001 73 11 09 03 01 09 02 0001 74 07 0001 000009"}};

/// Written, read and written again it is the same, with cycles where there were cycles.
void expectComesBack(const std::vector<NQDataValue>& values) {
  const auto payload = test::writeScript(values);
  const auto back = test::readScript(payload);
  EXPECT_EQ(test::dumpOf(back[0]), test::dumpOf(values[0]));
  EXPECT_EQ(test::writeScript(back), payload);
}

TEST(ScriptGraphs, WhatHoldsItselfComesBackAndEndsWithItsHolder) {
  for (const auto& [what, image] : kCyclic) {
    SCOPED_TRACE(what);
    auto values = test::readScript(fromHex(image));
    expectComesBack(values);
    EXPECT_NE(test::dumpOf(values[0]).find("( ... )"), std::string::npos);

    NQTextPtr text;
    for (std::size_t i = 0; i < values[0].array()->size() && !text; ++i) text = values[0].array()->value(i).text();
    ASSERT_TRUE(text);
    EXPECT_GT(text->refCount(), 1);
    values.clear();
    EXPECT_EQ(text->refCount(), 1);
  }
}

TEST(ScriptGraphs, AMemberOutlivesTheObjectThatItRefersTo) {
  auto values = test::readScript(fromHex("03 0001 69 03 0001 75 07 0000 000009 000009"));
  const NQDataValue inner = values[0].array()->value(0);
  values.clear();
  EXPECT_EQ(test::dumpOf(inner), " kObjectType ( u= kArrayType ( ) )");
  EXPECT_EQ(test::writeScript(std::span(&inner, 1)), fromHex("03 0001 75 08 00000000 000009 000009"));
}

TEST(ScriptGraphs, AReferenceToNothingLeavesTheValue) {
  const auto bytes = fromHex("07 0005");
  test::ScriptCodec codec(bytes);
  auto value = NQDataValue::number(3);
  EXPECT_EQ(codec.readValue(value), 7);
  EXPECT_EQ(value.toDouble(), 3);
}

TEST(ScriptGraphs, NestingIsTakenUpTo256Levels) {
  const std::tuple<const char*, const char*, const char*, const char*> rows[] = {
      {"", "03 0001 61", "05", "000009"},       // objects
      {"", "0a 00000001", "05", ""},            // strict arrays
      {"", "10 0000 0001 61", "05", "000009"},  // typed objects
      {"11", "09 03 01", "01", ""},             // AMF3 arrays
      {"11", "0a 0b 01 03 61", "01", "01"},     // AMF3 objects
      {"11", "10 03 00 01", "01", ""},          // AMF3 vectors
      {"11", "11 03 00 01", "01", ""}};         // AMF3 dictionaries
  for (const auto& [marker, opening, innermost, closing] : rows) {
    SCOPED_TRACE(opening);
    const auto nested = [front = marker, begin = opening, middle = innermost, end = closing](std::size_t depth) {
      return fromHex(front + repeated(begin, depth) + middle + repeated(end, depth));
    };
    const auto values = test::readScript(nested(256));
    expectComesBack(values);
    EXPECT_EQ(test::dumpOf(values[0]).find("..."), std::string::npos);

    const auto deeper = nested(257);
    test::ScriptCodec codec(deeper);
    NQDataValue value;
    ASSERT_THROW(codec.readValue(value), NQBreakConnection);
    EXPECT_EQ(codec.errorLog()[1], "Nesting of values is found deeper than 256 levels");
  }
}

// One text, named again and again, takes its memory once.
TEST(ScriptGraphs, TextsAreShared) {
  const auto objects = test::readScript(fromHex("03 0001 61 05 000009 03 0001 61 05 000009"));
  EXPECT_EQ(objects[0].array()->nameText(0), objects[1].array()->nameText(0));
  const auto value = test::readScript(fromHex("11 09 07 01 06 03 70 06 00 0a 13 00 00 06 00"))[0];
  const auto* const object = value.array()->value(2).array();
  for (const auto& text : {value.array()->value(1).text(), object->value(0).text(), object->nameText(1)})
    EXPECT_EQ(text, value.array()->value(0).text());
}

}  // namespace
