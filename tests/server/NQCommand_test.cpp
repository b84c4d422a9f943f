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
      {"", 0},        {"@GETstats", 1}, {"onMCastJoin", 8}, {"PLAY2", 13}, {"seekraw", 18}, {"STOPTRANSMIT", 22},
      {"zzz", 0},     {"A", 0},         {"pla", 0},         {"play3", 0},  {"play\0"sv, 0}, {"\xff\xfe", 0},
      {" connect", 0}};
  for (const auto& [name, id] : rows) EXPECT_EQ(commandIdOf(name), id) << name;
}

TEST(NQCommand, ReadsThePartsOfAPayload) {
  constexpr char kNothing[] = "0: [0](Command data kUndefinedType)( Command args)";
  const std::tuple<MessageKind, std::string, const char*> rows[] = {
      {MessageKind::kCommand, kConnect + kOne + kObject + "0100 05",
       "1: connect[3](Command data kObjectType ( a= kboolType true ))( Command args kboolType false,  kNullType)"},
      {MessageKind::kCommandEx, "00" + kConnect + kOne + kObject,
       "1: connect[3](Command data kObjectType ( a= kboolType true ))( Command args)"},
      {MessageKind::kCommand, kConnect + kOne, "1: connect[3](Command data kUndefinedType)( Command args)"},
      {MessageKind::kData, kOnMetaData + kObject,
       "0: onMetaData[0](Command data kUndefinedType)( Command args kObjectType ( a= kboolType true ))"},
      {MessageKind::kDataEx, "00" + kOnMetaData + "11 0402",
       "0: onMetaData[0](Command data kUndefinedType)( Command args kNumberType 2)"},
      {MessageKind::kData, "", kNothing},
      {MessageKind::kData, "05 05", "0: [0](Command data kUndefinedType)( Command args kNullType)"},
      // A kind that is neither, and Ex kinds in a form that nobody knows.
      {MessageKind::kVideo, kOnMetaData, kNothing},
      {MessageKind::kContainerEx, kOnMetaData, kNothing},
      {MessageKind::kDataEx, "03" + kOnMetaData, kNothing},
      {MessageKind::kCommandEx, "01" + kConnect, kNothing}};
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

TEST(NQCommandWriting, EachMessageRefersToItsOwnValuesOnly) {
  NQCommand command;
  command.setName("a");
  const auto object = arrayOf(NQDataKind::kObjectType);
  for (int i = 0; i < 2; ++i) command.addArgument(object);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(hex(command.toDataMessage()->payload()), "02000161 03000161 01010000 09070000");
}

TEST(NQCommandWriting, CopiesHaveAllPartsAndGrowAloneAndPropertiesNeedAnObject) {
  NQCommand command = filled(), copy(command);
  EXPECT_EQ(copy.toText(), command.toText());
  copy.addArgument(NQDataValue::number(1));
  EXPECT_EQ(command.argumentCount(), 2U);
  NQCommand other, withoutObject;
  withoutObject.addArgument(NQDataValue::null());
  EXPECT_FALSE(withoutObject.addProperty("a", NQDataValue::number(1)));
  EXPECT_EQ(withoutObject.argumentCount(), 1U);
  for (const char* name : {"a", "b"}) EXPECT_TRUE(other.addProperty(name, NQDataValue::number(1)));
  EXPECT_EQ(other.toText(),
            "0: [0](Command data kNullType)( Command args kObjectType ( a= kNumberType 1, b= kNumberType 1 ))");
}

TEST(NQCommandWriting, RefusesMoreThanAMessageHolds) {
  NQCommand command;
  command.setName("a");
  command.addArgument(NQDataValue::string(std::string(qvs::util::kMaxTagDataSize - 9, 'x')));
  EXPECT_EQ(command.toDataMessage()->length(), qvs::util::kMaxTagDataSize);
  command.addArgument(NQDataValue::null());
  EXPECT_THROW(command.toDataMessage(), NQException);
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
      {7, "00ff", "kMsgVirtualUserControl", " ctrlMsgType=255 00FF"},
      {4, "05", "kMsgUserCtrl", " kMsgStreamBegin 05"},
      {4, "0029", "kMsgUserCtrl", " kMsgRtmfpSetKeepalives 0029"},
      {4, "002a", "kMsgUserCtrl", " ctrlMsgType=42 002A"},
      {5, "01", "id=5", ""},
      {8, "af01", "kMsgAudio", " kSndCompressAAC kSnd44K16Stereo"},
      {8, "b1", "kMsgAudio", " kSndCompressSpeex kSnd5K8Stereo"},
      {8, "c0", "kMsgAudio", " codec=192 kSnd5K8Mono"},
      {8, "", "kMsgAudio", " kSndCompressNone kSnd5K8Mono"},
      {-88, "26", "kMsgAudio", " kSndCompressMP3 kSnd11K16Mono"},
      {9, "17", "kMsgVideo", " kVideoCodecH264"},
      {9, "18", "kMsgVideo", " codec=8"},
      {15, "00", "kMsgDataEx ", ""},
      {19, "00", "kMsgContainer ", ""},
      {23, "00", "kMsgPresent", ""},
      {24, "00", "id=24", ""},
      {72, "af", "id=72", ""},
      {20, name + id + "03 0001 61 0101 0001 62 02 0001 78 000009 02 0001 73 05", "kMsgCmd",
       " trxId=3 kEncodingAMF0 play cmdData=( kObjectType ( a= kboolType true, b= kStringType \"x\" ) )"
       " arg0=(  kStringType \"s\" ) arg1=(  kNullType )"},
      {17, "00" + name + id, "kMsgCmdEx", " trxId=3 kEncodingAMF0 play cmdData=( kUndefinedType )"},
      {20, name + wide, "kMsgCmd", " trxId=2 kEncodingAMF0 play cmdData=( kUndefinedType )"},
      {18, name + "01 01", "kMsgData",
       " trxId=0 kEncodingAMF0 play cmdData=( kUndefinedType ) arg0=(  kboolType true )"},
      {18, "02 0009 706c6179", "kMsgData", "BAD_PARSE"},
      {18, "0e", "kMsgData", "BAD_PARSE"},
      {18, "02 0001 61 03 0001 61", "kMsgData", "BAD_PARSE"}};
  for (const auto& [type, payload, kind, content] : rows) {
    const std::string front = std::string(" ") + kind + " idByte=" + std::to_string(type) + " streamId=0 time=0";
    EXPECT_EQ(dumpMessage(messageOf(type, payload)), front + content);
  }
}

TEST(MessageDump, TimesAreSigned) {
  const auto message = messageOf(9, "27");
  message->setTimestamp(0xFFFFFFFF);
  message->setStreamId(0xFFFFFF);
  EXPECT_EQ(dumpMessage(message), " kMsgVideo idByte=9 streamId=16777215 time=-1 kVideoCodecH264");
}

TEST(NQCommandLog, SaysHowFarTheLastPayloadWasRead) {
  const std::string nothing = "](Command data kUndefinedType)( Command args";
  const std::tuple<int, const char*, const char*, std::string> rows[] = {
      {20, "02 0005 61", "command type (first arg)", "0: [0" + nothing},
      {20, "02 0004 73656564 00 01", "transaction id", "0: seed[0" + nothing},
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
