// Tracks and sample descriptions: what is stored of them, read back, and refused.

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <tuple>

#include "platform/container/SegmentReader.h"
#include "platform/container/sampleEntryWriter.h"
#include "tests/support/MemoryStream.h"
#include "tests/support/SegmentMaker.h"
#include "tests/support/hex.h"

namespace krvo::container {
namespace {

using k2m::makeRecord;
using test::documentInfo;
using test::MemoryStream;
using test::SegmentMaker;
using test::statusOf;
using test::trackInfo;

TEST(SampleEntry, IsWrittenByteForByte) {
  const auto codecHeader = test::fromHex("63666721");
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
      {{"avc1"_4cc, video, codecHeader},
       "0000005a 61766331 00000000 00000001 00000000 00000000 00000000 00000000 02800168 00480000 00488000 00000000 "
       "00010000 00000000 00000000 00000000 00000000 00000000 00000000 00000000 00000018 ffff6366 6721"},
      {{"enca"_4cc, AudioFormat{.sampleRate = 5512.5F, .channels = 1, .bitsPerSample = 8}, codecHeader},
       "00000028 656e6361 00000000 00000001 00000000 00000000 00010008 00000000 15888000 63666721"},
      {{"mp4a"_4cc, AudioFormat{.sampleRate = 96000, .channels = 2, .bitsPerSample = 16}, {}},
       "00000024 6d703461 00000000 00000001 00000000 00000000 00020010 00000000 00000000"},
      {{"rtmp"_4cc, HintFormat{.hintTrackVersion = 1, .highestCompatibleVersion = 2, .maximumPacketSize = 500},
        codecHeader},
       "0000001a 72746d70 00000000 00000001 00010002 01f46366 6721"},
      {{"encr"_4cc, {}, codecHeader}, "00000014 656e6372 00000000 00000001 63666721"}};
  for (const auto& row : rows) {
    qvs::util::ByteWriter out;
    writeSampleEntry(out, row.description);
    EXPECT_EQ(test::hex(out.bytes()), row.image);
  }
}

/// Through the calls with which an append asks for it.
TEST(Tracks, AreReadBackAsTheyWereGiven) {
  MemoryStream stream;
  {
    SegmentMaker maker(stream);
    maker.addVideoTrack("encv", "avcCsinf").addAudioTrack().addDataTrack().addHintTrack().start();
  }
  SegmentMaker reopened(stream, 0);
  const auto tracks = reopened.writer().k2mWriter().tracks();
  ASSERT_EQ(tracks.size(), 4U);
  const K2MTrackInfo info = tracks[0].info();
  EXPECT_EQ(std::tuple(info.handlerType, info.flags, info.timescale), std::tuple("vide"_4cc, 7U, 1000U));
  EXPECT_EQ(std::tuple(info.width, info.height, tracks[1].info().volume), std::tuple(320.0F, 240.0F, 1.0F));
  EXPECT_EQ(std::tuple(info.created.year, info.created.month, info.created.day), std::tuple(2024, 1, 1));
  EXPECT_EQ(std::tuple(std::string(info.language), info.handlerNameLength), std::tuple("eng", 12U));
  EXPECT_EQ(tracks[0].entriesInfo().values[2], 8U) << "the codec header";

  const auto video = tracks[0].sampleDescriptors().at(0);
  EXPECT_EQ(video.info().formatCode, "encv"_4cc);
  EXPECT_EQ(test::hex(video.codecHeader().bytes()), test::hex(std::string_view("avcCsinf")));
  EXPECT_EQ(std::tuple(video.videoInfo().width, video.videoInfo().height), std::tuple(320U, 240U));
  EXPECT_EQ(statusOf([&] { video.audioInfo(); }), kKrvoBadArgument) << "the form of another kind";
  const auto audio = tracks[1].sampleDescriptors().at(0).audioInfo();
  EXPECT_EQ(std::tuple(audio.sampleRate, audio.channels, audio.bytesPerSample), std::tuple(44100.0F, 2U, 2U));
  const auto hint = tracks[3].sampleDescriptors().at(0).rtmpInfo();
  EXPECT_EQ(std::tuple(hint.hintTrackVersion, hint.maximumPacketSize), std::tuple(1, 500));
}

/// What a movie of one track says after it went through a file.
Movie written(const K2MDocInfo& document, const K2MTrackInfo& track) {
  MemoryStream stream;
  const k2m::Allocator allocator;
  k2m::K2RWriter writer(stream, document, allocator);
  const auto added = writer.k2mWriter().addTrack(track, makeRecord<K2MEntriesInfo>(), nullptr);
  writer.k2mWriter().addVideoSampleDescriptor(added, makeRecord<K2MVideoDescriptorInfo>(), {});
  writer.startFragment();
  return SegmentReader(stream).movie();
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
  const struct {
    float given;
    float stored;
  } rows[] = {{0.5F, 0.5F}, {-1, 0}, {std::numeric_limits<float>::quiet_NaN(), 0}, {1e9F, 65536}};
  for (const auto& row : rows) {
    auto track = trackInfo("vide"_4cc);
    track.width = row.given;
    track.language[0] = 0;
    const Movie movie = written(documentInfo(), track);
    EXPECT_EQ(movie.tracks[0]->width, row.stored) << row.given;
    EXPECT_EQ(movie.tracks[0]->language, (std::array{'u', 'n', 'd'})) << "a language that is not known";
  }
}

TEST(Tracks, AreRefusedWithWhatMeansNothing) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addVideoTrack().addAudioTrack();
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
  EXPECT_EQ(writer.tracks().size(), 2U);

