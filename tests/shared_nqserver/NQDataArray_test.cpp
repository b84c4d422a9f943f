#include "shared_nqserver/NQDataArray.h"

#include <gtest/gtest.h>

#include "tests/support/ScriptCodec.h"

namespace {

NQDataValue containerOf(const NQDataArrayPtr& array) {
  return NQDataValue::container(NQDataKind::kArrayType, array);
}

TEST(NQDataArray, SettingBehindTheEndFillsTheGap) {
  const auto array = NQDataArrayPtr::make(5U);
  EXPECT_EQ(array->size(), 0U) << "room is no entry";
  array->set(2, makeText("c"), NQDataValue::number(3));
  EXPECT_EQ(array->size(), 3U);
  EXPECT_EQ(array->value(1).kind(), NQDataKind::kUndefinedType);
  array->set(2, makeText("d"), NQDataValue::null());
  EXPECT_EQ(array->name(2).view(), "d");
  EXPECT_EQ(array->value(2).kind(), NQDataKind::kNullType);
  EXPECT_EQ(array->value(3).kind(), NQDataKind::kUndefinedType);
  EXPECT_TRUE(array->name(3).empty());
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
  NQDataArrayPtr again = copy.array();
  again->append(makeText("b"), NQDataValue());
  again.reset();
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
