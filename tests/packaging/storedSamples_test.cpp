// Tags rebuilt from the samples that a segment stores.

#include "packaging/NQMessage.h"
#include "packaging/RefCountedMemoryArena.h"
#include "tests/support/SegmentMaker.h"
#include "tests/support/testing.h"
#include "util/QVSException.h"
#include "util/bytes.h"
#include "wrappers/k2m/Reader.h"

namespace {

using namespace ruvo::k2rpkgutil;
using namespace qvs::util;
using krvo::k2m::makeRecord;
using test::fromHex;
using test::hex;

/// A sample of four bytes that a segment stores.
struct Stored {
  std::uint64_t time = 0;
  bool sync = true;
  std::int32_t composition = 0;
};

/// The tag of such a sample, at `milliseconds`, of which `head` is all in front of its bytes.
template <typename Record>
void expectTag(const std::string& head, const Record& record, const Stored& stored = {}, std::uint32_t milliseconds = 0,
               std::uint32_t timescale = 1000) {
  test::MemoryStream file;
  test::SegmentMaker maker(file);
  maker.addVideoTrack().addHintTrack().start();
  maker.begin().video(stored.time, stored.sync, 4, stored.composition).start();
  const krvo::k2m::Reader reader(file);
  auto track = reader.tracks().at(0).info();
  const auto sample = reader.samples(reader.tracks().at(0)).next().value();
  track.timescale = timescale;
  RefCountedMemoryArena arena;
  const NQMessage message(arena, sample, record, track);
  auto expected = fromHex(head);
  const auto sampleOffset = static_cast<std::uint32_t>(expected.size());
  expected.resize(expected.size() + 8);
  sample.copyData(std::span(expected).subspan(sampleOffset, 4));
  storeBigEndian(&expected[sampleOffset + 4], 4, sampleOffset + 4);
  EXPECT_EQ(hex({message.header(), message.totalSize()}), hex(expected));
  EXPECT_EQ(std::pair(message.time(), message.timestamp()), std::pair(milliseconds, milliseconds)) << head;
  EXPECT_EQ(std::pair(message.sampleOffset(), message.sampleSize()), std::pair(sampleOffset, 4U)) << head;
}

/// A byte in hex.
std::string byte(std::size_t value) {
  const auto image = static_cast<std::byte>(value);
  return hex({&image, 1});
}

K2MVideoDescriptorInfo video(FourCC format, std::uint32_t width = 640, std::uint32_t height = 360) {
  auto record = makeRecord<K2MVideoDescriptorInfo>();
  record.base.formatCode = format;
  record.width = width;
  record.height = height;
  return record;
}

K2MAudioDescriptorInfo audio(FourCC format, float rate = 0, std::uint32_t bytes = 1, std::uint32_t channels = 1) {
  auto record = makeRecord<K2MAudioDescriptorInfo>();
  record.base.formatCode = format;
  record.sampleRate = rate;
  record.bytesPerSample = bytes;
  record.channels = channels;
  return record;
}

K2MDescriptorInfo data(FourCC format) {
  auto record = makeRecord<K2MDescriptorInfo>();
  record.formatCode = format;
  return record;
}

TEST(StoredVideo, IsATagByItsFormatByteForByte) {
  const std::tuple<K2MVideoDescriptorInfo, const char*, const char*> rows[] = {
      // Of a sync sample, and of another.
      {video("VP6A"_4cc, 641, 362), "15 e5", "25 e5"},     {video("VP6F"_4cc, 648, 365), "14 72", "24 72"},
      {video("VP6F"_4cc, 656, 368), "14 ff", "24 ff"},     {video("avc1"_4cc), "17 01 000050", "27 01 000050"},
      {video("mp4v"_4cc), "17 01 000050", "27 01 000050"}, {video("H263"_4cc), "12", "22"}};
  for (const auto& [record, keyFrame, frame] : rows) {
    for (const bool sync : {true, false}) {
      expectTag("09 0000" + byte(fromHex(keyFrame).size() + 4) + "02030401 000000" + (sync ? keyFrame : frame), record,
                {0x01020304, sync, 80}, 0x01020304);
    }
  }
}

TEST(StoredSamples, OfSoundAndDataAreTagsByteForByte) {
  expectTag("08 000006 00000000 000000 af 01", audio("mp4a"_4cc, 22050));
  expectTag("08 000005 00000000 000000 2f", audio(".mp3"_4cc, 22000));
  expectTag("08 000005 00000000 000000 b2", audio("spex"_4cc, 16000));
  expectTag("12 000004 00000700 000000", data("amf0"_4cc), {7}, 7);
  expectTag("0f 000004 00000700 000000", data("amf3"_4cc), {7}, 7);
}

TEST(StoredAudio, OfNellymoserSaysRateSizeAndChannels) {
  // The byte for one byte per sample and one channel; what a second byte and a second channel add.
  const std::tuple<float, unsigned, unsigned, unsigned> rows[] = {
      {8000, 0x50, 2, 0},  {16000, 0x40, 2, 0}, {4000, 0x6C, 2, 1},  {4001, 0x60, 2, 1},
      {6000, 0x6C, 2, 1},  {10000, 0x6C, 2, 1}, {11000, 0x64, 2, 1}, {12000, 0x6C, 2, 1},
      {21000, 0x6C, 2, 1}, {22000, 0x68, 2, 1}, {23000, 0x6C, 2, 1}};
  for (const auto& [rate, first, twoBytes, twoChannels] : rows) {
    for (const auto& [bytes, channels, more] : {std::tuple(1U, 1U, 0U), {2U, 1U, twoBytes}, {1U, 2U, twoChannels}})
      expectTag("08 000005 00000000 000000" + byte(first + more), audio("nmos"_4cc, rate, bytes, channels));
  }
}

TEST(StoredSamples, WithoutATagFormAreRefused) {
  const auto expectRefused = [](const auto& record, const char* why) {
    EXPECT_THAT([&] { expectTag("", record); }, testing::ThrowsMessage<qvs::QVSException>(why));
  };
  expectRefused(video("encv"_4cc), "No tag is made of a stored video sample of format 'encv'.");
  expectRefused(audio("enca"_4cc), "No tag is made of a stored audio sample of format 'enca'.");
  EXPECT_THROW(expectTag("", data("amf0"_4cc), {}, 0, 0), qvs::QVSException) << "a timescale of 0";
}

}  // namespace
