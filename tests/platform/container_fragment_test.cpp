// How samples are laid out in a fragment's boxes.

#include <gtest/gtest.h>

#include <functional>
#include <tuple>

#include "platform/container/SegmentReader.h"
#include "platform/container/fragmentCheck.h"
#include "tests/support/MemoryStream.h"
#include "tests/support/SegmentMaker.h"
#include "tests/support/hex.h"

namespace krvo::container {
namespace {

using k2m::Exception;
using k2m::makeRecord;
using test::hex;
using test::MemoryStream;
using test::SegmentMaker;
using test::statusOf;

/// One fragment of video, audio, data and hint tracks (1 to 4) that `fill` has filled.
class OneFragment {
 public:
  explicit OneFragment(const std::function<void(SegmentMaker&)>& fill) {
    SegmentMaker maker(stream_);
    maker.addVideoTrack().addAudioTrack().addDataTrack().addHintTrack();
    const std::uint64_t position = maker.start();
    maker.begin();
    fill(maker);
    maker.start();
    maker.end();
    EXPECT_EQ(maker.heldTags(), 0U);
    source_.emplace(stream_.bytes);
    reader_.emplace(*source_);
    fragment_ = reader_->readFragment(position);
    for (const auto& fault : checkFragment(fragment_, tags(), reader_->movie())) ADD_FAILURE() << fault.what();
  }

  const Fragment& get() const { return fragment_; }
  std::vector<StoredTag> tags() { return reader_->readTags(fragment_); }
  const TrackFragment& track(std::uint32_t id) const {
    for (const auto& track : fragment_.tracks) {
      if (track.trackId == id) return track;
    }
    throw std::out_of_range("no such track in the fragment");
  }
  bool has(std::uint32_t id) const {
    return std::any_of(fragment_.tracks.begin(), fragment_.tracks.end(),
                       [id](const auto& track) { return track.trackId == id; });
  }
  std::string moof() const {
    const auto& moof = fragment_.boxes.moof;
    return hex(std::span(stream_.bytes).subspan(moof.offset, moof.size));
  }
  /// Of the `traf` of the track.
  std::string traf(std::uint32_t id) const {
    const std::size_t offset = track(id).offset;
    qvs::util::ByteReader size(std::span(stream_.bytes).subspan(offset));
    return hex(std::span(stream_.bytes).subspan(offset, size.u32()));
  }

