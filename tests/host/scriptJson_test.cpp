// Script data as JSON.

#include "host/inspect/scriptJson.h"

#include <gtest/gtest.h>

#include <limits>

#include "host/files/Malformed.h"
#include "shared_nqserver/NQDataArray.h"
#include "tests/support/ScriptCodec.h"
#include "tests/support/hex.h"

namespace {

using namespace test;
using host::describeScript;
using host::scriptJson;

NQDataArrayPtr arrayOf(std::initializer_list<std::pair<const char*, NQDataValue>> members) {
  auto array = NQDataArrayPtr::make();
  for (const auto& [name, value] : members) array->append(makeText(name), value);
  return array;
}

TEST(ScriptJson, HasAFormForEachKindOfValue) {
  const struct {
    const char* json;
    NQDataValue value;
  } rows[] = {
      {"25", NQDataValue::number(25)},
      {"29.97", NQDataValue::number(29.97)},
      {R"("NaN")", NQDataValue::number(std::numeric_limits<double>::quiet_NaN())},
      {R"("-Infinity")", NQDataValue::number(-std::numeric_limits<double>::infinity())},
      {"1e+300", NQDataValue::number(1e300)},
      {"9007199254740993", NQDataValue::int64(9007199254740993)},
      {"true", NQDataValue::boolean(true)},
      {R"("a \"b\"")", NQDataValue::string("a \"b\"")},
      {"null", NQDataValue::null()},
      {"null", NQDataValue()},
      {R"({"milliseconds":1000,"zone":-60})", NQDataValue::date(1000, -60)},
      {R"({"bytes":"01a0ff"})", readScript(fromHex("20 00000003 01a0ff"))[0]},
      {R"({"b":1,"a":"x","b":2})",
       NQDataValue::container(
           NQDataKind::kObjectType,
           arrayOf({{"b", NQDataValue::number(1)}, {"a", NQDataValue::string("x")}, {"b", NQDataValue::number(2)}}))},
      {"[1,2]", NQDataValue::container(NQDataKind::kStrictArrayType,
                                       arrayOf({{"", NQDataValue::number(1)}, {"", NQDataValue::number(2)}}))},
      {"[]", NQDataValue::container(NQDataKind::kArrayType, arrayOf({}))},
      {"[1,[2]]", readScript(fromHex("0a 00000002 00 3ff0000000000000 0a 00000001 00 4000000000000000"))[0]}};
  for (const auto& row : rows) EXPECT_EQ(scriptJson(row.value).dump(), row.json);
}

TEST(ScriptJson, EndsWhereAnArrayIsInsideItself) {
  const auto array = arrayOf({{"a", NQDataValue::number(1)}});
  array->append(makeText("self"), NQDataValue::backReference(NQDataKind::kObjectType, *array));
  EXPECT_EQ(scriptJson(NQDataValue::container(NQDataKind::kObjectType, array)).dump(), R"({"a":1,"self":"..."})");
}

TEST(ScriptJson, IsBoundedWhereArraysAreShared) {
  NQDataValue value = NQDataValue::number(1);
  for (int i = 0; i < 60; ++i)
    value = NQDataValue::container(NQDataKind::kStrictArrayType, arrayOf({{"", value}, {"", value}}));
  EXPECT_LT(scriptJson(value).dump().size(), 1000000U);
}

TEST(DescribeScript, TellsNameAndValues) {
  EXPECT_EQ(describeScript(fromHex("02 0001 61  00 3ff0000000000000  03 0001 62 01 01 000009")).dump(),
            R"({"name":"a","values":[1,{"b":true}]})");
  EXPECT_EQ(describeScript(fromHex("00 02 0001 61  11 04 05"), qvs::MessageKind::kDataEx).dump(),
            R"({"name":"a","values":[5]})");
}

TEST(DescribeScript, RefusesWhatIsMalformed) {
  for (const char* image : {"", "02", "02 0005 61", "00 3ff0000000000000", "02 0001 61 03 0001 62 01", "63"})
    EXPECT_THROW(describeScript(fromHex(image)), host::Malformed) << image;
}

}  // namespace
