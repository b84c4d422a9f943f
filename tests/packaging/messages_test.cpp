// Messages, and the arenas that their memory comes from.

#include "packaging/NQMessage.h"
#include "packaging/PooledMemoryArena.h"
#include "packaging/RefCountedMemoryArena.h"
#include "packaging/RefMessage.h"
#include "tests/support/testing.h"
#include "util/QVSException.h"

namespace {

using namespace ruvo::k2rpkgutil;
using namespace qvs::util;
using test::fromHex;
using test::hex;

NQMessage store(std::uint8_t type, const std::vector<std::byte>& data, std::uint32_t time = 0,
                std::uint32_t timestamp = 0) {
  RefCountedMemoryArena arena;
  return NQMessage(arena, time, type, timestamp, data.data(), static_cast<std::uint32_t>(data.size()));
}

TEST(NQMessage, IsATagByteForByte) {
  const std::tuple<std::uint8_t, std::uint32_t, const char*, const char*> rows[] = {
      {9, 0x01020304, "17 01 00002a aabb", "09000007 02030401 00000017 0100002a aabb0000 0012"},
      {0x28, 0xFF000000, "af 01 cc", "28000003 000000ff 000000af 01cc0000 000e"},
      {15, 0x00FFFFFF, "", "0f000000 ffffff00 00000000 00000b"}};
  for (const auto& [type, timestamp, data, tag] : rows) {
    const NQMessage message = store(type, fromHex(data), 77, timestamp);
    EXPECT_EQ(hex({message.header(), message.totalSize()}), tag);
    EXPECT_EQ(message.time(), 77U);
    EXPECT_EQ(message.timestamp(), timestamp);
    EXPECT_EQ(message.totalSize(), message.dataSize() + 15);
  }
}

/// What a message says of its codec: the format code with the bytes of the codec header, and "packet" with the packet
/// type.
std::string describe(const Message& message, std::uint32_t codecHeader) {
  std::string text = message.isVideo() ? "video" : "audio";
  if (message.formatCode() != 0) text += " " + toText(message.formatCode());
  if (codecHeader != 0) text += "+" + std::to_string(codecHeader);
  if (message.packetType()) text += " packet" + std::to_string(*message.packetType());
  return text;
}

void expectSays(std::uint8_t type, const std::vector<std::byte>& data, const std::string& says) {
  const RefMessage seen(type, data.data(), static_cast<std::uint32_t>(data.size()), 0);
  const NQMessage stored = store(type, data);
  EXPECT_EQ(describe(seen, seen.sampleOffset()), says) << int{type} << " " << hex(data);
  EXPECT_EQ(describe(stored, stored.sampleOffset() - 11), says) << int{type} << " " << hex(data);
  EXPECT_EQ(seen.sampleOffset() + seen.sampleSize(), data.size());
  EXPECT_EQ(stored.sampleOffset() + stored.sampleSize(), data.size() + 11);
}

TEST(Messages, KnowTheirCodecsByANibble) {
  const std::string video[16] = {"", "", " H263+1", "", " VP6F+2", " VP6A+2", "", " H264+5 packet3"};
  const std::string audio[16] = {"",        "", " .mp3+1", "", " nmos+1",         " nmos+1",
                                 " nmos+1", "", "",        "", " mp4a+2 packet3", " spex+1"};
  for (unsigned nibble = 0; nibble < 16; ++nibble) {
    const auto low = static_cast<std::byte>(0x20 | nibble);
    const auto high = static_cast<std::byte>(nibble << 4);
    expectSays(9, {low, std::byte{3}, {}, {}, {}, {}}, "video" + video[nibble]);
    expectSays(8, {high, std::byte{3}, {}}, "audio" + audio[nibble]);
  }
}

TEST(NQMessage, RefusesWhatTheSizeFieldCannotHold) {
  EXPECT_EQ(store(18, std::vector<std::byte>(kMaxTagDataSize)).dataSize(), kMaxTagDataSize);
  EXPECT_THAT(
      [] { store(18, std::vector<std::byte>(kMaxTagDataSize + 1)); },
      testing::ThrowsMessage<qvs::QVSException>("A message of 16777216 bytes exceeds the 24-bit size of a tag."));
}

TEST(TagCodec, ReadsTheAudioByte) {
  const std::tuple<FourCC, std::uint8_t, float, std::uint32_t, std::uint32_t> rows[] = {
      {".mp3"_4cc, 0x20, 5000, 1, 1},  {".mp3"_4cc, 0x25, 11000, 1, 2}, {".mp3"_4cc, 0x2A, 22000, 2, 1},
      {".mp3"_4cc, 0x2F, 44000, 2, 2}, {"spex"_4cc, 0xB0, 16000, 1, 1}, {"mp4a"_4cc, 0xAF, 0, 0, 2}};
  for (const auto& [code, byte, rate, bytesPerSample, channels] : rows) {
    EXPECT_EQ(audioSampleRate(code, byte), rate) << toText(code) << " " << int{byte};
    EXPECT_EQ(audioBytesPerSample(code, byte), bytesPerSample) << toText(code) << " " << int{byte};
    EXPECT_EQ(audioChannels(byte), channels) << int{byte};
  }
}

MemoryHolder take(IMemoryArena& arena, std::uint64_t size) {
  MemoryHolder memory;
  arena.allocate(memory, size);
  return memory;
}

TEST(PooledMemoryArena, ReusesABlockAtTheSizeItGrewTo) {
  PooledMemoryArena arena(1000);
  const MemoryHolder grown = take(arena, 200000);
  EXPECT_EQ(grown->getSize(), 200704U);
  EXPECT_NE(take(arena, 1)->getData(), grown->getData()) << "no block is given out twice before a reset";
  arena.reset();
  take(arena, 1);
  EXPECT_EQ(take(arena, 10)->getSize(), 200704U);
}

}  // namespace
