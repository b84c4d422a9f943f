// How samples are laid out in a fragment's boxes.

#include <gtest/gtest.h>

#include <functional>

#include "tests/platform/container_reading.h"
#include "tests/support/SegmentMaker.h"

namespace krvo::container {
namespace {

using k2m::makeRecord;
using test::hex;
using test::MemoryStream;
using test::ReadSegment;
using test::samplesOf;
using test::SegmentMaker;
using test::statusOf;

/// Video, audio, data and hint tracks (1 to 4), and one fragment that `fill` has filled.
std::vector<std::byte> segmentOf(const std::function<void(SegmentMaker&)>& fill) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addVideoTrack().addAudioTrack().addDataTrack().addHintTrack().start();
  fill(maker.begin());
  maker.start();
  maker.end();
  EXPECT_EQ(maker.heldTags(), 0U);
  return stream.bytes;
}

TEST(FragmentBoxes, OfVideoWithReorderedFramesByteForByte) {
  const ReadSegment segment(segmentOf([](SegmentMaker& maker) {
    maker.sequenceHeader(80)
        .video(80, true, 100, 80)
        .video(120, false, 30, 120)
        .video(160, false, 20, 0)
        .video(200, false, 20, -40);
  }));
  const auto& tracks = segment.fragments.at(0).tracks;
  // The first tag, the sequence header, is 300 behind the start of the moof; the frames lie in tags at 323, 443, 493
  // and 533, behind 16 bytes of each. Where a run tells no duration it is 40 ms, where it tells no size 20 bytes.
  EXPECT_EQ(segment.image(tracks.at(0).offset),
            "000000a0 74726166 "
            "0000001c 74666864 00020038 00000001 00000028 00000014 01010000 "
            "00000014 74666474 01000000 00000000 00000050 "
            "00000020 7472756e 01000a05 00000001 00000153 02000000 00000064 00000050 "
            "0000001c 7472756e 01000a01 00000001 000001cb 0000001e 00000078 "
            "00000014 7472756e 00000001 00000001 000001fd "
            "00000018 7472756e 01000801 00000001 00000225 ffffffd8");
  EXPECT_EQ(segment.image(tracks.at(1).offset),
            "0000006c 74726166 "
            "00000014 74666864 00020020 00000004 02000000 "
            "00000014 74666474 01000000 00000000 00000050 "
            "0000003c 7472756e 00000301 00000005 0000012c "
            "00000000 00000017 00000028 00000078 00000028 00000032 00000028 00000028 00000028 00000028");
}

TEST(FragmentBoxes, OfNoSamplesAreAWholeGroup) {
  const ReadSegment segment(segmentOf([](SegmentMaker&) {}));
  const auto& boxes = segment.fragments.at(0).boxes;
  EXPECT_EQ(segment.image(boxes.moof.offset), "00000018 6d6f6f66 00000010 6d666864 00000000 00000001");
  EXPECT_EQ(boxes.mdat.size, 8U);
}

TEST(FragmentBoxes, TellTheSamplesOfEachTrack) {
  const struct {
    const char* what;
    std::function<void(SegmentMaker&)> fill;
    const char* samples;
  } rows[] = {
      {"the last one takes the duration before, a lone one none",
       [](auto& maker) { maker.audio(10, 5).audio(33, 5).audio(57, 5).video(40, true, 5); },
       "1: 40+0!, 2: 10+23! 33+24! 57+24!, 4 tags"},
      {"going backward takes no time",
       [](auto& maker) { maker.audio(4294967290, 5).audio(4294967295, 5).audio(3, 5).audio(3, 5).audio(9, 5); },
       "2: 4294967290+5! 4294967295+0! 4294967295+0! 4294967295+6! 4294967301+6!, 5 tags"},
      {"only video has frames that are not sync",
       [](auto& maker) { maker.video(0, true, 5).video(40, false, 5).video(80, true, 5).audio(0, 5).data(0, 5); },
       "1: 0+40! 40+40 80+40!, 2: 0+0!, 3: 0+0!, 5 tags"},
      {"samples of no bytes are hints alone", [](auto& maker) { maker.video(0, true, 0).audio(0, 0).audio(23, 4); },
       "2: 23+0!, 3 tags"},
      {"tracks come in their order, those without samples not at all",
       [](auto& maker) { maker.data(5, 7).video(5, true, 9).data(6, 8); }, "1: 5+0!, 3: 5+1! 6+1!, 3 tags"}};
  for (const auto& row : rows) {
    const ReadSegment segment(segmentOf(row.fill));
    EXPECT_EQ(samplesOf(segment.fragments.at(0)), row.samples) << row.what;
  }
}

/// A fragment of a video track, of samples that fill their tags.
Fragment fragmentOf(const std::vector<K2MSampleInfo>& samples) {
  const std::vector<std::byte> tag(20);
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addVideoTrack().addHintTrack();
  const std::uint64_t position = maker.start();
  maker.begin();
  for (const auto& sample : samples) {
    K2MHintInfo info{.sample = sample, .media = {.reserved = 0, .offset = 0, .length = 20}};
    info.sample.length = 20;
    maker.writer().addHintSample(maker.hintTrack(), maker.videoTrack(), k2m::makeDataBuffer(tag.data()), info, true);
  }
  maker.start();
  return SegmentReader(stream).readFragment(position);
}

TEST(FragmentSamples, AreConvertedToTheTimesOfTheTrack) {
  auto sample = makeRecord<K2MSampleInfo>();
  sample.time = 9000;
  sample.timescale = 90000;
  sample.compositionOffset = static_cast<std::uint32_t>(-3600);
  auto next = sample;
  next.time = 10530;
  const Fragment fragment = fragmentOf({sample, next});
  EXPECT_EQ(samplesOf(fragment), "1: 100+17/-40~117+17/-40, 2 tags");
  EXPECT_EQ(fragment.accessPoints.at(1).time, 117U);
}

TEST(FragmentSamples, ThatTouchShareARunUpToASyncSample) {
  auto other = makeRecord<K2MSampleInfo>();
  other.timescale = 1000;
  auto sync = other;
  sync.flags = 1;
  EXPECT_EQ(samplesOf(fragmentOf({sync, other, other, sync, other})), "1: 0+0!~0+0~0+0 0+0!~0+0, 5 tags");
}

TEST(FragmentSamples, OfAnotherDescriptionSaySo) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addAudioTrack();
  auto writer = maker.writer().k2mWriter();
  const auto second = writer.addAudioSampleDescriptor(maker.audioTrack(), makeRecord<K2MAudioDescriptorInfo>(), {});
  maker.addHintTrack().start();
  writer.setSampleDescriptor(maker.audioTrack(), second);
  maker.begin().audio(0, 4);
  maker.start();
  const ReadSegment segment(stream.bytes);
  EXPECT_EQ(segment.image(segment.fragments.at(0).tracks.at(0).offset + 8),
            "00000020 74666864 0002003a 00000001 00000002 00000000 00000004 02000000");
}