 private:
  MemoryStream stream_;
  std::optional<MemorySource> source_;
  std::optional<SegmentReader> reader_;
  Fragment fragment_;
};

std::string canonical(const char* image) {
  return hex(test::fromHex(image));
}

using Sample3 = std::tuple<std::uint64_t, std::uint32_t, std::int32_t>;

/// Decode time, duration and composition offset of each sample.
std::vector<Sample3> times(const TrackFragment& track) {
  std::vector<Sample3> result;
  for (const auto& sample : track.samples) {
    result.emplace_back(sample.decodeTime, sample.duration, sample.compositionOffset);
  }
  return result;
}

TEST(FragmentBoxes, OfVideoWithReorderedFramesByteForByte) {
  const OneFragment fragment([](SegmentMaker& maker) {
    maker.sequenceHeader(80)
        .video(80, true, 100, 80)
        .video(120, false, 30, 120)
        .video(160, false, 20, 0)
        .video(200, false, 20, -40);
  });
  // The first tag, the sequence header, is 300 behind the start of the moof; the frames lie in tags at 323, 443, 493
  // and 533, behind 16 bytes of each. Where a run tells no duration it is 40 ms, where it tells no size 20 bytes.
  EXPECT_EQ(fragment.traf(1), canonical("000000a0 74726166"
                                        "0000001c 74666864 00020038 00000001 00000028 00000014 01010000"
                                        "00000014 74666474 01000000 0000000000000050"
                                        "00000020 7472756e 01000a05 00000001 00000153 02000000 00000064 00000050"
                                        "0000001c 7472756e 01000a01 00000001 000001cb 0000001e 00000078"
                                        "00000014 7472756e 00000001 00000001 000001fd"
                                        "00000018 7472756e 01000801 00000001 00000225 ffffffd8"));
  EXPECT_EQ(fragment.traf(4), canonical("0000006c 74726166"
                                        "00000014 74666864 00020020 00000004 02000000"
                                        "00000014 74666474 01000000 0000000000000050"
                                        "0000003c 7472756e 00000301 00000005 0000012c"
                                        "00000000 00000017 00000028 00000078 00000028 00000032"
                                        "00000028 00000028 00000028 00000028"));
}

TEST(FragmentBoxes, ComeInTrackOrderForTracksWithSamples) {
  const OneFragment fragment([](SegmentMaker& maker) { maker.data(5, 7).video(5, true, 9).data(6, 8); });
  std::vector<std::uint32_t> order;
  for (const auto& track : fragment.get().tracks) order.push_back(track.trackId);
  EXPECT_EQ(order, (std::vector<std::uint32_t>{1, 3, 4}));
}

TEST(FragmentBoxes, OfNoSamplesAreAWholeGroup) {
  OneFragment fragment([](SegmentMaker&) {});
  EXPECT_EQ(fragment.moof(), "00000018 6d6f6f66 00000010 6d666864 00000000 00000001");
  EXPECT_EQ(fragment.get().boxes.mdat.size, 8U);
  EXPECT_TRUE(fragment.tags().empty());
}

TEST(FragmentTimes, LastTakesTheDurationBefore) {
  const OneFragment fragment(
      [](SegmentMaker& maker) { maker.audio(10, 5).audio(33, 5).audio(57, 5).video(40, true, 5); });
  EXPECT_EQ(times(fragment.track(2)), (std::vector<Sample3>{{10, 23, 0}, {33, 24, 0}, {57, 24, 0}}));
  EXPECT_EQ(times(fragment.track(1)), (std::vector<Sample3>{{40, 0, 0}})) << "alone";
}

TEST(FragmentTimes, GoingBackwardTakesNoTime) {
  const OneFragment fragment(
      [](SegmentMaker& maker) { maker.audio(4294967290, 5).audio(4294967295, 5).audio(3, 5).audio(3, 5).audio(9, 5); });
  std::vector<std::uint32_t> durations;
  for (const auto& sample : fragment.track(2).samples) durations.push_back(sample.duration);
  EXPECT_EQ(durations, (std::vector<std::uint32_t>{5, 0, 0, 6, 6}));
  EXPECT_EQ(fragment.track(2).decodeTime, 4294967290U);
}

TEST(FragmentTimes, AreConvertedToTheTrack) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addVideoTrack().addHintTrack();
  const std::uint64_t position = maker.start();
  maker.begin();
  std::vector<std::byte> tag(16);
  for (const std::uint64_t time : {9000U, 10530U}) {
    auto info = makeRecord<K2MHintInfo>();
    info.sample.length = 16;
    info.sample.time = time;
    info.sample.timescale = 90000;
    info.sample.compositionOffset = static_cast<std::uint32_t>(-3600);
    info.media.length = 16;
    maker.writer().addHintSample(maker.hintTrack(), maker.videoTrack(), k2m::makeDataBuffer(tag.data()), info, true);
  }
  maker.start();
  maker.end();
  MemorySource source(stream.bytes);
  SegmentReader reader(source);
  const Fragment fragment = reader.readFragment(position);
  EXPECT_EQ(times(fragment.tracks.at(0)), (std::vector<Sample3>{{100, 17, -40}, {117, 17, -40}}));
  EXPECT_EQ(fragment.accessPoints.at(1).time, 117U);
}

TEST(FragmentSamples, AreSyncWhereTheTrackOrTheFrameIs) {
  const OneFragment fragment([](SegmentMaker& maker) {
    maker.video(0, true, 5).video(40, false, 5).video(80, true, 5).audio(0, 5).data(0, 5);
  });
  std::vector<bool> sync;
  for (const auto& sample : fragment.track(1).samples) sync.push_back(sample.sync);
  EXPECT_EQ(sync, (std::vector<bool>{true, false, true}));
  for (const std::uint32_t id : {2U, 3U, 4U}) {
    for (const auto& sample : fragment.track(id).samples) EXPECT_TRUE(sample.sync) << "track " << id;
  }
}

TEST(FragmentSamples, OfNoBytesAreHintsAlone) {
  const OneFragment fragment([](SegmentMaker& maker) { maker.video(0, true, 0).audio(0, 0).audio(23, 4); });
  EXPECT_FALSE(fragment.has(1));
  EXPECT_EQ(fragment.track(2).samples.size(), 1U);
  EXPECT_EQ(fragment.track(4).samples.size(), 3U);
}

/// Media samples whose bytes touch, since their ranges are whole tags.
TEST(FragmentSamples, ThatTouchShareARun) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addVideoTrack().addHintTrack();
  const std::uint64_t position = maker.start();
  maker.begin();
  std::vector<std::byte> tag(20);
  for (const bool sync : {true, false, false, true, false}) {
    auto info = makeRecord<K2MHintInfo>();
    info.sample.length = 20;
    info.sample.timescale = 1000;
    info.sample.flags = sync ? 1 : 0;
    info.media.length = 20;
    maker.writer().addHintSample(maker.hintTrack(), maker.videoTrack(), k2m::makeDataBuffer(tag.data()), info, false);
  }
  maker.start();
  maker.end();
  MemorySource source(stream.bytes);
  SegmentReader reader(source);
  const auto samples = reader.readFragment(position).tracks.at(0).samples;
  std::vector<std::uint32_t> runs;
  std::vector<bool> sync;
  for (const auto& sample : samples) {
    runs.push_back(sample.run);
    sync.push_back(sample.sync);
  }
  EXPECT_EQ(runs, (std::vector<std::uint32_t>{1, 1, 1, 2, 2})) << "a sync sample begins a run";
  EXPECT_EQ(sync, (std::vector<bool>{true, false, false, true, false}));
}

