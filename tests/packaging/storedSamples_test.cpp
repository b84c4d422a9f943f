// Tags rebuilt from the samples that a segment stores.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "packaging/NQMessage.h"
#include "packaging/RefCountedMemoryArena.h"
#include "tests/support/MemoryStream.h"
#include "tests/support/SegmentMaker.h"
#include "tests/support/hex.h"
#include "util/QVSException.h"
#include "util/bytes.h"
#include "wrappers/k2m/Reader.h"

namespace {

using namespace ruvo::k2rpkgutil;
using namespace qvs::util;
using krvo::k2m::makeRecord;
using test::fromHex;
using test::hex;

/// A sample of four bytes, in a segment of its own.
struct Stored {
  explicit Stored(std::uint64_t time = 0, bool sync = true, std::int32_t composition = 0) {
    test::SegmentMaker maker(file);
    maker.addVideoTrack().addHintTrack().start();
    maker.begin().video(time, sync, 4, composition);
    maker.start();
  }

  test::MemoryStream file;
  RefCountedMemoryArena arena;
};

/// The tag of the sample, of which `head` is all in front of the sample's bytes.
template <typename Record>
void expectTag(const std::string& head, Stored& stored, const Record& record, std::uint32_t time = 0,
               std::uint32_t timescale = 1000) {
  const krvo::k2m::Reader reader(stored.file);
  const auto sample = reader.samples(reader.tracks().at(0)).next().value();
  auto track = reader.tracks().at(0).info();
  track.timescale = timescale;
  const NQMessage message(stored.arena, sample, record, track);
  auto expected = fromHex(head);
  const auto sampleOffset = static_cast<std::uint32_t>(expected.size());
  expected.resize(expected.size() + 8);
  sample.copyData(std::span(expected).subspan(sampleOffset, 4));
  storeBigEndian(&expected[sampleOffset + 4], 4, sampleOffset + 4);
  EXPECT_EQ(hex({message.header(), message.totalSize()}), hex(expected));
  EXPECT_EQ(std::tuple(message.time(), message.timestamp()), std::tuple(time, time)) << head;
  EXPECT_EQ(std::tuple(message.sampleOffset(), message.sampleSize()), std::tuple(sampleOffset, 4U)) << head;
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
      {video("VP6F"_4cc, 656, 368), "14 ff", "24 ff"},     {video("H264"_4cc), "17 01 000050", "27 01 000050"},
      {video("h264"_4cc), "17 01 000050", "27 01 000050"}, {video("avc1"_4cc), "17 01 000050", "27 01 000050"},
      {video("mp4v"_4cc), "17 01 000050", "27 01 000050"}, {video("H263"_4cc), "12", "22"}};
  for (const auto& [record, keyFrame, frame] : rows) {
    for (const bool sync : {true, false}) {
      Stored stored(0x01020304, sync, 80);
      const std::byte size{static_cast<unsigned char>(fromHex(keyFrame).size() + 4)};
      expectTag("09 0000" + hex({&size, 1}) + "02030401 000000" + (sync ? keyFrame : frame), stored, record,
                0x01020304);
    }
  }
}

TEST(StoredVideo, HasItsTimesInMilliseconds) {
  const std::tuple<std::uint64_t, std::int32_t, std::uint32_t, std::uint32_t, const char*> rows[] = {
      {90089, 3689, 90000, 1000, "0003e800 000000 17 01 000028"},  // truncated
      {90089, -3689, 90000, 1000, "0003e800 000000 17 01 ffffd8"},
      {5, 8388607, 1, 5000, "00138800 000000 17 01 fffc18"},  // 24 bits of it
      {0x123456789A, 0, 1000, 0x3456789A, "56789a34 000000 17 01 000000"},
      {0xFFFFFFFF00000000, 0, 1000, 0, "00000000 000000 17 01 000000"}};
  for (const auto& [time, composition, timescale, milliseconds, head] : rows) {
    Stored stored(time, true, composition);
    expectTag(std::string("09 000009") + head, stored, video("avc1"_4cc), milliseconds, timescale);
  }
}

TEST(StoredAudio, IsATagByItsFormatByteForByte) {
  const std::pair<K2MAudioDescriptorInfo, const char*> rows[] = {{audio("mp4a"_4cc, 22050), "06 00000000 000000 af 01"},
                                                                 {audio(".mp3"_4cc, 22000), "05 00000000 000000 2f"},
                                                                 {audio("spex"_4cc, 16000), "05 00000000 000000 b2"}};
  for (const auto& [record, head] : rows) {
    Stored stored;
    expectTag(std::string("08 0000") + head, stored, record);
  }
}

TEST(StoredAudio, OfNellymoserSaysRateSizeAndChannels) {
  // The byte for one byte per sample and one channel; what a second byte and a second channel add.
  const std::tuple<float, unsigned, unsigned, unsigned> rows[] = {
      {8000, 0x50, 2, 0},  {16000, 0x40, 2, 0}, {8001, 0x6C, 2, 1},  {5000, 0x60, 2, 1},  {4000, 0x6C, 2, 1},
      {6000, 0x6C, 2, 1},  {5999, 0x60, 2, 1},  {4001, 0x60, 2, 1},  {11000, 0x64, 2, 1}, {10000, 0x6C, 2, 1},
      {12000, 0x6C, 2, 1}, {22000, 0x68, 2, 1}, {21000, 0x6C, 2, 1}, {23000, 0x6C, 2, 1}, {44000, 0x6C, 2, 1}};
  for (const auto& [rate, first, twoBytes, twoChannels] : rows) {
    for (const std::uint32_t bytes : {0U, 1U, 2U}) {
      for (const std::uint32_t channels : {1U, 2U}) {
        Stored stored;
        const std::byte byte{
            static_cast<unsigned char>(first + (bytes == 2 ? twoBytes : 0) + (channels == 2 ? twoChannels : 0))};
        expectTag("08 000005 00000000 000000" + hex({&byte, 1}), stored, audio("nmos"_4cc, rate, bytes, channels));
      }
    }
  }
}

TEST(StoredData, IsATagOfItsType) {
  Stored stored(7);
  expectTag("12 000004 00000700 000000", stored, data("amf0"_4cc), 7);
  expectTag("0f 000004 00000700 000000", stored, data("amf3"_4cc), 7);
}

TEST(StoredSamples, WithoutATagFormAreRefused) {
  Stored stored;
  const auto expectRefused = [&stored](const auto& record, const char* why) {
    EXPECT_THAT([&] { expectTag("", stored, record); }, testing::ThrowsMessage<qvs::QVSException>(why));
  };
  expectRefused(video("encv"_4cc), "No tag is made of a stored video sample of format 'encv'.");
  expectRefused(audio("enca"_4cc), "No tag is made of a stored audio sample of format 'enca'.");
  expectRefused(data("encr"_4cc), "No tag is made of a stored data sample of format 'encr'.");
  EXPECT_THROW(expectTag("", stored, data("amf0"_4cc), 0, 0), qvs::QVSException) << "a timescale of 0";
}

}  // namespace