TEST(CompositionOffsets, AreReadFromAvcTagsAlone) {
  constexpr std::string_view kAvcC = SegmentMaker::kAvcC;
  const struct {
    const char* format;
    std::string_view codecHeader;
    std::int32_t given;
    const char* stored;
  } rows[] = {{"H264", kAvcC, 8388607, "1: 0+0/8388607!, 1 tags"},
              {"h264", "", 1, "1: 0+0/1!, 1 tags"},
              {"avc1", "", -8388608, "1: 0+0/-8388608!, 1 tags"},
              {"encv", kAvcC, 80, "1: 0+0/80!, 1 tags"},
              {"encv", "avcC", 80, "1: 0+0!, 1 tags"},
              {"encv", {"\0\0\0\x08sinf", 8}, 80, "1: 0+0!, 1 tags"},
              {"VP6F", kAvcC, 80, "1: 0+0!, 1 tags"}};
  for (const auto& row : rows) {
    MemoryStream stream;
    SegmentMaker maker(stream);
    maker.addVideoTrack(row.format, row.codecHeader).addHintTrack().start();
    maker.begin().video(0, true, 5, row.given);
    maker.start();
    EXPECT_EQ(samplesOf(ReadSegment(stream.bytes).fragments.at(0)), row.stored) << row.format;
  }
}