TEST(FragmentSamples, OfAnotherDescriptionSaySo) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addAudioTrack();
  const auto second =
      maker.writer().k2mWriter().addAudioSampleDescriptor(maker.audioTrack(), makeRecord<K2MAudioDescriptorInfo>(), {});
  maker.addHintTrack();
  const std::uint64_t position = maker.start();
  maker.writer().k2mWriter().setSampleDescriptor(maker.audioTrack(), second);
  maker.begin().audio(0, 4);
  maker.start();
  maker.end();
  MemorySource source(stream.bytes);
  const Fragment fragment = SegmentReader(source).readFragment(position);
  const auto tfhd = std::span(stream.bytes).subspan(fragment.tracks.at(0).offset + 8, 24);
  EXPECT_EQ(hex(tfhd), "00000020 74666864 0002003a 00000001 00000002 00000000");
}

TEST(CompositionOffsets, AreReadFromAvcTagsAlone) {
  const struct {
    const char* format;
    std::string_view codecHeader;
    std::int32_t given;
    std::int32_t stored;
  } rows[] = {{"H264", SegmentMaker::kAvcC, 8388607, 8388607},
              {"avc1", "", -8388608, -8388608},
              {"encv", SegmentMaker::kAvcC, 80, 80},
              {"encv", {"\0\0\0\x08sinf", 8}, 80, 0},
              {"VP6F", "", 80, 0}};
  for (const auto& row : rows) {
    MemoryStream stream;
    SegmentMaker maker(stream);
    maker.addVideoTrack(row.format, row.codecHeader).addHintTrack();
    const std::uint64_t position = maker.start();
    maker.begin().video(0, true, 5, row.given);
    maker.start();
    maker.end();
    MemorySource source(stream.bytes);
    const auto fragment = SegmentReader(source).readFragment(position);
    EXPECT_EQ(fragment.tracks.at(0).samples.at(0).compositionOffset, row.stored) << row.format;
  }
}

TEST(RandomAccess, HasTheFirstSyncSampleOfEachFragmentAndTrack) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addVideoTrack().addAudioTrack().addHintTrack();
  maker.start();
  maker.begin().video(0, false, 5).video(40, true, 5, 80).audio(11, 5).audio(34, 5);
  const std::uint64_t second = maker.start();
  maker.begin().video(80, false, 5);
  const std::uint64_t third = maker.start();
  maker.begin().audio(57, 5);
  const std::uint64_t end = maker.start();
  maker.end();

  MemorySource source(stream.bytes);
  SegmentReader reader(source);
  const auto moof = [&reader](std::uint64_t position) { return reader.readFragment(position).boxes.moof.offset; };
  const std::uint64_t first = reader.firstFragment();
  const auto box = reader.boxAt(end);
  ASSERT_TRUE(box && box->type == "mfra"_4cc);
  EXPECT_EQ(box->end(), stream.bytes.size());
  const auto table = reader.readRandomAccess(*box);
  const std::vector<RandomAccessTable::Entry> expected{
      {1, 120, moof(first), 1, 2, 1}, {2, 11, moof(first), 2, 1, 1}, {2, 57, moof(third), 1, 1, 1}};
  EXPECT_EQ(std::vector(table.entries().begin(), table.entries().end()), expected);
  EXPECT_GT(third, second);
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
  const OneFragment fragment([](SegmentMaker& maker) {
    maker.audio(0, 5, true).audio(23, 5);
    maker.begin("again");
    EXPECT_EQ(maker.heldTags(), 0U);
    maker.audio(46, 5);
  });
  EXPECT_EQ(times(fragment.track(2)), (std::vector<Sample3>{{46, 0, 0}}));
  EXPECT_TRUE(fragment.get().accessPoints.empty());
  EXPECT_EQ(hex(fragment.get().abstBody), hex(std::string_view("again")));
}

