#include <gtest/gtest.h>

#include <string_view>
#include <utility>
#include <vector>

#include "packaging/NQMessage.h"
#include "packaging/RefCountedMemoryArena.h"
#include "packaging/RefMessage.h"
#include "tests/support/hex.h"
#include "util/QVSException.h"

namespace {

using namespace ruvo::k2rpkgutil;
using namespace qvs::util;
using test::fromHex;
using test::hex;

RefMessage view(std::uint8_t type, const std::vector<std::byte>& data, std::uint32_t timestamp = 0) {
  return RefMessage(type, data.data(), static_cast<std::uint32_t>(data.size()), timestamp);
}

NQMessage store(std::uint8_t type, const std::vector<std::byte>& data, std::uint32_t time = 0,
                std::uint32_t timestamp = 0) {
  RefCountedMemoryArena arena;
  return NQMessage(arena, time, type, timestamp, data.data(), static_cast<std::uint32_t>(data.size()));
}

std::string tagOf(const NQMessage& message) {
  return hex({message.header(), message.totalSize()});
}

TEST(NQMessage, IsATagByteForByte) {
  const struct {
    std::uint8_t type;
    std::uint32_t timestamp;
    const char* data;
    const char* tag;
  } rows[] = {{9, 0x01020304, "17 01 00002a aabb", "09000007 02030401 00000017 0100002a aabb0000 0012"},
              {0x28, 0xFF000000, "af 01 cc", "28000003 000000ff 000000af 01cc0000 000e"},
              {18, 5, "02", "12000001 00000500 00000002 0000000c"},
              {15, 0x00FFFFFF, "", "0f000000 ffffff00 00000000 00000b"}};
  for (const auto& row : rows) {
    const NQMessage message = store(row.type, fromHex(row.data), 77, row.timestamp);
    EXPECT_EQ(tagOf(message), row.tag);
    EXPECT_EQ(message.time(), 77U);
    EXPECT_EQ(message.timestamp(), row.timestamp);
    EXPECT_EQ(message.totalSize(), message.dataSize() + 15);
  }
}

TEST(RefMessage, HasTheHeaderOfTheTagAndTheCallersBytes) {
  const auto data = fromHex("17 01 00002a aabb");
  RefMessage message = view(0x29, data, 0x01020304);
  EXPECT_EQ(hex({message.header(), 11}), "29000007 02030401 000000");
  EXPECT_EQ(message.data(), data.data());
  EXPECT_TRUE(message.isVideo()) << "the filter bit is no part of the kind";
  EXPECT_EQ(message.time(), 0x01020304U);
  message.setTimestamp(0xA0B0C0D0);
  EXPECT_EQ(hex({message.header(), 11}), "29000007 b0c0d0a0 000000");
  EXPECT_EQ(message.time(), 0xA0B0C0D0U);
}

TEST(RefMessage, TakesTheSampleItIsGiven) {
  const auto data = fromHex("01020304");
  const RefMessage message(18, 9, 4, data.data(), data.data() + 3, 1);
  EXPECT_EQ(message.sampleOffset(), 3U);
  EXPECT_EQ(message.sampleSize(), 1U);
  EXPECT_EQ(message.dataSize(), 4U);
}

TEST(Messages, KnowTheCodecHeaderInFrontOfTheSample) {
  const struct {
    std::uint8_t type;
    const char* data;
    std::string_view format;
    std::uint32_t header;
  } rows[] = {{9, "12 00000000 00", "H263", 1},
              {9, "14 00000000 00", "VP6F", 2},
              {9, "25 00000000 00", "VP6A", 2},
              {9, "17 00000000 00", "H264", 5},
              {41, "17 0000000000", "H264", 5},
              {9, "10 0000000000", "", 0},
              {9, "13 0000000000", "", 0},
              {9, "16 0000000000", "", 0},
              {9, "18 0000000000", "", 0},
              {8, "2f 00", ".mp3", 1},
              {8, "4f 00", "nmos", 1},
              {8, "5f 00", "nmos", 1},
              {8, "6f 00", "nmos", 1},
              {8, "af 00", "mp4a", 2},
              {8, "bf 00", "spex", 1},
              {8, "0f 00", "", 0},
              {8, "1f 00", "", 0},
              {8, "3f 00", "", 0},
              {8, "ef 00", "", 0},
              {8, "ff 00", "", 0},
              {18, "17 00", "amf0", 0},
              {15, "af 00", "amf3", 0},
              {18, "", "amf0", 0},
              {9, "", "", 0},
              {9, "170000", "H264", 0 /* too short */},
              {9, "14", "VP6F", 0},
              {8, "af", "mp4a", 0}};
  for (const auto& row : rows) {
    const auto data = fromHex(row.data);
    const auto size = static_cast<std::uint32_t>(data.size());
    const RefMessage seen = view(row.type, data);
    const NQMessage stored = store(row.type, data);
    EXPECT_EQ(seen.formatCode() == 0 ? "" : toText(seen.formatCode()), row.format) << int{row.type} << " " << row.data;
    EXPECT_EQ(seen.sampleOffset(), row.header) << int{row.type} << " " << row.data;
    EXPECT_EQ(seen.sampleSize(), size - row.header);
    EXPECT_EQ(stored.sampleOffset(), 11 + row.header) << "counted from the header";
    EXPECT_EQ(stored.sampleSize(), size - row.header);
  }
}

TEST(Messages, TellWhatTheyCarry) {
  const struct {
    std::uint8_t type;
    const char* data;
    const char* is;
  } rows[] = {{9, "17 01", "video key packet1"},
              {9, "27 00", "video packet0"},
              {9, "57 02", "video command packet2"},
              {9, "14 01", "video key"},
              {9, "17", "video key"},
              {9, "", "video"},
              {8, "af 00", "audio packet0"},
              {8, "1f 00", "audio"},
              {8, "5f 00", "audio"},
              {0x89, "17 01", "video key packet1"},
              {18, "17 00", "data amf0"},
              {15, "17 00", "data amf3"},
              {22, "17 00", ""}};
  for (const auto& row : rows) {
    const auto data = fromHex(row.data);
    const RefMessage message = view(row.type, data);
    std::string is;
    const auto add = [&](bool yes, const char* word) {
      if (yes) is += is.empty() ? word : std::string(" ") + word;
    };
    add(message.isVideo(), "video");
    add(message.isAudio(), "audio");
    add(message.isData(), "data");
    add(message.isAmf0(), "amf0");
    add(message.isAmf3(), "amf3");
    add(message.isKeyFrame(), "key");
    add(message.isCommandFrame(), "command");
    add(message.packetType().has_value(), ("packet" + std::to_string(message.packetType().value_or(9))).c_str());
    EXPECT_EQ(is, row.is) << int{row.type} << " " << row.data;
  }
}

TEST(Messages, GiveTheFragmenterTheirKindAndTime) {
  using ruvo::k2r::SampleInfo;
  using ruvo::k2r::SampleKind;
  const auto video = fromHex("17 01 000000 aa");
  const auto audio = fromHex("1f");
  EXPECT_EQ(view(9, video, 4000).sampleInfo(), (SampleInfo{SampleKind::Video, 4000, true}));
  EXPECT_EQ(store(9, video, 10, 4000).sampleInfo(), (SampleInfo{SampleKind::Video, 10, true}))
      << "slot 1, its own time";
  EXPECT_EQ(view(8, audio, 7).sampleInfo(), (SampleInfo{SampleKind::Audio, 7, false}));
  EXPECT_EQ(view(18, audio, 8).sampleInfo(), (SampleInfo{SampleKind::Data, 8, false}));
}

TEST(NQMessage, RefusesWhatTheSizeFieldCannotHold) {
  const std::vector<std::byte> data(kMaxTagDataSize + 1);
  EXPECT_EQ(store(18, std::vector<std::byte>(kMaxTagDataSize)).dataSize(), kMaxTagDataSize);
  try {
    store(18, data);
    FAIL() << "stored";
  } catch (const qvs::QVSException& error) {
    EXPECT_EQ(error.message(), "A message of 16777216 bytes exceeds the 24-bit size of a tag.");
  }
}

/// Arena memory on the stack that tells how many references are on it.
class CountedBytes final : public IMemoryArenaAlloc {
 public:
  std::uint32_t addRef() override { return ++references; }
  std::uint32_t release() override { return --references; }
  std::byte* getData() override { return bytes; }
  std::uint64_t getSize() const override { return sizeof(bytes); }

