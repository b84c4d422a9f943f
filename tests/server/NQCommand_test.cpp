// Commands: their names, their parts, how they are written, and what the message dump and the parse log say of them.

#include "server/NQCommand.h"
#include "server/NQCommandTable.h"
#include "server/messagedump.h"
#include "tests/support/Amf0.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "tests/support/testing.h"

namespace {

using namespace test;
using qvs::MessageKind;

/// A message of a raw type byte and a payload.
qvs::SingleMessagePtr messageOf(int type, const std::string& payload) {
  const auto message = NQMessagePtr::make(0U);
  auto header = fromHex("00000000 00000000 000000");
  header[0] = static_cast<std::byte>(type);
  message->setHeader(qvs::Message::Header(header));
  message->append(fromHex(payload));
  return message;
}

const std::string kConnect = Amf0().string("connect").hex(), kOnMetaData = Amf0().string("onMetaData").hex();
const std::string kOne = Amf0().number(1).hex();
const std::string kObject = "03 0001 61 0101 000009 ";

TEST(NQCommandTable, FindsNamesInAnyCase) {
  using namespace std::string_view_literals;
  const std::pair<std::string_view, std::uint32_t> rows[] = {
      {"", 0},    {"@GETstats", 1}, {"onMCastJoin", 8}, {"PLAY2", 13},   {"seekraw", 18}, {"STOPTRANSMIT", 22},
      {"zzz", 0}, {"pla", 0},       {"play3", 0},       {"play\0"sv, 0}, {"\xff\xfe", 0}};
  for (const auto& [name, id] : rows) EXPECT_EQ(commandIdOf(name), id) << name;
}

TEST(NQCommand, ReadsThePartsOfAPayload) {
  constexpr char kNothing[] = "0: [0](Command data kUndefinedType)( Command args)";
  const std::tuple<MessageKind, std::string, const char*> rows[] = {
      {MessageKind::kCommand, kConnect + kOne + kObject + "0100 05",
       "1: connect[3](Command data kObjectType ( a= kboolType true ))( Command args kboolType false,  kNullType)"},
      {MessageKind::kCommandEx, "00" + kConnect + kOne + kObject,
       "1: connect[3](Command data kObjectType ( a= kboolType true ))( Command args)"},
      {MessageKind::kData, kOnMetaData + kObject,
       "0: onMetaData[0](Command data kUndefinedType)( Command args kObjectType ( a= kboolType true ))"},
      {MessageKind::kDataEx, "00" + kOnMetaData + "11 0402",
       "0: onMetaData[0](Command data kUndefinedType)( Command args kNumberType 2)"},
      {MessageKind::kData, "", kNothing},
      {MessageKind::kContainerEx, kOnMetaData, kNothing},
      {MessageKind::kDataEx, "03" + kOnMetaData, kNothing}};
  for (const auto& [kind, payload, text] : rows)
    EXPECT_EQ(NQCommand(kind, fromHex(payload), true).toText(), text) << payload;
  // A message is read in whatever form.
  EXPECT_EQ(NQCommand(messageOf(15, "03" + kOnMetaData), true).nameText(), "onMetaData");
  EXPECT_EQ(NQCommand(messageOf(9, kOnMetaData), true).nameText(), "");
}

TEST(NQCommand, FaultsThrowOnlyWhereAsked) {
  for (const char* fault : {"0e", "03 0001 61", "02 0001"}) {
    const auto payload = fromHex(kOnMetaData + "05" + fault);
    const NQCommand command(MessageKind::kData, payload, false);
    EXPECT_EQ(command.nameText(), "onMetaData") << fault;
    EXPECT_EQ(command.argumentCount(), 1U) << fault;
    EXPECT_EQ(command.argument(1).kind(), NQDataKind::kUndefinedType) << "past the end";
    EXPECT_NE(command.errorLog().empty(), command.errorFlag()) << "cleared once logged, " << fault;
    EXPECT_THROW(NQCommand(MessageKind::kData, payload, true), NQBreakConnection) << fault;
  }
  EXPECT_THROW(NQCommand(MessageKind::kDataEx, {}, true), NQBreakConnection);
  const NQCommand cut(MessageKind::kCommand, fromHex(kConnect + kOne + "03 0001"), false);
  EXPECT_EQ(cut.commandObject().kind(), NQDataKind::kUndefinedType) << "no part is half read";
}

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

std::string imageOf(const NQMessagePtr& message) {
  return hex(message->header()) + " | " + hex(message->payload());
}

TEST(NQCommandWriting, GoesByteForByteIntoEitherFormat) {
  EXPECT_EQ(imageOf(filled().toCommandMessage()),
            "1400001b 00000000 000000 | 02000450 6c617900 40000000 00000000 05030001 61010100 000905");
  EXPECT_EQ(imageOf(filled().toDataMessage()), "12000011 00000000 000000 | 02000450 6c617903 00016101 01000009 05");
  NQCommand command;
  command.setName("a");
  command.addArgument(arrayOf(NQDataKind::kArrayType));
  command.setEncoding(3);
  EXPECT_EQ(imageOf(command.toDataMessage()), "0f00000c 00000000 000000 | 00020001 61110901 03610301");
  EXPECT_EQ(imageOf(command.toCommandMessage()),
            "11000016 00000000 000000 | 00020001 61000000 00000000 00000511 09010361 0301");
}

TEST(NQCommandWriting, TextOfLongArgumentsIsCut) {
  NQCommand command;
  for (int i = 0; i < 20; ++i) command.addArgument(NQDataValue::string(std::string(600000, 'x')));
  for (const std::string& text : {command.toText(), dumpMessage(command.toDataMessage()) + ")"}) {
    EXPECT_GT(text.size(), NQCommand::kMaxText);
    EXPECT_LT(text.size(), 2 * NQCommand::kMaxText);
    EXPECT_EQ(text.substr(text.size() - 5), " ...)");
  }
}

TEST(MessageDump, ShowsKindAndContent) {
  // A name, an id and one beyond 32 bits.
  const std::string name = Amf0().string("play").hex(), id = Amf0().number(3).hex(),
                    wide = Amf0().number(0x100000002).hex();
  const std::tuple<int, std::string, const char*, const char*> rows[] = {
      {4, "0003 00001388", "kMsgUserCtrl", " kMsgSetBufferLen 000300001388"},
      {8, "af01", "kMsgAudio", " kSndCompressAAC kSnd44K16Stereo"},
      {9, "17", "kMsgVideo", " kVideoCodecH264"},
      {20, name + id + "03 0001 61 0101 0001 62 02 0001 78 000009 02 0001 73 05", "kMsgCmd",
       " trxId=3 kEncodingAMF0 play cmdData=( kObjectType ( a= kboolType true, b= kStringType \"x\" ) )"
       " arg0=(  kStringType \"s\" ) arg1=(  kNullType )"},
      {18, name + "01 01", "kMsgData",
       " trxId=0 kEncodingAMF0 play cmdData=( kUndefinedType ) arg0=(  kboolType true )"},
      {18, "02 0009 706c6179", "kMsgData", "BAD_PARSE"}};
  for (const auto& [type, payload, kind, content] : rows) {
    const std::string front = std::string(" ") + kind + " idByte=" + std::to_string(type) + " streamId=0 time=0";
    EXPECT_EQ(dumpMessage(messageOf(type, payload)), front + content);
  }
}

TEST(NQCommandLog, SaysHowFarTheLastPayloadWasRead) {
  const std::string nothing = "](Command data kUndefinedType)( Command args";
  const std::tuple<int, const char*, const char*, std::string> rows[] = {
      {20, "02 0005 61", "command type (first arg)", "0: [0" + nothing},
      {20, "02 0004 7365656b 00 4000000000000000 0e", "command data", "2: seek[17" + nothing},
      {18, "02 0001 61 05 0101 02 0009", "argument number2", "0: a[0" + nothing + " kNullType,  kboolType true"},
      {15, "", "command type (first arg)", "0: [0" + nothing}};
  // A folder with the reader in it (see commandReader.cpp), whose log goes into `logs` beside it.
  const TempDirectory folder;
  std::filesystem::copy_file(K2R_COMMAND_READER, folder.file("reader"));
  const auto read = [&](int kind, const std::string& payload) {
    const std::string command = folder.file("reader") + " " + std::to_string(kind) + " '" + payload + "'";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
  };
  read(20, "02");
  EXPECT_FALSE(std::filesystem::exists(folder.file("logs"))) << "it needs its folder";
  std::filesystem::create_directory(folder.file("logs"));
  for (const auto& [kind, payload, unread, command] : rows) {
    read(kind, payload);
    const std::string log = readWholeFile(folder.file("logs/cmdParsingLog.log"));
    EXPECT_EQ(log.substr(std::min(log.find("while parsing"), log.size())),
              "while parsing buffer with message id " + std::to_string(kind) + ", failed to read the " + unread +
                  "\nCommand parsed as \n" + command + ")\n");
  }
}

}  // namespace
