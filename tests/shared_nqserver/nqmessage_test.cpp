#include "shared_nqserver/nqmessage.h"

#include "tests/support/testing.h"
#include "util/bytes.h"

namespace qvs {
namespace {

NQMessagePtr messageOf(MessageKind kind, const char* payload) {
  const auto bytes = test::fromHex(payload);
  auto message = NQMessagePtr::make(0U);
  message->setType(kind);
  message->append(bytes);
  return message;
}

TEST(MessageHeader, IsLaidOutAsOnTheWire) {
  auto message = NQMessagePtr::make(0U);
  message->setHeader(Message::Header(test::fromHex("a8000000 00000000 000000")));
  message->setType(MessageKind::kVideo);
  message->setLength(0x010203, false);
  message->setTimestamp(0x12345678);
  message->setStreamId(0xFFABCDEF);
  EXPECT_EQ(test::hex(message->header()), "a9010203 34567812 abcdef");
  EXPECT_EQ(std::tuple(message->length(), message->timestamp(), message->streamId()),
            std::tuple(0x010203U, 0x12345678U, 0xABCDEFU));
}

TEST(MessageHeader, ProtectionBitBecomesAFlag) {
  auto message = NQMessagePtr::make(0U);
  message->setHeader(Message::Header(test::fromHex("28000000 00000000 000000")));
  EXPECT_TRUE(message->kind() == MessageKind::kAudio && !message->protectedFlag());
  message->takeProtectedFlag();
  EXPECT_TRUE(message->protectedFlag() && message->rawType() == 8);
  message->takeProtectedFlag();
  EXPECT_FALSE(message->protectedFlag());
}

TEST(SingleMessage, ClassifiesFramesByTheFirstByte) {
  using Row = std::tuple<MessageKind, const char*, const char*>;
  using enum MessageKind;
  for (const auto& [kind, payload, expected] :
       {Row{kVideo, "17 00", "7, key"}, Row{kVideo, "37", "7, disposable"}, Row{kVideo, "57", "7, no video"},
        Row{kVideo, "", "0"}, Row{kAudio, "af", "a0, no video"}, Row{kAudio, "", "0, no video"},
        Row{kData, "17", "0, no video"}}) {
    const auto message = messageOf(kind, payload);
    std::ostringstream told;
    told << std::hex << int{message->codec()} << (message->isKeyFrame() ? ", key" : "")
         << (message->isNonVideoOrInfoFrame() ? ", no video" : "")
         << (message->isDisposableFrame() ? ", disposable" : "");
    EXPECT_EQ(told.str(), expected) << static_cast<int>(kind) << " " << payload;
  }
}

TEST(SingleMessage, HasAFirstByteIfTheHeaderSaysSo) {
  const auto audio = messageOf(MessageKind::kAudio, "af01");
  audio->setLength(0, false);
  EXPECT_EQ(audio->codec(), 0);
  audio->setLength(2, false);
  audio->data()->setUsedLength(0);
  EXPECT_EQ(audio->codec(), 0xA0);
  audio->setLength(0xFFFFFF, true);
  EXPECT_EQ(audio->payload().size(), audio->data()->capacity());
}

TEST(NQMessage, CapacityIsTheSizeInFoursAndFourMore) {
  for (const auto& [size, capacity] : {std::pair(3U, 4U), {4U, 8U}})
    EXPECT_EQ(NQMessagePtr::make(size)->data()->capacity(), capacity);
  EXPECT_THROW(NQMessagePtr::make(0xFFFFFFFCU), std::out_of_range);
}

TEST(NQMessage, GrowsAndKeepsItsPayloadUpToWhatAHeaderCounts) {
  const auto message = messageOf(MessageKind::kData, "01020304");
  EXPECT_EQ(message->data()->capacity(), 4U);
  EXPECT_TRUE(message->append(util::asBytes("abcd")));
  EXPECT_EQ(test::hex(message->payload()), "01020304 61626364");
  EXPECT_TRUE(message->ensureLength(5));
  EXPECT_EQ(message->data()->capacity(), 12U);
  EXPECT_FALSE(message->ensureLength(0x1000000));
  EXPECT_FALSE(message->append(std::vector<std::byte>(0xFFFFFB)));
  EXPECT_EQ(test::hex(message->payload()), "01020304 61");
  EXPECT_TRUE(message->ensureLength(0xFFFFFF));
  EXPECT_EQ(test::hex(message->payload().first(5)), "01020304 61");
}

}  // namespace
}  // namespace qvs
