#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/ScriptCodec.h"
#include "tests/support/hex.h"
#include "tests/support/sameValue.h"

namespace {

using test::fromHex;

std::string repeated(const std::string& text, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i) result += text;
  return result;
}

// Data that holds itself: a payload and where a text lies in it, whose count tells whether the data has gone.
const struct CyclicPayload {
  const char* what;
  const char* image;
} kCyclic[] = {
    {"object", "03 0001 70 02 0001 70 0001 73 07 0000 000009"},
    {"array", "08 00000000 0001 70 02 0001 70 0001 73 07 0000 000009"},
    {"typed object", "10 0001 43 0001 70 02 0001 70 0001 73 07 0000 000009"},
    {"strict array", "0a 00000002 02 0001 70 07 0000"},
    {"two objects", "03 0001 70 02 0001 70 0001 69 03 0001 75 07 0000 0001 73 07 0001 000009 0001 69 07 0001 000009"},
    {"AMF3 array", "11 09 05 01 06 03 70 09 00"},
    {"AMF3 array, by a name", "11 09 03 03 73 09 00 01 06 03 70"},
    {"AMF3 object", "11 0a 0b 01 03 70 06 00 03 73 0a 00 01"},
    {"AMF3 vector", "11 10 05 00 01 06 03 70 10 00"},
    {"AMF3 dictionary", "11 11 03 00 11 00 06 03 70"},
    {"AMF0 object that AMF3 lies in", "03 0001 70 02 0001 70 0001 73 11 09 03 01 09 02 0001 74 07 0001 000009"},
};

/// The first string in a value.
NQTextPtr textIn(const NQDataValue& value) {
  for (std::size_t i = 0; i < value.array()->size(); ++i)
    if (auto text = value.array()->value(i).text(); text && text->string().view() == "p") return text;
  return {};
}

TEST(ScriptGraphs, WhatHoldsItselfComesBackAndEndsWithItsHolder) {
  for (const auto& row : kCyclic) {
    auto values = test::readScript(fromHex(row.image));
    const auto back = test::readScript(test::writeScript(values));
    EXPECT_TRUE(test::sameValue(values[0], back[0])) << row.what;
    EXPECT_NE(test::dumpOf(values[0]).find("( ... )"), std::string::npos) << row.what;

    const auto text = textIn(values[0]);
    ASSERT_TRUE(text) << row.what;
    EXPECT_GT(text->refCount(), 1) << row.what;
    values.clear();
    EXPECT_EQ(text->refCount(), 1) << row.what;
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

const struct {
  const char* what;
  const char* opening;
  const char* innermost;
  const char* closing;
} kNestings[] = {
    {"objects", "03 0001 61", "05", "000009"},      {"arrays", "08 00000000 0001 61", "05", "000009"},
    {"strict arrays", "0a 00000001", "05", ""},     {"typed objects", "10 0000 0001 61", "05", "000009"},
    {"AMF3 arrays", "09 03 01", "01", ""},          {"AMF3 arrays, by name", "09 01 03 61", "01", "01"},
    {"AMF3 objects", "0a 0b 01 03 61", "01", "01"}, {"AMF3 vectors", "10 03 00 01", "01", ""},
    {"AMF3 dictionaries", "11 03 00 01", "01", ""},
};

std::vector<std::byte> nested(std::size_t row, std::size_t depth) {
  const auto& nesting = kNestings[row];
  const bool isAMF3 = std::string(nesting.what).find("AMF3") == 0;
  return fromHex((isAMF3 ? "11" : "") + repeated(nesting.opening, depth) + nesting.innermost +
                 repeated(nesting.closing, depth));
}

TEST(ScriptGraphs, NestingIsTakenUpTo256Levels) {
  for (std::size_t row = 0; row < std::size(kNestings); ++row) {
    const auto values = test::readScript(nested(row, 256));
    const auto back = test::readScript(test::writeScript(values));
    EXPECT_TRUE(test::sameValue(values[0], back[0])) << kNestings[row].what;
    EXPECT_EQ(test::dumpOf(values[0]).find("..."), std::string::npos) << kNestings[row].what;

    const auto deeper = nested(row, 257);
    test::ScriptCodec codec(deeper);
    NQDataValue value;
    ASSERT_THROW(codec.readValue(value), NQBreakConnection) << kNestings[row].what;
    EXPECT_EQ(codec.errorLog()[1], "Nesting of values is found deeper than 256 levels") << kNestings[row].what;
  }
}

TEST(ScriptGraphs, AnAMF3ArrayNeedsNames) {
  const auto array = NQDataArrayPtr::make();
  array->append({}, NQDataValue());
  const auto value = NQDataValue::container(NQDataKind::kArrayType, array);
  EXPECT_THROW(test::writeScript(std::span(&value, 1), 3), NQBreakConnection);
}

// One text, named again and again, takes its memory once.
TEST(ScriptGraphs, TextsAreShared) {
  const char* const image = "11 09 07 01 06 03 70 06 00 0a 13 00 00 06 00";
  const auto value = test::readScript(fromHex(image))[0];
  const auto* const array = value.array();
  EXPECT_EQ(array->value(0).text(), array->value(1).text());
  const auto* const object = array->value(2).array();
  EXPECT_EQ(object->value(0).text(), array->value(0).text());
  EXPECT_EQ(object->nameText(1), array->value(0).text());
}

}  // namespace
