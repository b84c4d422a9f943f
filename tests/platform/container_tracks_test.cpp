// Tracks and sample descriptions: what is stored of them, read back, and refused.

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <limits>
#include <memory>
#include <tuple>

#include "platform/container/SegmentReader.h"
#include "platform/container/sampleEntryWriter.h"
#include "tests/support/MemoryStream.h"
#include "tests/support/SegmentMaker.h"
#include "tests/support/hex.h"

namespace krvo::container {
namespace {

using k2m::Exception;
using k2m::makeRecord;
using qvs::util::asBytes;
using qvs::util::ByteWriter;
using test::documentInfo;
using test::hex;
using test::MemoryStream;
using test::SegmentMaker;
using test::statusOf;
using test::trackInfo;

std::string entryImage(const SampleDescription& description) {
  ByteWriter out;
  writeSampleEntry(out, description);
  return hex(out.bytes());
}

std::vector<std::byte> bytesOf(std::string_view text) {
  return {asBytes(text).begin(), asBytes(text).end()};
}

/// A size field that tells `size` and a type.
std::string boxHeader(char size, const char* type) {
  return std::string(3, '\0') + size + type;
}

TEST(SampleEntry, IsWrittenByteForByte) {
  const VideoFormat video{.width = 640,
                          .height = 360,
                          .horizontalResolution = 72,
                          .verticalResolution = 72.5F,
                          .frameCount = 1,
                          .depth = 24};
  const struct {
    SampleDescription description;
    const char* image;
  } rows[] = {
      {{.formatCode = "avc1"_4cc, .format = video, .codecHeader = bytesOf("cfg!")},
       "0000005a 61766331 00000000 00000001 00000000 00000000 00000000 00000000 02800168 00480000 00488000 00000000 "
       "00010000 00000000 00000000 00000000 00000000 00000000 00000000 00000000 00000018 ffff6366 6721"},
      {{.formatCode = "enca"_4cc,
        .format = AudioFormat{.sampleRate = 5512.5F, .channels = 1, .bitsPerSample = 8},
        .codecHeader = bytesOf("cfg!")},
       "00000028 656e6361 00000000 00000001 00000000 00000000 00010008 00000000 15888000 63666721"},
      {{.formatCode = "mp4a"_4cc,
        .format = AudioFormat{.sampleRate = 96000, .channels = 2, .bitsPerSample = 16},
        .codecHeader = {}},
       "00000024 6d703461 00000000 00000001 00000000 00000000 00020010 00000000 00000000"},
      {{.formatCode = "rtmp"_4cc,
        .format = HintFormat{.hintTrackVersion = 1, .highestCompatibleVersion = 2, .maximumPacketSize = 500},
        .codecHeader = bytesOf("amhp")},
       "0000001a 72746d70 00000000 00000001 00010002 01f4616d 6870"},
      {{.formatCode = "encr"_4cc, .format = {}, .codecHeader = bytesOf("sinf")},
       "00000014 656e6372 00000000 00000001 73696e66"}};
  for (const auto& row : rows) EXPECT_EQ(entryImage(row.description), row.image);
}

TEST(SampleEntry, OfAvcIsStoredAsPlayersKnowIt) {
  for (const FourCC code : {"H264"_4cc, "h264"_4cc, "avc1"_4cc}) EXPECT_EQ(storedFormatCode(code), "avc1"_4cc);
  for (const FourCC code : {"encv"_4cc, "VP6F"_4cc, "mp4a"_4cc, "nmos"_4cc}) EXPECT_EQ(storedFormatCode(code), code);
}

TEST(SampleEntry, TellsAvcInTheClearAndProtected) {
  const std::string avcC = boxHeader(8, "avcC");
  const std::string sinf = boxHeader(8, "sinf");
  const auto describes = [](FourCC code, const std::string& codecHeader) {
    return isAvc({.formatCode = code, .format = {}, .codecHeader = bytesOf(codecHeader)});
  };
  EXPECT_TRUE(describes("avc1"_4cc, ""));
  EXPECT_TRUE(describes("encv"_4cc, avcC + sinf));
  EXPECT_FALSE(describes("encv"_4cc, sinf));
  EXPECT_FALSE(describes("encv"_4cc, "avcC"));
  EXPECT_FALSE(describes("VP6F"_4cc, avcC));
}

/// What a file says of its tracks, through the same calls with which an append asks for it.
TEST(Tracks, AreReadBackAsTheyWereGiven) {
  const std::string protectedHeader = boxHeader(12, "avcC") + "conf" + boxHeader(16, "sinf") + "scheme!!";
  MemoryStream stream;
  std::uint64_t position = 0;
  {
    SegmentMaker maker(stream);
    maker.addVideoTrack("encv", protectedHeader).addAudioTrack().addDataTrack().addHintTrack();
    position = maker.start();
    maker.begin().video(0, true, 10).audio(0, 10);
    maker.start();
  }
  SegmentMaker reopened(stream, position);
  const auto tracks = reopened.writer().k2mWriter().tracks();
  ASSERT_EQ(tracks.size(), 4U);

  const K2MTrackInfo video = tracks[0].info();
  EXPECT_EQ(video.handlerType, "vide"_4cc);
  EXPECT_EQ(video.flags, 7U);
  EXPECT_EQ(video.timescale, 1000U);
  EXPECT_EQ(video.width, 320);
  EXPECT_EQ(video.height, 240);
  EXPECT_STREQ(video.language, "eng");
  EXPECT_EQ(video.handlerNameLength, 12U);
  EXPECT_EQ(std::tuple(video.created.year, video.created.month, video.created.day), std::tuple(2024, 1, 1));
  EXPECT_EQ(tracks[0].sampleCount(), 0U);
  EXPECT_EQ(tracks[0].entriesInfo().values[0], 1U);
  EXPECT_EQ(tracks[0].entriesInfo().values[1], 1000U);
  EXPECT_EQ(tracks[0].entriesInfo().values[2], protectedHeader.size());

  const auto description = tracks[0].sampleDescriptors().at(0);
  EXPECT_EQ(description.info().formatCode, "encv"_4cc);
  EXPECT_EQ(description.info().handlerCode, "vide"_4cc);
  EXPECT_EQ(hex(description.codecHeader().bytes()), hex(protectedHeader));
  EXPECT_EQ(description.videoInfo().width, 320U);
  EXPECT_EQ(description.videoInfo().verticalResolution, 72);
  EXPECT_EQ(description.videoInfo().depth, 24);
  EXPECT_THROW(description.audioInfo(), Exception);

  const auto audio = tracks[1].sampleDescriptors().at(0);
  EXPECT_EQ(audio.audioInfo().sampleRate, 44100);
  EXPECT_EQ(audio.audioInfo().channels, 2U);
  EXPECT_EQ(audio.audioInfo().bytesPerSample, 2U);
  EXPECT_TRUE(audio.codecHeader().empty());
  EXPECT_EQ(tracks[1].info().volume, 1);

  EXPECT_EQ(tracks[2].sampleDescriptors().at(0).info().formatCode, "amf0"_4cc);
  EXPECT_EQ(tracks[2].sampleDescriptors().at(0).info().handlerCode, "meta"_4cc);

  const auto hint = tracks[3].sampleDescriptors().at(0);
  EXPECT_EQ(hint.info().handlerCode, "hint"_4cc);
  EXPECT_EQ(hint.rtmpInfo().hintTrackVersion, 1);
  EXPECT_EQ(hint.rtmpInfo().maximumPacketSize, 500);
  EXPECT_EQ(tracks[3].info().flags, 0U);
}

TEST(Tracks, OutliveTheirWriter) {
  MemoryStream stream;
  auto maker = std::make_unique<SegmentMaker>(stream);
  maker->addAudioTrack();
  const k2m::Track track = maker->audioTrack();
  maker.reset();
  EXPECT_EQ(track.info().handlerType, "soun"_4cc);
  EXPECT_EQ(track.sampleDescriptors().size(), 1U);
}

/// What a movie of one track says after it went through a file.
Movie written(const K2MDocInfo& document, const K2MTrackInfo& track) {
  MemoryStream stream;
  {
    const k2m::Allocator allocator;
    k2m::K2RWriter writer(stream, document, allocator);
    const auto added = writer.k2mWriter().addTrack(track, makeRecord<K2MEntriesInfo>(), nullptr);
    writer.k2mWriter().addVideoSampleDescriptor(added, makeRecord<K2MVideoDescriptorInfo>(), {});
    writer.startFragment();
  }
  MemorySource source(stream.bytes);
  return SegmentReader(source).movie();
}

TEST(MovieHeader, WidensWhereATimeNeedsIt) {
  auto document = documentInfo();
  document.created.year = 2041;  // behind 32 bits of seconds
  document.duration = 5'000'000'000;
  auto track = trackInfo("vide"_4cc);
  track.modified.year = 9999;
  track.duration = 1ULL << 40;
  const Movie movie = written(document, track);
  EXPECT_EQ(movie.duration, 5'000'000'000U);
  EXPECT_GT(movie.created, 0xFFFFFFFFU);
  EXPECT_EQ(movie.tracks[0]->duration, 1ULL << 40);
  EXPECT_EQ(movie.tracks[0]->modified - movie.tracks[0]->created, 2'912'809U * 86'400ULL);
}

TEST(MovieHeader, BoundsWhatOnlyDescribesTheDisplay) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const struct {
    float given;
    float stored;
  } rows[] = {{1920, 1920}, {0.5F, 0.5F}, {-1, 0}, {nan, 0}, {1e9F, 65536}};
  for (const auto& row : rows) {
    auto track = trackInfo("vide"_4cc);
    track.width = row.given;
    EXPECT_EQ(written(documentInfo(), track).tracks[0]->width, row.stored) << row.given;
  }
}

TEST(MovieHeader, NamesALanguageThatIsNotKnown) {
  auto track = trackInfo("vide"_4cc);
  track.language[0] = 0;
  EXPECT_EQ(written(documentInfo(), track).tracks[0]->language, (std::array{'u', 'n', 'd'}));
}

TEST(Tracks, AreRefusedWithWhatMeansNothing) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addVideoTrack();
  auto writer = maker.writer().k2mWriter();
  const auto add = [&writer](const std::function<void(K2MTrackInfo&)>& change) {
    auto info = trackInfo("soun"_4cc);
    change(info);
    return statusOf([&] { writer.addTrack(info, makeRecord<K2MEntriesInfo>(), "name"); });
  };
  EXPECT_EQ(add([](K2MTrackInfo& info) { info.size = 71; }), kKrvoBadArgument);
  EXPECT_EQ(add([](K2MTrackInfo& info) { info.timescale = 0; }), kKrvoBadArgument);
  EXPECT_EQ(add([](K2MTrackInfo& info) { info.flags = 0x1000000; }), kKrvoBadArgument);
  EXPECT_EQ(add([](K2MTrackInfo& info) { info.handlerType = "hint"_4cc; }), kKrvoBadArgument);
  EXPECT_EQ(add([](K2MTrackInfo& info) { info.handlerType = "text"_4cc; }), kKrvoBadArgument);
  EXPECT_EQ(add([](K2MTrackInfo& info) { info.language[1] = 'N'; }), kKrvoBadArgument);
  EXPECT_EQ(add([](K2MTrackInfo& info) { info.created.size = 10; }), kKrvoBadArgument);
  EXPECT_EQ(add([](K2MTrackInfo& info) { info.created.year = 1903; }), kKrvoBadDate);
  EXPECT_EQ(writer.tracks().size(), 1U);

  auto description = makeRecord<K2MAudioDescriptorInfo>();
  const auto describe = [&] { writer.addAudioSampleDescriptor(maker.videoTrack(), description, {}); };
  EXPECT_EQ(statusOf(describe), kKrvoBadArgument) << "a video track";
  maker.addAudioTrack();
  description.channels = 70000;
  EXPECT_EQ(statusOf([&] { writer.addAudioSampleDescriptor(maker.audioTrack(), description, {}); }), kKrvoTooLarge);
}

TEST(Tracks, OfAnotherSegmentAreRefused) {
  MemoryStream streams[2];
  SegmentMaker own(streams[0]);
  SegmentMaker other(streams[1]);
  own.addAudioTrack();
  other.addAudioTrack();
  auto writer = own.writer().k2mWriter();
  const auto& stranger = other.audioTrack();
  EXPECT_EQ(statusOf([&] { writer.addAudioSampleDescriptor(stranger, makeRecord<K2MAudioDescriptorInfo>(), {}); }),
            kKrvoBadArgument);
  EXPECT_EQ(statusOf([&] { writer.setSampleDescriptor(stranger, stranger.sampleDescriptors().at(0)); }),
            kKrvoBadArgument);
  EXPECT_EQ(statusOf([&] { writer.setSampleDescriptor(own.audioTrack(), stranger.sampleDescriptors().at(0)); }),
            kKrvoBadArgument);
  EXPECT_EQ(statusOf([&] {
              own.writer().addHintTrack(trackInfo("hint"_4cc), makeRecord<K2MEntriesInfo>(), "", {&stranger, 1});
            }),
            kKrvoBadArgument);
}

TEST(Tracks, AreThereBeforeTheFirstFragment) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  EXPECT_THROW(maker.start(), Exception) << "no track at all";
  const auto bare = maker.writer().k2mWriter().addTrack(trackInfo("soun"_4cc), makeRecord<K2MEntriesInfo>(), "");
  EXPECT_THROW(maker.start(), Exception) << "a track with no description";
  EXPECT_TRUE(stream.bytes.empty());
  maker.writer().k2mWriter().addAudioSampleDescriptor(bare, makeRecord<K2MAudioDescriptorInfo>(), {});
  maker.addHintTrack();
  EXPECT_THROW(maker.addHintTrack(), Exception) << "a second hint track";
  maker.start();
  EXPECT_THROW(maker.addAudioTrack(), Exception);
  EXPECT_THROW(maker.writer().k2mWriter().addAudioSampleDescriptor(bare, makeRecord<K2MAudioDescriptorInfo>(), {}),
               Exception);
}

}  // namespace
}  // namespace krvo::container
