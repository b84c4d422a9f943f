#include "server/messagedump.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/server/messages.h"

namespace {

using test::messageOf;

TEST(MessageDump, TellsKindAndContent) {
  const struct {
    int type;
    const char* payload;
    const char* text;
  } rows[] = {
      {4, "0003 00001388", " kMsgUserCtrl idByte=4 streamId=0 time=0 kMsgSetBufferLen 000300001388"},
      {7, "00ff", " kMsgVirtualUserControl idByte=7 streamId=0 time=0 ctrlMsgType=255 00FF"},
      {4, "05", " kMsgUserCtrl idByte=4 streamId=0 time=0 kMsgStreamBegin 05"},
      {4, "0017", " kMsgUserCtrl idByte=4 streamId=0 time=0 kMsgDisconnect 0017"},
      {4, "0021", " kMsgUserCtrl idByte=4 streamId=0 time=0 kMsgDRMNotify 0021"},
      {4, "0029", " kMsgUserCtrl idByte=4 streamId=0 time=0 kMsgRtmfpSetKeepalives 0029"},
      {4, "002a", " kMsgUserCtrl idByte=4 streamId=0 time=0 ctrlMsgType=42 002A"},
      {5, "01", " id=5 idByte=5 streamId=0 time=0"},
      {8, "af01", " kMsgAudio idByte=8 streamId=0 time=0 kSndCompressAAC kSnd44K16Stereo"},
      {8, "b1", " kMsgAudio idByte=8 streamId=0 time=0 kSndCompressSpeex kSnd5K8Stereo"},
      {8, "c0", " kMsgAudio idByte=8 streamId=0 time=0 codec=192 kSnd5K8Mono"},
      {8, "", " kMsgAudio idByte=8 streamId=0 time=0 kSndCompressNone kSnd5K8Mono"},
      {0xA8, "26", " kMsgAudio idByte=-88 streamId=0 time=0 kSndCompressMP3 kSnd11K16Mono"},
      {9, "17", " kMsgVideo idByte=9 streamId=0 time=0 kVideoCodecH264"},
      {9, "18", " kMsgVideo idByte=9 streamId=0 time=0 codec=8"},
      {15, "00", " kMsgDataEx  idByte=15 streamId=0 time=0"},
      {19, "00", " kMsgContainer  idByte=19 streamId=0 time=0"},
      {22, "00", " kMsgAggregate idByte=22 streamId=0 time=0"},
      {23, "00", " kMsgPresent idByte=23 streamId=0 time=0"},
      {24, "00", " id=24 idByte=24 streamId=0 time=0"},
      {72, "af", " id=72 idByte=72 streamId=0 time=0"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(dumpMessage(messageOf(static_cast<std::uint8_t>(row.type), row.payload)), row.text);
}

TEST(MessageDump, FieldsAreSigned) {
  const auto message = messageOf(9, "27");
  message->setTimestamp(0xFFFFFFFF);
  message->setStreamId(0xFFFFFF);
  EXPECT_EQ(dumpMessage(message), " kMsgVideo idByte=9 streamId=16777215 time=-1 kVideoCodecH264");
}

TEST(MessageDump, TakesCommandsApart) {
  const std::string name = "02 0004 706c6179 ";
  const std::string id = "00 4008000000000000 ";
  EXPECT_EQ(dumpMessage(messageOf(20, name + id + "03 0001 61 0101 0001 62 02 0001 78 000009 02 0001 73 05")),
            " kMsgCmd idByte=20 streamId=0 time=0 trxId=3 kEncodingAMF0 play"
            " cmdData=( kObjectType ( a= kboolType true, b= kStringType \"x\" ) )"
            " arg0=(  kStringType \"s\" ) arg1=(  kNullType )");
  EXPECT_EQ(dumpMessage(messageOf(17, "00" + name + id)),
            " kMsgCmdEx idByte=17 streamId=0 time=0 trxId=3 kEncodingAMF0 play cmdData=( kUndefinedType )");
  EXPECT_EQ(dumpMessage(messageOf(18, name + "01 01")),
            " kMsgData idByte=18 streamId=0 time=0 trxId=0 kEncodingAMF0 play cmdData=( kUndefinedType )"
            " arg0=(  kboolType true )");
}

TEST(MessageDump, EndsWhereTheContentCannotBeRead) {
  for (const char* payload : {"02 0009 706c6179", "0e", "02 0001 61 03 0001 61"})
    EXPECT_EQ(dumpMessage(messageOf(18, payload)), " kMsgData idByte=18 streamId=0 time=0BAD_PARSE");
}

}  // namespace
