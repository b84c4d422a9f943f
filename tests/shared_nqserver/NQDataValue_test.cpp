#include "shared_nqserver/NQDataValue.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "shared_nqserver/NQDataArray.h"
#include "tests/support/ScriptCodec.h"

namespace {

using test::dumpOf;

TEST(NQDataValue, ConversionsAnswerForAnyKind) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
  constexpr auto kLeast = std::numeric_limits<std::int64_t>::min();
  const struct {
    NQDataValue value;
    double number;
    std::int64_t integer;
    const char* string;
  } rows[] = {
      {NQDataValue(), 0, 0, ""},
      {NQDataValue::null(), 0, 0, ""},
      {NQDataValue::number(-2.9), -2.9, -2, ""},
      {NQDataValue::number(1e300), 1e300, kMost, ""},
      {NQDataValue::number(-kInfinity), -kInfinity, kLeast, ""},
      {NQDataValue::boolean(true), 1, 1, ""},
      {NQDataValue::string(" 12.75 px"), 12.75, 12, " 12.75 px"},
      {NQDataValue::string("-1e400"), -kInfinity, kLeast, "-1e400"},
      {NQDataValue::string("x"), 0, 0, "x"},
      {NQDataValue::xml(makeText("7")), 0, 0, "7"},
      {NQDataValue::date(1500, 60), 1.5, 0, ""},
      {NQDataValue::int64(kMost), 0x1p63, kMost, ""},
      {NQDataValue::container(NQDataKind::kObjectType, NQDataArrayPtr::make()), 0, 0, ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.value.toDouble(), row.number) << dumpOf(row.value);
    EXPECT_EQ(row.value.toInt64(), row.integer) << dumpOf(row.value);
    EXPECT_STREQ(row.value.toString().c_str(), row.string) << dumpOf(row.value);
  }
  EXPECT_EQ(NQDataValue::number(std::numeric_limits<double>::quiet_NaN()).toInt64(), 0);
}

TEST(NQDataValue, CopiesShareAndClearedOnesLetGo) {
  const auto text = makeText("shared");
  const auto array = NQDataArrayPtr::make();
  const auto memory = NQMemoryPtr::make(2U);
  NQDataValue values[] = {NQDataValue::string(text), NQDataValue::container(NQDataKind::kArrayType, array),
                          NQDataValue::blob(memory, 0, 2)};
  const NQDataValue copies[] = {values[0], values[1], values[2]};
  EXPECT_EQ(text->refCount() + array->refCount() + memory->refCount(), 9);
  for (auto& value : values) value.clear();
  EXPECT_EQ(values[0].kind(), NQDataKind::kUndefinedType);
  EXPECT_EQ(text->refCount() + array->refCount() + memory->refCount(), 6);
}

TEST(NQDataValue, AnswersNothingOfAnotherKind) {
  const NQDataValue number = NQDataValue::number(1);
  EXPECT_EQ(number.array(), nullptr);
  EXPECT_FALSE(number.text());
  EXPECT_FALSE(number.isTrue());
  EXPECT_EQ(number.milliseconds(), 0);
  EXPECT_EQ(number.zone(), 0);
  EXPECT_TRUE(number.blob().empty());
  EXPECT_TRUE(NQDataValue::blob(NQMemoryPtr::make(2U), 1, 3).blob().empty()) << "beyond the block";
}

TEST(NQDataDump, TellsWhatIsNeverRead) {
  const auto array = NQDataArrayPtr::make();
  array->append(makeText("a"), NQDataValue::number(-1.9));
  array->append({}, NQDataValue::string("t\"x"));
  EXPECT_EQ(dumpOf(NQDataValue::container(NQDataKind::kStrictArrayType, array)),
            " kStrictArrayTyp ( a= kNumberType -1, = kStringType \"t\"x\" )");
  EXPECT_EQ(dumpOf(NQDataValue::int64(-9007199254740993)), " kInt64Type -9007199254740993");
  EXPECT_EQ(dumpOf(NQDataValue::bare(NQDataKind{14})), " dataType=14");
  EXPECT_EQ(dumpOf(NQDataValue::bare(NQDataKind::kUnsupportedType)), " kUnsupportedTyp");
}

// Each array holds the next one twice, so that the text doubles with each.
TEST(NQDataDump, IsCutWhereSharedArraysWouldMakeItEndless) {
  auto array = NQDataArrayPtr::make();
  for (int i = 0; i < 64; ++i) {
    const auto outer = NQDataArrayPtr::make();
    for (const char* name : {"a", "b"})
      outer->append(makeText(name), NQDataValue::container(NQDataKind::kArrayType, array));
    array = outer;
  }
  const std::string dump = dumpOf(NQDataValue::container(NQDataKind::kArrayType, array));
  EXPECT_GE(dump.size(), 1U << 20);
  EXPECT_LE(dump.size(), (1U << 20) + 2048);
}

}  // namespace
