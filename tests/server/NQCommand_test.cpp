#include "server/NQCommand.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "server/NQCommandTable.h"
#include "tests/server/messages.h"
#include "tests/support/hex.h"

namespace {

using qvs::MessageKind;
using test::fromHex;
using test::hex;
using test::messageOf;

const std::string kConnect = "02 0007 636f6e6e656374 ";
const std::string kOnMetaData = "02 000a 6f6e4d65746144617461 ";
const std::string kOne = "00 3ff0000000000000 ";
const std::string kObject = "03 0001 61 0101 000009 ";

std::string textOf(MessageKind kind, const std::string& payload) {
  return NQCommand(kind, fromHex(payload), true).toText();
}

TEST(NQCommandTable, FindsEachNameInAnyCase) {
  const struct {
    const char* name;
    std::uint32_t id;
  } rows[] = {{"", 0},
              {"@getStats", 1},
              {"@GETSTATS", 1},
              {"closeStream", 2},
              {"CloseSTREAM", 2},
              {"connect", 3},
              {"createStream", 4},
              {"deleteStream", 5},
              {"initStream", 6},
              {"loadSegment", 7},
              {"onMCastJoin", 8},
              {"onmcastjoin", 8},
              {"onStatus", 9},
              {"pause", 10},
              {"pauseraw", 11},
              {"play", 12},
              {"PLAY2", 13},
              {"publish", 14},
              {"receiveAudio", 15},
              {"receiveVideo", 16},
              {"seek", 17},
              {"SeekRaw", 18},
              {"setFarAddress", 19},
              {"setPeerInfo", 20},
              {"startTransmit", 21},
              {"stopTransmit", 22}};
  for (const auto& row : rows) EXPECT_EQ(commandIdOf(row.name), row.id) << row.name;
}

TEST(NQCommandTable, AnswersZeroForOtherNames) {
  using namespace std::string_view_literals;
  for (const auto name : {"zzz"sv, "A"sv, "pla"sv, "play3"sv, "play\0"sv, "\xff\xfe"sv, " connect"sv})
    EXPECT_EQ(commandIdOf(name), 0U) << name;
}

TEST(NQCommand, ReadsThePartsOfAPayload) {
  const struct {
    MessageKind kind;
    std::string payload;
    const char* text;
  } rows[] = {
      {MessageKind::kCommand, kConnect + kOne + kObject + "0100 05",
       "1: connect[3](Command data kObjectType ( a= kboolType true ))( Command args kboolType false,  kNullType)"},
      {MessageKind::kCommandEx, "00" + kConnect + kOne + kObject,
       "1: connect[3](Command data kObjectType ( a= kboolType true ))( Command args)"},
      {MessageKind::kCommand, kConnect + kOne, "1: connect[3](Command data kUndefinedType)( Command args)"},
      {MessageKind::kData, kOnMetaData + kObject,
       "0: onMetaData[0](Command data kUndefinedType)( Command args kObjectType ( a= kboolType true ))"},
      {MessageKind::kDataEx, "00" + kOnMetaData + "11 0402",
       "0: onMetaData[0](Command data kUndefinedType)( Command args kNumberType 2)"},
      {MessageKind::kData, "", "0: [0](Command data kUndefinedType)( Command args)"},
      {MessageKind::kData, "05 05", "0: [0](Command data kUndefinedType)( Command args kNullType)"},
      // A kind that is neither, and Ex kinds in a form that nobody knows.
      {MessageKind::kVideo, kOnMetaData, "0: [0](Command data kUndefinedType)( Command args)"},
      {MessageKind::kContainerEx, kOnMetaData, "0: [0](Command data kUndefinedType)( Command args)"},
      {MessageKind::kDataEx, "03" + kOnMetaData, "0: [0](Command data kUndefinedType)( Command args)"},
      {MessageKind::kCommandEx, "01" + kConnect, "0: [0](Command data kUndefinedType)( Command args)"},
  };
  for (const auto& row : rows) EXPECT_EQ(textOf(row.kind, row.payload), row.text) << row.payload;
}

TEST(NQCommand, ReadsMessages) {
  EXPECT_EQ(NQCommand(messageOf(18, kOnMetaData), true).nameText(), "onMetaData");
  EXPECT_EQ(NQCommand(messageOf(15, "00" + kOnMetaData), true).nameText(), "onMetaData");
  EXPECT_EQ(NQCommand(messageOf(15, "03" + kOnMetaData), true).nameText(), "onMetaData");
  EXPECT_EQ(NQCommand(messageOf(17, ""), true).nameText(), "");
  EXPECT_EQ(NQCommand(messageOf(9, kOnMetaData), true).nameText(), "");
}

TEST(NQCommand, KeepsTheTextOfANameThatIsNotKnown) {
  const NQCommand command(MessageKind::kCommand, fromHex("02 0003 466f6f"), true);
  EXPECT_EQ(command.nameText(), "Foo");
  EXPECT_EQ(command.commandId(), 0U);
  EXPECT_EQ(NQCommand(MessageKind::kCommand, fromHex("02 0004 534545 4b"), true).commandId(), 17U);
}

TEST(NQCommand, LaterPartsReferToEarlierOnes) {
  const NQCommand command(MessageKind::kCommand, fromHex(kConnect + kOne + kObject + "07 0000"), true);
  EXPECT_EQ(command.argument(0).array(), command.commandObject().array());
}

TEST(NQCommand, StandsAsFarAsItWasRead) {
  const auto payload = fromHex(kConnect + kOne + kObject + "0100 02 0001 61");
  const auto nameEnd = fromHex(kConnect).size();
  const auto idEnd = nameEnd + fromHex(kOne).size();
  const auto objectEnd = idEnd + fromHex(kObject).size();
  for (std::size_t size = 0; size <= payload.size(); ++size) {
    SCOPED_TRACE(size);
    const auto cut = std::span(payload).first(size);
    const NQCommand command(MessageKind::kCommand, cut, false);
    EXPECT_EQ(command.commandId(), size < nameEnd ? 0U : 3U);
    EXPECT_EQ(command.transactionId().kind(), size < idEnd ? NQDataKind::kUndefinedType : NQDataKind::kNumberType);
    EXPECT_EQ(command.commandObject().kind(), size < objectEnd ? NQDataKind::kUndefinedType : NQDataKind::kObjectType);
    EXPECT_EQ(command.argumentCount(), size < objectEnd + 2 ? 0U : size < payload.size() ? 1U : 2U);
    EXPECT_EQ(command.argument(2).kind(), NQDataKind::kUndefinedType);
    if (command.errorFlag())
      EXPECT_THROW(NQCommand(MessageKind::kCommand, cut, true), NQBreakConnection);
    else
      EXPECT_NO_THROW(NQCommand(MessageKind::kCommand, cut, true));
  }
}

TEST(NQCommand, UnknownMarkerThrowsOnlyWhereAsked) {
  const auto payload = fromHex(kOnMetaData + "05 0e");
  const NQCommand command(MessageKind::kData, payload, false);
  EXPECT_EQ(command.nameText(), "onMetaData");
  EXPECT_EQ(command.argumentCount(), 1U);
  EXPECT_TRUE(command.errorLog().empty());
  EXPECT_THROW(NQCommand(MessageKind::kData, payload, true), NQBreakConnection);
  EXPECT_THROW(NQCommand(MessageKind::kDataEx, {}, true), NQBreakConnection);
}

}  // namespace
