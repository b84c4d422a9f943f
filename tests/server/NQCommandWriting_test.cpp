#include <gtest/gtest.h>

#include <string>

#include "server/NQCommand.h"
#include "tests/support/hex.h"

namespace {

using test::hex;

NQCommand filled() {
  NQCommand command;
  command.setName("Play");
  command.setTransactionId(2);
  command.addProperty("a", NQDataValue::boolean(true));
  command.addArgument(NQDataValue::null());
  return command;
}

/// As an array it is written in AMF3 where the encoding says so.
NQDataValue arrayOf(NQDataKind kind) {
  const auto array = NQDataArrayPtr::make();
  array->append(makeText("a"), NQDataValue::boolean(true));
  return NQDataValue::container(kind, array);
}

TEST(NQCommandWriting, CommandsByteForByte) {
  const auto message = filled().toCommandMessage();
  EXPECT_EQ(hex(message->header()), "1400001b 00000000 000000");
  EXPECT_EQ(hex(message->payload()), "02000450 6c617900 40000000 00000000 05030001 61010100 000905");
}

TEST(NQCommandWriting, DataByteForByte) {
  const auto message = filled().toDataMessage();
  EXPECT_EQ(hex(message->header()), "12000011 00000000 000000");
  EXPECT_EQ(hex(message->payload()), "02000450 6c617903 00016101 01000009 05");
}

TEST(NQCommandWriting, ExKindsByteForByte) {
  NQCommand command;
  command.setName("a");
  command.addArgument(arrayOf(NQDataKind::kArrayType));
  command.setEncoding(3);
  const auto data = command.toDataMessage();
  EXPECT_EQ(hex(data->header()), "0f00000c 00000000 000000");
  EXPECT_EQ(hex(data->payload()), "00020001 61110901 03610301");
  const auto message = command.toCommandMessage();
  EXPECT_EQ(message->rawType(), 17);
  EXPECT_EQ(hex(message->payload()), "00020001 61000000 00000000 00000511 09010361 0301");
}

TEST(NQCommandWriting, EachMessageRefersToItsOwnValuesOnly) {
  NQCommand command;
  command.setName("a");
  const auto object = arrayOf(NQDataKind::kObjectType);
  command.addArgument(object);
  command.addArgument(object);
  const std::string image = "02000161 03000161 01010000 09070000";
  EXPECT_EQ(hex(command.toDataMessage()->payload()), image);
  EXPECT_EQ(hex(command.toDataMessage()->payload()), image);
}

TEST(NQCommandWriting, WhatWasReadIsWrittenAgain) {
  const auto message = filled().toCommandMessage();
  const NQCommand read(message, true);
  EXPECT_EQ(hex(read.toCommandMessage()->payload()), hex(message->payload()));
}

TEST(NQCommandWriting, CopiesHaveAllPartsAndGrowAlone) {
  const NQCommand command = filled();
  NQCommand copy(command);
  EXPECT_TRUE(copy.isWriting());
  EXPECT_EQ(copy.toText(), command.toText());
  EXPECT_EQ(copy.commandId(), 12U);
  copy.addArgument(NQDataValue::number(1));
  EXPECT_EQ(command.argumentCount(), 2U);
}

TEST(NQCommandWriting, PropertiesNeedAnObject) {
  NQCommand command;
  EXPECT_TRUE(command.addProperty("a", NQDataValue::number(1)));
  EXPECT_TRUE(command.addProperty("b", NQDataValue::number(2)));
  EXPECT_EQ(command.argumentCount(), 1U);
  EXPECT_EQ(command.argument(0).array()->find("b").toDouble(), 2);
  NQCommand other;
  other.addArgument(NQDataValue::null());
  EXPECT_FALSE(other.addProperty("a", NQDataValue::number(1)));
  EXPECT_EQ(other.argumentCount(), 1U);
}

TEST(NQCommandWriting, RefusesMoreThanAMessageHolds) {
  NQCommand command;
  command.setName("a");
  command.addArgument(NQDataValue::string(std::string(qvs::util::kMaxTagDataSize - 9, 'x')));
  EXPECT_EQ(command.toDataMessage()->length(), qvs::util::kMaxTagDataSize);
  command.addArgument(NQDataValue::null());
  EXPECT_THROW(command.toDataMessage(), NQException);
}

TEST(NQCommandWriting, TextOfManyValuesIsCut) {
  // Each array has the one before it twice: 2^40 values in a few bytes.
  NQDataValue value = NQDataValue::null();
  for (int i = 0; i < 40; ++i) {
    const auto array = NQDataArrayPtr::make();
    array->append(makeText("a"), value);
    array->append(makeText("b"), value);
    value = NQDataValue::container(NQDataKind::kObjectType, array);
  }
  NQCommand command;
  for (int i = 0; i < 100; ++i) command.addArgument(value);
  const std::string text = command.toText();
  EXPECT_GT(text.size(), NQCommand::kMaxText);
  EXPECT_LT(text.size(), 3 * NQCommand::kMaxText);
  EXPECT_EQ(text.substr(text.size() - 6), ", ...)");
}

}  // namespace