/// A call with one thing wrong, which gives the tag back all the same.
class RefusedSample : public testing::Test {
 protected:
  RefusedSample() {
    maker_.addVideoTrack().addAudioTrack().addHintTrack();
    other_.addAudioTrack().addHintTrack();
    maker_.start();
    maker_.begin();
    info_.sample.length = 20;
    info_.sample.timescale = 1000;
    info_.media.length = 4;
  }

  KrvoStatus add(const k2m::Track& hint, const k2m::Track& media) {
    const int before = released_;
    const auto status = statusOf([&] {
      maker_.writer().addHintSample(hint, media, k2m::makeDataBuffer(data_, &released_, &release), info_, true);
    });
    EXPECT_EQ(released_, before + (status == kKrvoOk ? 0 : 1));
    return status;
  }
  KrvoStatus add() { return add(maker_.hintTrack(), maker_.audioTrack()); }

  static void release(void* count) { ++*static_cast<int*>(count); }

  MemoryStream streams_[2];
  SegmentMaker maker_{streams_[0]};
  SegmentMaker other_{streams_[1]};
  std::byte bytes_[20]{};
  const void* data_ = bytes_;
  int released_ = 0;
  K2MHintInfo info_ = makeRecord<K2MHintInfo>();
};

TEST_F(RefusedSample, WithTracksThatAreNotWhatTheyShouldBe) {
  EXPECT_EQ(add(maker_.audioTrack(), maker_.audioTrack()), kKrvoBadArgument);
  EXPECT_EQ(add(maker_.hintTrack(), maker_.hintTrack()), kKrvoBadArgument);
  EXPECT_EQ(add(maker_.hintTrack(), other_.audioTrack()), kKrvoBadArgument);
  EXPECT_EQ(add(other_.hintTrack(), maker_.audioTrack()), kKrvoBadArgument);
  EXPECT_EQ(add(maker_.hintTrack(), {}), kKrvoBadArgument);
  EXPECT_EQ(add({}, maker_.audioTrack()), kKrvoBadArgument);
  EXPECT_EQ(add(), kKrvoOk);
}

TEST_F(RefusedSample, WithNumbersThatContradictEachOther) {
  const auto with = [this](const std::function<void()>& change) {
    const auto before = info_;
    change();
    const auto status = add();
    info_ = before;
    data_ = bytes_;
    return status;
  };
  EXPECT_EQ(with([this] { info_.sample.size = 31; }), kKrvoBadArgument);
  EXPECT_EQ(with([this] { info_.sample.length = 0; }), kKrvoBadArgument);
  EXPECT_EQ(with([this] { info_.sample.timescale = 0; }), kKrvoBadArgument);
  EXPECT_EQ(with([this] { info_.media.length = 21; }), kKrvoBadArgument);
  EXPECT_EQ(with([this] { info_.media.offset = 17; }), kKrvoBadArgument);
  EXPECT_EQ(with([this] { info_.media.offset = 0xFFFFFFFF; }), kKrvoBadArgument);
  EXPECT_EQ(with([this] { data_ = nullptr; }), kKrvoBadArgument);
  EXPECT_EQ(with([this] { info_.sample.time = ~0ULL, info_.sample.timescale = 1; }), kKrvoTooLarge);
  EXPECT_NO_THROW(maker_.start()) << "the fragment is as it was";
}

}  // namespace
}  // namespace krvo::container
