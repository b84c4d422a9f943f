#include "shared_nqserver/NQDataArray.h"
#include "shared_nqserver/NQDataValue.h"
#include "tests/support/ScriptCodec.h"
#include "tests/support/testing.h"

namespace {

using test::dumpOf;

NQDataValue containerOf(const NQDataArrayPtr& array) {
  return NQDataValue::container(NQDataKind::kArrayType, array);
}

TEST(NQDataValue, ConvertsFromAnyKind) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr std::int64_t kMost = INT64_MAX, kLeast = INT64_MIN;
  const std::tuple<NQDataValue, double, std::int64_t, const char*> rows[] = {
      {NQDataValue::number(-2.9), -2.9, -2, ""},
      {NQDataValue::number(-kInfinity), -kInfinity, kLeast, ""},
      {NQDataValue::boolean(true), 1, 1, ""},
      {NQDataValue::string(" 12.75 px"), 12.75, 12, " 12.75 px"},
      {NQDataValue::string("-1e400"), -kInfinity, kLeast, "-1e400"},
      {NQDataValue::date(1500, 60), 1.5, 0, ""},
      {NQDataValue::int64(kMost), 0x1p63, kMost, ""},
      {NQDataValue::container(NQDataKind::kObjectType, NQDataArrayPtr::make()), 0, 0, ""}};
  for (const auto& [value, number, integer, string] : rows) {
    EXPECT_EQ(std::tuple(value.toDouble(), value.toInt64()), std::tuple(number, integer)) << dumpOf(value);
    EXPECT_EQ(value.toString().view(), string) << dumpOf(value);
  }
  EXPECT_EQ(NQDataValue::number(std::numeric_limits<double>::quiet_NaN()).toInt64(), 0);
}

TEST(NQDataValue, CopiesShareAndClearedOnesLetGo) {
  const auto text = makeText("shared");
  const auto array = NQDataArrayPtr::make();
  const auto memory = NQMemoryPtr::make(2U);
  NQDataValue values[] = {NQDataValue::string(text), containerOf(array), NQDataValue::blob(memory, 0, 2)};
  const NQDataValue copies[] = {values[0], values[1], values[2]};
  EXPECT_EQ(text->refCount() + array->refCount() + memory->refCount(), 9);
  EXPECT_TRUE(NQDataValue::blob(memory, 1, 3).blob().empty()) << "beyond the block";
  for (auto& value : values) value.clear();
  EXPECT_EQ(values[0].kind(), NQDataKind::kUndefinedType);
  EXPECT_EQ(text->refCount() + array->refCount() + memory->refCount(), 6);
}

// Each array holds the next one twice, so that the text doubles with each.
TEST(NQDataDump, IsCutWhereSharedArraysWouldMakeItEndless) {
  auto array = NQDataArrayPtr::make();
  for (int i = 0; i < 64; ++i) {
    const auto outer = NQDataArrayPtr::make();
    for (int twice = 0; twice < 2; ++twice) outer->append({}, containerOf(array));
    array = outer;
  }
  const std::string dump = dumpOf(containerOf(array));
  EXPECT_GE(dump.size(), 1U << 20);
  EXPECT_LE(dump.size(), (1U << 20) + 2048);
}

TEST(NQDataArray, ElementsBearTheirIndexWhateverIsAmongThem) {
  const auto array = NQDataArrayPtr::make();
  for (int i = 0; i < 3; ++i) array->appendElement(NQDataValue::number(i));
  array->append(makeText("n"), NQDataValue::null());
  array->appendElement(NQDataValue::number(4));
  array->set(1, makeText("one"), NQDataValue::number(5));
  EXPECT_EQ(dumpOf(containerOf(array)),
            " kArrayType ( 0= kNumberType 0, one= kNumberType 5, 2= kNumberType 2, n= kNullType, 4= kNumberType 4 )");
  EXPECT_EQ(array->find("2").toDouble(), 2);
  EXPECT_TRUE(array->isNamedByIndex(4) && !array->isNamedByIndex(1) && !array->isNamedByIndex(5));
  EXPECT_TRUE(array->name(5).empty() && array->value(5).kind() == NQDataKind::kUndefinedType) << "beyond the end";
}

TEST(NQDataArray, FindsTheFirstOfANameInAnyCase) {
  const auto array = NQDataArrayPtr::make();
  array->append(makeText("Height"), NQDataValue::number(1));
  array->append(makeText("HEIGHT"), NQDataValue::number(2));
  array->append({}, NQDataValue::number(3));
  EXPECT_EQ(array->find("height").toDouble(), 1);
  EXPECT_EQ(array->indexOf(""), 2U);
  EXPECT_EQ(array->indexOf("heigh"), std::nullopt);
  EXPECT_EQ(array->find("width").kind(), NQDataKind::kUndefinedType);
}

TEST(NQDataArray, ABackReferenceThatIsLeftOverFindsItEmpty) {
  auto outer = NQDataArrayPtr::make();
  outer->append(makeText("a"), NQDataValue::number(1));
  const NQDataValue back = NQDataValue::backReference(NQDataKind::kArrayType, *outer);
  EXPECT_EQ(back.array()->size(), 1U);
  outer.reset();
  const NQDataValue copy = back;
  ASSERT_NE(copy.array(), nullptr);
  EXPECT_EQ(copy.array()->size(), 0U);
  // Held again, it is an array like any other.
  NQDataArrayPtr(copy.array())->append(makeText("b"), NQDataValue());
  EXPECT_EQ(back.array()->size(), 0U);
}

TEST(NQDataArray, EndsAndDumpsALongChainWithoutTheStack) {
  auto array = NQDataArrayPtr::make(1U);
  for (int i = 0; i < 1000000; ++i) {
    auto outer = NQDataArrayPtr::make(1U);
    outer->append({}, containerOf(array));
    array = std::move(outer);
  }
  EXPECT_NE(test::dumpOf(containerOf(array)).find("( ... )"), std::string::npos);
  array.reset();
}

}  // namespace
