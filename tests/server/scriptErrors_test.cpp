#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/ScriptCodec.h"
#include "tests/support/hex.h"

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

TEST(ScriptErrors, LogTellsWhereWhatAndTheWayOut) {
  const Lines expected = {
      "Error occured in serializing message buffer at position 5:\n"
      "Message Buffer: (03 00 01 a 00 ? F0 )",
      "Message data is not complete",
      "while reading number type",
      "while processing script variable",
      "while processing object data type",
      "while processing script variable",
  };
  EXPECT_EQ(logOf("03 0001 61 00 3ff0"), expected);
}

TEST(ScriptErrors, EachHasItsText) {
  const std::string incomplete = "Message data is not complete";
  const std::string beyondRest = " is found greater than remaining bytes";
  const std::string tooLong = beyondRest + ". " + incomplete;
  const std::string noObject = ", the object index 1 is found greater than refTable size 0";
  const std::string noReference = "While reading the object from reference table" + noObject;
  const std::string noString =
      "While reading the AMF3 string, index of string 2 is found greater than sting reference table length 0";
  const std::string longArray = ",array length found greater than remaining bytes";
  const struct {
    const char* image;
    std::string text;
    const char* context;
  } rows[] = {
      {"", incomplete, "processing script variable"},
      {"01", incomplete, "reading boolean type"},
      {"22 00", incomplete, "reading 64 bit integer type"},
      {"07 00", incomplete, "processing reference type"},
      {"0b 0000000000000000 00", incomplete, "processing date type"},
      {"08 0000", incomplete, "processing array type"},
      {"02 0004 616263", "Length of string 4" + tooLong, "processing string type"},
      {"0f ffffffff 61", "Length of string 4294967295" + tooLong, "processing xml type"},
      {"20 00000002 61", "Length of data 2" + tooLong, "processing blob data type"},
      {"0a 00000003 0505", "while serializing the array length,length of array is found longer than remaining bytes",
       "processing strict array type"},
      {"11", incomplete, "processing AMF3 object data type"},
      {"11 04 ff", incomplete, "processing integer data atom"},
      {"11 05 ff", incomplete, "processing double data atom"},
      {"11 06 04", noString, "processing string data atom"},
      {"11 06 07 61", "Length of string 3" + tooLong, "processing string data atom"},
      {"11 07 07 61", "While reading the XML string, length 3 of string" + beyondRest, "processing XML data atom"},
      {"11 0b 02", "While serializing the XML atom" + noObject, "processing XML data atom"},
      {"11 08 02", "While serializing the date atom" + noObject, "processing date atom"},
      {"11 09 02", "While serializing the array atom" + noObject, "processing array atom"},
      {"11 09 07 0101", "while serializing the array atom" + longArray, "processing array atom"},
      {"11 0c 02", "While serializing the byte array atom" + noObject, "processing byte array"},
      {"11 0c 05 01", "while serializing the byte array atom,length of data" + beyondRest + "\n",
       "processing byte array"},
      {"11 0a 02", noReference, "processing object atom"},
      {"11 0a 33 01", "While serializing the object atom, the property index count 3" + beyondRest + " 1",
       "processing object atom"},
      {"11 0a 07 01",
       "While serializing the object atom, the property index count  externalizable flag is found on ( last 3 bits of "
       "value 7). Server doesn't has support for IExternalizable yet.",
       "processing object atom"},
      {"11 0a 05 01",
       "While serializing the object atom, class info index 1 is found greater than class reference table size 0",
       "processing object atom"},
      {"11 0a 0b 04", noString, "processing name"},
      {"11 0d 05 00 00000000", "while serializing the vector object atom" + longArray, "processing vector object atom"},
      {"11 10 83ffffff 00 01", "while serializing the vector object atom" + longArray, "processing vector object atom"},
      {"11 11 05 00 000000", "while serializing the dictionary atom" + longArray, "processing dictionary atom"},
      {"11 11 02", noReference, "processing dictionary atom"},
  };
  for (const auto& row : rows) {
    const Lines log = logOf(row.image);
    ASSERT_GE(log.size(), 3U) << row.image;
    EXPECT_EQ(log[1], row.text) << row.image;
    EXPECT_EQ(log[2], std::string("while ") + row.context) << row.image;
  }
}

TEST(ScriptErrors, StringsAreRefusedAtTheirLength) {
  EXPECT_EQ(logOf("02 0004 616263")[0].substr(0, 67),
            "Error occured in serializing message buffer at position 0:\nMessage ");
  EXPECT_EQ(logOf("0c 00000004 616263")[0].substr(0, 67),
            "Error occured in serializing message buffer at position 1:\nMessage ");
}

TEST(ScriptErrors, UnknownMarkersThrowInEveryMode) {
  for (const char* image : {"0e", "12", "1f", "21", "23", "ff"}) {
    const auto bytes = fromHex(image);
    test::ScriptCodec codec(bytes, false);
    NQDataValue value;
    EXPECT_THROW(codec.readValue(value), NQBreakConnection) << image;
    EXPECT_EQ(codec.errorLog(), Lines{"while processing script variable"}) << image;
  }
}

TEST(ScriptErrors, WithoutThrowingTheFirstOneEndsTheReading) {
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

}  // namespace