TEST(RandomAccess, HasTheFirstSyncSampleOfEachFragmentAndTrack) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addVideoTrack().addAudioTrack().addHintTrack().start();
  maker.begin().video(0, false, 5).video(40, true, 5, 80).audio(11, 5).audio(34, 5);
  maker.start();
  maker.begin().video(80, false, 5);
  maker.start();
  maker.end();
  const ReadSegment segment(stream.bytes);
  const std::uint64_t moof = segment.fragments.at(0).boxes.moof.offset;
  EXPECT_EQ(segment.accessPoints,
            (std::vector<RandomAccessTable::Entry>{{1, 120, moof, 1, 2, 1}, {2, 11, moof, 2, 1, 1}}));
}

TEST(OpenFragment, RefusesCallsOutOfOrder) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addAudioTrack().addHintTrack();
  EXPECT_EQ(statusOf([&] { maker.begin(); }), kKrvoBadArgument) << "no fragment started";
  const std::uint64_t position = maker.start();
  EXPECT_EQ(statusOf([&] { maker.audio(0, 5); }), kKrvoBadArgument) << "no `abst` added";
  EXPECT_EQ(statusOf([&] { maker.begin(""); }), kKrvoBadArgument) << "an `abst` of no bytes";
  EXPECT_EQ(maker.start(), position) << "nothing was added";
  maker.begin().audio(0, 5);
  EXPECT_GT(maker.start(), position);
  EXPECT_EQ(maker.heldTags(), 0U);
}

TEST(OpenFragment, BegunAgainDropsTheAttemptBefore) {
  const ReadSegment segment(segmentOf([](SegmentMaker& maker) {
    maker.audio(0, 5, true).audio(23, 5).begin("again");
    EXPECT_EQ(maker.heldTags(), 0U);
    maker.audio(46, 5);
  }));
  const Fragment& fragment = segment.fragments.at(0);
  EXPECT_EQ(samplesOf(fragment), "2: 46+0!, 1 tags");
  EXPECT_TRUE(fragment.accessPoints.empty());
  EXPECT_EQ(hex(fragment.abstBody), hex(std::string_view("again")));
}

TEST(OpenFragment, RefusesSamplesThatContradictThemselves) {
  MemoryStream streams[2];
  SegmentMaker maker(streams[0]);
  SegmentMaker other(streams[1]);
  maker.addAudioTrack().addHintTrack().start();
  maker.begin();
  other.addAudioTrack().addHintTrack();
  const std::byte tag[20]{};
  k2m::Track hint;
  k2m::Track media;
  K2MHintInfo info;
  const auto add = [&](const std::function<void()>& spoil) {
    hint = maker.hintTrack();
    media = maker.audioTrack();
    info = makeRecord<K2MHintInfo>();
    info.sample.length = sizeof(tag);
    info.sample.timescale = 1000;
    info.media.length = 4;
    spoil();
    return statusOf([&] { maker.writer().addHintSample(hint, media, k2m::makeDataBuffer(tag), info, true); });
  };
  EXPECT_EQ(add([&] { hint = maker.audioTrack(); }), kKrvoBadArgument);
  EXPECT_EQ(add([&] { hint = other.hintTrack(); }), kKrvoBadArgument);
  EXPECT_EQ(add([&] { hint = {}; }), kKrvoBadArgument);
  EXPECT_EQ(add([&] { media = maker.hintTrack(); }), kKrvoBadArgument);
  EXPECT_EQ(add([&] { media = other.audioTrack(); }), kKrvoBadArgument);
  EXPECT_EQ(add([&] { media = {}; }), kKrvoBadArgument);
  EXPECT_EQ(add([&] { info.sample.size = 31; }), kKrvoBadArgument);
  EXPECT_EQ(add([&] { info.sample.length = 0; }), kKrvoBadArgument);
  EXPECT_EQ(add([&] { info.sample.timescale = 0; }), kKrvoBadArgument);
  EXPECT_EQ(add([&] { info.media.length = 21; }), kKrvoBadArgument);
  EXPECT_EQ(add([&] { info.media.offset = 17; }), kKrvoBadArgument);
  EXPECT_EQ(add([&] { info.media.offset = 0xFFFFFFFF; }), kKrvoBadArgument);
  EXPECT_EQ(add([&] { info.sample.time = ~0ULL, info.sample.timescale = 1; }), kKrvoTooLarge);
  EXPECT_EQ(add([] {}), kKrvoOk);
  EXPECT_NO_THROW(maker.start()) << "the fragment is as it was";
}

}  // namespace
}  // namespace krvo::container