  std::uint32_t references = 0;
  std::byte bytes[32] = {};
};

TEST(NQMessage, HoldsOneReferenceForEachCopyAndNoneForAMove) {
  CountedBytes memory;
  {
    NQMessage first(1, 20, MemoryHolder(&memory), memory.bytes + 12, 4);
    EXPECT_EQ(memory.references, 1U);
    NQMessage copy(first);
    EXPECT_EQ(memory.references, 2U);
    NQMessage moved(std::move(first));
    EXPECT_EQ(memory.references, 2U);
    EXPECT_TRUE(first.empty());  // NOLINT(bugprone-use-after-move): what a move leaves is told
    copy = moved;
    EXPECT_EQ(memory.references, 2U);
    copy = NQMessage();
    EXPECT_EQ(memory.references, 1U);
    EXPECT_EQ(moved.sampleOffset(), 12U);
    EXPECT_EQ(moved.dataSize(), 5U);
  }
  EXPECT_EQ(memory.references, 0U);
}

TEST(NQMessage, MovesWhenAQueueGrowsOrShrinks) {
  CountedBytes memory;
  std::vector<NQMessage> queue;
  for (int i = 0; i < 20; ++i) queue.emplace_back(i, 20, MemoryHolder(&memory), memory.bytes + 11, 5);
  EXPECT_EQ(memory.references, 20U);
  queue.erase(queue.begin(), queue.begin() + 13);
  EXPECT_EQ(memory.references, 7U);
  EXPECT_EQ(queue.front().time(), 13U);
  queue.clear();
  EXPECT_EQ(memory.references, 0U);
}

TEST(NQMessage, TakesNoMoreIntoTheSampleThanItHasInFront) {
  NQMessage message = store(9, fromHex("14 5a aabb"));
  ASSERT_EQ(message.sampleOffset(), 13U);
  message.takeCodecHeaderByteIntoSample();
  EXPECT_EQ(hex({message.sample(), message.sampleSize()}), "5aaabb");
  message.takeCodecHeaderByteIntoSample();
  message.takeCodecHeaderByteIntoSample();
  EXPECT_EQ(message.sampleOffset(), 11U);
  EXPECT_EQ(message.sampleSize(), 4U);
}

TEST(TagCodec, ReadsTheAudioByte) {
  const struct {
    const char* format;
    std::uint8_t byte;
    float rate;
    std::uint32_t bytesPerSample;
  } rows[] = {{".mp3", 0x20, 5000, 1},  {".mp3", 0x24, 11000, 1}, {".mp3", 0x2A, 22000, 2},
              {".mp3", 0x2E, 44000, 2}, {"nmos", 0x60, 5000, 1},  {"nmos", 0x6E, 44000, 2},
              {"spex", 0xB0, 16000, 1}, {"spex", 0xBE, 16000, 2}, {"mp4a", 0xAE, 0, 0}};
  for (const auto& row : rows) {
    const std::string_view text = row.format;
    FourCC code = 0;
    for (const char c : text) code = code << 8 | static_cast<unsigned char>(c);
    EXPECT_EQ(audioSampleRate(code, row.byte), row.rate) << text << " " << int{row.byte};
    EXPECT_EQ(audioBytesPerSample(code, row.byte), row.bytesPerSample) << text << " " << int{row.byte};
  }
  EXPECT_EQ(audioChannels(0xAE), 1U);
  EXPECT_EQ(audioChannels(0x01), 2U);
}

TEST(TagCodec, ComparesTheNamesOfAvc) {
  EXPECT_EQ(tagFormatCode("avc1"_4cc), "H264"_4cc);
  EXPECT_EQ(tagFormatCode("h264"_4cc), "H264"_4cc);
  EXPECT_EQ(tagFormatCode("mp4v"_4cc), "mp4v"_4cc);
}

}  // namespace
