// What is written of a fragment: a whole small segment, field by field of ISO/IEC 14496-12, how samples are laid out in
// the boxes, and numbers at the edges of their fields.

#include "platform/container/FragmentPlan.h"
#include "platform/container/fragmentBoxes.h"
#include "tests/platform/container/reading.h"
#include "tests/support/SegmentMaker.h"

namespace krvo::container {
namespace {

using k2m::makeRecord;
using namespace test;

constexpr const char* kHeader =
    // ftyp: iso6, minor version 1, compatible with iso6, isom, mp41
    "0000001c 66747970 69736f36 00000001 69736f36 69736f6d 6d703431"
    "000003b0 6d6f6f76"
    // mvhd: created and modified, timescale, duration, rate 1.0, volume 1.0, matrix, next track 3
    "0000006c 6d766864 00000000 e1b7b100 e1b7b100 000003e8 00000000 00010000 0100 0000 00000000 00000000"
    "00010000 00000000 00000000 00000000 00010000 00000000 00000000 00000000 40000000"
    "00000000 00000000 00000000 00000000 00000000 00000000 00000003"
    "00000174 7472616b"
    // tkhd: flags 7, created and modified, id 1, duration, layer and group, volume 1.0, matrix, width, height
    "0000005c 746b6864 00000007 e1b7b100 e1b7b100 00000001 00000000 00000000 00000000 00000000 0000 0000 0100 0000"
    "00010000 00000000 00000000 00000000 00010000 00000000 00000000 00000000 40000000 00000000 00000000"
    "00000110 6d646961"
    // mdhd: created and modified, timescale, duration, language "eng"
    "00000020 6d646864 00000000 e1b7b100 e1b7b100 000003e8 00000000 15c7 0000"
    // hdlr: soun, "MainConcept"
    "0000002c 68646c72 00000000 00000000 736f756e 00000000 00000000 00000000 4d61696e 436f6e63 65707400"
    "000000bc 6d696e66"
    "00000010 736d6864 00000000 0000 0000"
    "00000024 64696e66 0000001c 64726566 00000000 00000001 0000000c 75726c20 00000001"
    "00000080 7374626c"
    // stsd, mp4a: data reference 1, two channels of 16 bits, 44100.0 Hz
    "00000034 73747364 00000000 00000001"
    "00000024 6d703461 000000000000 0001 00000000 00000000 0002 0010 0000 0000 ac440000"
    "00000010 73747473 00000000 00000000"
    "00000010 73747363 00000000 00000000"
    "00000014 7374737a 00000000 00000000 00000000"
    "00000010 7374636f 00000000 00000000"
    "00000180 7472616b"
    "0000005c 746b6864 00000000 e1b7b100 e1b7b100 00000002 00000000 00000000 00000000 00000000 0000 0000 0000 0000"
    "00010000 00000000 00000000 00000000 00010000 00000000 00000000 00000000 40000000 00000000 00000000"
    // tref: hints track 1
    "00000014 74726566 0000000c 68696e74 00000001"
    "00000108 6d646961"
    "00000020 6d646864 00000000 e1b7b100 e1b7b100 000003e8 00000000 15c7 0000"
    "00000026 68646c72 00000000 00000000 68696e74 00000000 00000000 00000000 48696e74 7300"
    "000000ba 6d696e66"
    "0000001c 686d6864 00000000 0000 0000 00000000 00000000 00000000"
    "00000024 64696e66 0000001c 64726566 00000000 00000001 0000000c 75726c20 00000001"
    "00000072 7374626c"
    // stsd, rtmp: versions 1 and 1, packets of 500
    "00000026 73747364 00000000 00000001 00000016 72746d70 000000000000 0001 0001 0001 01f4"
    "00000010 73747473 00000000 00000000"
    "00000010 73747363 00000000 00000000"
    "00000014 7374737a 00000000 00000000 00000000"
    "00000010 7374636f 00000000 00000000"
    // mvex: defaults of tracks 1 and 2
    "00000048 6d766578"
    "00000020 74726578 00000000 00000001 00000001 00000000 00000000 00000000"
    "00000020 74726578 00000000 00000002 00000001 00000000 00000000 00000000";

constexpr const char* kFragment =
    // afra: long ids and offsets, timescale 1000, the tag at 264 is an access point at 1000
    "00000025 61667261 00000000 c0 000003e8 00000001 00000000000003e8 0000000000000108"
    "0000000f 61627374 00000000 616263"
    "000000cc 6d6f6f66 00000010 6d666864 00000000 00000001"
    // traf of track 1: 23 ms, 4 bytes, all sync; from 1000; a run at 225 and one of 5 bytes at 246
    "00000064 74726166"
    "0000001c 74666864 00020038 00000001 00000017 00000004 02000000"
    "00000014 74666474 01000000 00000000000003e8"
    "00000014 7472756e 00000001 00000001 000000e1"
    "00000018 7472756e 00000201 00000001 000000f6 00000005"
    // traf of track 2, the hints: 23 ms, all sync; from 1000; two tags from 212 on
    "00000050 74726166"
    "00000018 74666864 00020028 00000002 00000017 02000000"
    "00000014 74666474 01000000 00000000000003e8"
    "0000001c 7472756e 00000201 00000002 000000d4 00000015 00000016"
    "00000033 6d646174"
    "08 000006 0003e8 00 000000 af01 2d2e2f30 00000011"
    "08 000007 0003ff 00 000000 af01 f6f7f8f9fa 00000012";

constexpr const char* kRandomAccess =
    // tfra of track 1: numbers of four bytes, one entry: time 1000, moof at 1024, traf 1, trun 1, sample 1
    "0000004c 6d667261"
    "00000034 74667261 01000000 00000001 0000003f 00000001"
    "00000000000003e8 0000000000000400 00000001 00000001 00000001"
    "00000010 6d66726f 00000000 0000004c";

constexpr auto spaced = [](const std::string& image) { return hex(fromHex(image)); };

TEST(SegmentImage, OfAnAudioTrackAndItsHints) {
  SegmentMaker maker;
  maker.addAudioTrack().addHintTrack();
  const auto written = [&maker] { return hex(maker.stream.bytes); };
  EXPECT_EQ(written(), "") << "nothing is written before the first fragment is started";

  EXPECT_EQ(maker.start(), 972U);
  EXPECT_EQ(written(), spaced(kHeader));

  maker.begin("abc").audio(1000, 4, true).audio(1023, 5);
  EXPECT_EQ(written(), spaced(kHeader)) << "an open fragment has no byte in the file";

  EXPECT_EQ(maker.start(), 972U + 307U);
  EXPECT_EQ(written(), spaced(std::string(kHeader) + kFragment));

  maker.begin().audio(1046, 6);
  maker.end();
  EXPECT_EQ(written(), spaced(std::string(kHeader) + kFragment + kRandomAccess))
      << "a fragment still open at the end is dropped";
  EXPECT_EQ(maker.heldTags(), 0U);
  EXPECT_FALSE(maker.stream.isOpen);
}

/// Video, audio, data and hint tracks (1 to 4), and one fragment that `fill` has filled.
std::vector<std::byte> segmentOf(const std::function<void(SegmentMaker&)>& fill) {
  SegmentMaker maker;
  maker.addVideoTrack().addAudioTrack().addDataTrack().addHintTrack().start();
  fill(maker.begin());
  maker.start();
  maker.end();
  EXPECT_EQ(maker.heldTags(), 0U);
  return maker.stream.bytes;
}

TEST(FragmentBoxes, OfVideoWithReorderedFramesByteForByte) {
  const ReadSegment segment(segmentOf([](SegmentMaker& maker) {
    maker.sequenceHeader(80)
        .video(80, true, 100, 80)
        .video(120, false, 30, 120)
        .video(160, false, 20, 0)
        .video(200, false, 20, -40);
  }));
  // The first tag, the sequence header, is 300 after the start of the moof; the frames lie in tags at 323, 443, 493
  // and 533, after 16 bytes of each. Where a run has no duration it is 40 ms, where it has no size 20 bytes.
  EXPECT_EQ(segment.image(segment.fragments.at(0).tracks.at(0).offset),
            "000000a0 74726166 "
            "0000001c 74666864 00020038 00000001 00000028 00000014 01010000 "
            "00000014 74666474 01000000 00000000 00000050 "
            "00000020 7472756e 01000a05 00000001 00000153 02000000 00000064 00000050 "
            "0000001c 7472756e 01000a01 00000001 000001cb 0000001e 00000078 "
            "00000014 7472756e 00000001 00000001 000001fd "
            "00000018 7472756e 01000801 00000001 00000225 ffffffd8");
}

TEST(FragmentBoxes, DescribeTheSamplesOfEachTrack) {
  const std::tuple<const char*, std::function<void(SegmentMaker&)>, const char*> rows[] = {
      {"the last one takes the duration before, a lone one none",
       [](auto& maker) { maker.audio(10, 5).audio(33, 5).audio(57, 5).video(40, true, 5); },
       "video 40+0!, audio 10+23! 33+24! 57+24!, 4 tags"},
      {"going backward takes no time",
       [](auto& maker) { maker.audio(4294967290, 5).audio(4294967295, 5).audio(3, 5).audio(3, 5).audio(9, 5); },
       "audio 4294967290+5! 4294967295+0! 4294967295+0! 4294967295+6! 4294967301+6!, 5 tags"},
      {"only video has frames that are not sync",
       [](auto& maker) { maker.video(0, true, 5).video(40, false, 5).video(80, true, 5).audio(0, 5).data(0, 5); },
       "video 0+40! 40+40 80+40!, audio 0+0!, data 0+0!, 5 tags"},
      {"samples of no bytes are hints alone", [](auto& maker) { maker.video(0, true, 0).audio(0, 0).audio(23, 4); },
       "audio 23+0!, 3 tags"},
      {"tracks come in their order, those without samples not at all",
       [](auto& maker) { maker.data(5, 7).video(5, true, 9).data(6, 8); }, "video 5+0!, data 5+1! 6+1!, 3 tags"}};
  for (const auto& [what, fill, samples] : rows) {
    EXPECT_EQ(ReadSegment(segmentOf(fill)).samples(0), samples) << what;
  }
}

TEST(FragmentSamples, ALoneOneLastsAsLongAsTheWayFromTheFragmentBefore) {
  MemoryStream stream;
  std::uint64_t last = 0;
  {
    SegmentMaker maker(stream);
    maker.addVideoTrack().addAudioTrack().addHintTrack().start();
    maker.begin().video(0, true, 5).audio(1000, 5).audio(1023, 5).start();
    maker.begin().video(5000, true, 5).audio(5010, 5).start();
    last = maker.begin().audio(9000, 5).start();
    maker.begin().video(9500, true, 5).start();
  }
  const char* const expected[] = {"video 0+0!, audio 1000+23! 1023+23!, 3 tags",
                                  "video 5000+5000!, audio 5010+3987!, 2 tags", "audio 9000+3990!, 1 tags",
                                  "video 9500+0!, 1 tags"};
  for (std::size_t i = 0; i < std::size(expected); ++i) EXPECT_EQ(ReadSegment(stream.bytes).samples(i), expected[i]);
  SegmentMaker appended(stream, last);
  appended.start();
  appended.begin().video(12000, true, 5).start();
  EXPECT_EQ(ReadSegment(stream.bytes).samples(4), "video 12000+2500!, 1 tags");
}

TEST(CompositionOffsets, AreReadFromAvcTagsAlone) {
  constexpr std::string_view kAvcC = SegmentMaker::kAvcC;
  const std::tuple<const char*, std::string_view, std::int32_t, const char*> rows[] = {
      {"h264", "", 1, "video 0+0/1!, 1 tags"},
      {"avc1", "", -8388608, "video 0+0/-8388608!, 1 tags"},
      {"encv", kAvcC, 80, "video 0+0/80!, 1 tags"},
      {"encv", "avcC", 80, "video 0+0!, 1 tags"},
      {"encv", {"\0\0\0\x08sinf", 8}, 80, "video 0+0!, 1 tags"}};
  for (const auto& [format, codecHeader, given, stored] : rows) {
    SegmentMaker maker;
    maker.addVideoTrack(format, codecHeader).addHintTrack().start();
    maker.begin().video(0, true, 5, given);
    maker.start();
    EXPECT_EQ(ReadSegment(maker.stream.bytes).samples(0), stored) << format;
  }
}

TEST(RandomAccess, HasTheFirstSyncSampleOfEachFragmentAndTrack) {
  SegmentMaker maker;
  maker.addVideoTrack().addAudioTrack().addHintTrack().start();
  maker.begin().video(0, false, 5).video(40, true, 5, 80).audio(11, 5).audio(34, 5).start();
  maker.begin().video(80, false, 5);
  maker.start();
  maker.end();
  const ReadSegment segment(maker.stream.bytes);
  const std::uint64_t moof = segment.fragments.at(0).boxes.moof.offset;
  EXPECT_EQ(segment.accessPoints,
            (std::vector<RandomAccessTable::Entry>{
                {.trackId = 1, .time = 120, .moofOffset = moof, .trafNumber = 1, .trunNumber = 2, .sampleNumber = 1},
                {.trackId = 2, .time = 11, .moofOffset = moof, .trafNumber = 2, .trunNumber = 1, .sampleNumber = 1}}));
}

TEST(OpenFragment, RefusesCallsOutOfOrder) {
  SegmentMaker maker;
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
  EXPECT_EQ(segment.samples(0), "audio 46+0!, 1 tags");
  EXPECT_TRUE(fragment.accessPoints.empty());
  EXPECT_EQ(hex(fragment.abstBody), hex(std::string_view("again")));
}

TEST(OpenFragment, RefusesSamplesThatContradictThemselves) {
  SegmentMaker maker, other;
  maker.addAudioTrack().addHintTrack().start();
  maker.begin();
  other.addAudioTrack().addHintTrack();
  const std::byte tag[20]{};
  k2m::Track hint, media;
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
  EXPECT_EQ(add([&] { media = maker.hintTrack(); }), kKrvoBadArgument);
  EXPECT_EQ(add([&] { media = other.audioTrack(); }), kKrvoBadArgument);
  EXPECT_EQ(add([&] { info.sample.timescale = 0; }), kKrvoBadArgument);
  EXPECT_EQ(add([&] { info.media.offset = 17; }), kKrvoBadArgument);
  EXPECT_EQ(add([&] { info.media.offset = 0xFFFFFFFF; }), kKrvoBadArgument);
  EXPECT_EQ(add([&] { info.sample.time = ~0ULL, info.sample.timescale = 1; }), kKrvoTooLarge);
  EXPECT_EQ(add([] {}), kKrvoOk);
  EXPECT_NO_THROW(maker.start()) << "the fragment is as it was";
}

Movie movieWith(FourCC media) {
  Movie movie;
  for (const FourCC handler : {media, "hint"_4cc}) {
    movie.tracks.push_back(std::make_shared<Track>());
    movie.tracks.back()->handler = handler;
  }
  return movie;
}

TEST(FragmentPlan, BeginsARunWithEachKeyFrameEvenIfItTouchesThePictureBefore) {
  const Movie movie = movieWith("vide"_4cc);
  OpenFragment fragment;
  for (const bool key : {false, true, false, true}) {
    const OpenFragment::TrackSample picture{0, {.size = 5, .sync = key}};
    fragment.add({OwnedData(), 5}, {.hint = {1, {.size = 5}}, .media = picture, .accessPoint = {}});
  }
  FragmentPlan plan;
  plan.make(fragment, movie, {});
  EXPECT_EQ(plan.trafs().front().runs.size(), 3U);
}

/// The boxes of a fragment with a tag of that many bytes and, where wanted, a sample of audio in another one after it.
std::vector<std::byte> boxesAround(std::uint32_t tagBytes, bool hasAudio) {
  const Movie movie = movieWith("soun"_4cc);
  OpenFragment fragment;
  fragment.add({OwnedData(), tagBytes}, {.hint = {1, {.size = tagBytes}}, .media = {}, .accessPoint = {}});
  const OpenFragment::TrackSample audio{0, {.offset = 13, .size = 5}};
  if (hasAudio) fragment.add({OwnedData(), 22}, {.hint = {1, {.size = 22}}, .media = audio, .accessPoint = {}});
  FragmentPlan plan;
  plan.make(fragment, movie, {});
  qvs::util::ByteWriter out;
  writeFragmentBoxes(out, plan, fragment, 1);
  return out.take();
}

TEST(LargeFragment, HasA64BitSizeWhereItIsNeeded) {
  const std::pair<std::uint32_t, const char*> rows[] = {{0xFFFFFFF7, "ffffffff 6d646174"},
                                                        {0xFFFFFFF8, "00000001 6d646174 00000001 00000008"}};
  for (const auto& [tagBytes, mdat] : rows) {
    const auto boxes = boxesAround(tagBytes, false);
    EXPECT_EQ(hex(std::span(boxes).last(fromHex(mdat).size())), mdat);
  }
}

TEST(LargeFragment, ReachesNoFurtherThanARunCanTell) {
  EXPECT_THROW(boxesAround(0x7FFFFFFF, true), std::out_of_range);
  EXPECT_NO_THROW(boxesAround(0x7FFFFF00, true));
  EXPECT_NO_THROW(boxesAround(0x7FFFFFFF, false)) << "hints lie one behind another";
}

TEST(LargeFragment, IsRefusedWhereADistanceTakesMoreThan32Bits) {
  SegmentMaker maker;
  maker.addAudioTrack().addHintTrack();
  const std::uint64_t position = maker.start();
  maker.begin().audio(0, 10).audio(0xFFFFFFFF, 10).audio(0x1FFFFFFFF, 10);
  EXPECT_EQ(statusOf([&] { maker.start(); }), kKrvoTooLarge);
  EXPECT_EQ(maker.stream.size(), position) << "nothing was written";
  EXPECT_EQ(maker.heldTags(), 0U);
  maker.begin().audio(0x1FFFFFFFF, 10);
  EXPECT_GT(maker.start(), position);
}

}  // namespace
}  // namespace krvo::container