  auto audio = makeRecord<K2MAudioDescriptorInfo>();
  audio.channels = 70000;
  const auto describe = [&](const k2m::Track& track) { writer.addAudioSampleDescriptor(track, audio, {}); };
  EXPECT_EQ(statusOf([&] { describe(maker.videoTrack()); }), kKrvoBadArgument) << "the form of another kind";
  EXPECT_EQ(statusOf([&] { describe(maker.audioTrack()); }), kKrvoTooLarge);
}

TEST(Tracks, OfAnotherSegmentAreRefused) {
  MemoryStream streams[2];
  SegmentMaker own(streams[0]);
  SegmentMaker other(streams[1]);
  own.addAudioTrack();
  other.addAudioTrack();
  auto writer = own.writer().k2mWriter();
  const auto& stranger = other.audioTrack();
  const auto description = stranger.sampleDescriptors().at(0);
  const std::function<void()> calls[] = {
      [&] { writer.addAudioSampleDescriptor(stranger, makeRecord<K2MAudioDescriptorInfo>(), {}); },
      [&] { writer.setSampleDescriptor(stranger, description); },
      [&] { writer.setSampleDescriptor(own.audioTrack(), description); },
      [&] {
        own.writer().addHintTrack(trackInfo("hint"_4cc), makeRecord<K2MEntriesInfo>(), "", {&stranger, 1});
      }};
  for (const auto& call : calls) EXPECT_EQ(statusOf(call), kKrvoBadArgument);
}

TEST(Tracks, AreThereBeforeTheFirstFragment) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  auto writer = maker.writer().k2mWriter();
  EXPECT_EQ(statusOf([&] { maker.start(); }), kKrvoBadArgument) << "no track at all";
  const auto bare = writer.addTrack(trackInfo("soun"_4cc), makeRecord<K2MEntriesInfo>(), "");
  EXPECT_EQ(statusOf([&] { maker.start(); }), kKrvoBadArgument) << "a track with no description";
  EXPECT_TRUE(stream.bytes.empty());
  const auto describe = [&] { writer.addAudioSampleDescriptor(bare, makeRecord<K2MAudioDescriptorInfo>(), {}); };
  describe();
  maker.addHintTrack();
  EXPECT_EQ(statusOf([&] { maker.addHintTrack(); }), kKrvoBadArgument) << "a second hint track";
  maker.start();
  EXPECT_EQ(statusOf([&] { maker.addAudioTrack(); }), kKrvoBadArgument);
  EXPECT_EQ(statusOf(describe), kKrvoBadArgument);
}

}  // namespace
}  // namespace krvo::container
