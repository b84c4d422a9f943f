// How fragments reach the stream: in few writes, with no memory kept, and whole again after a write that failed;
// and after whatever a run before has left there.

#include "platform/container/GatherWriter.h"
#include "tests/platform/container/reading.h"
#include "tests/support/SegmentMaker.h"

namespace krvo::container {
namespace {

using namespace test;

using Bytes = std::vector<std::byte>;

constexpr std::uint64_t kKiB = 1024;

/// Knows what a writer keeps of it.
class CountingAllocator {
 public:
  CountingAllocator() {
    table.size = sizeof(table);
    table.context = this;
    table.alloc = [](void* context, std::uint64_t bytes) -> void* {
      auto& self = *static_cast<CountingAllocator*>(context);
      if (self.empty) return nullptr;
      ++self.calls;
      return &self.blocks.emplace_back(bytes)[0];
    };
    table.free = [](void* context, void* block) {
      std::erase_if(static_cast<CountingAllocator*>(context)->blocks,
                    [block](const auto& held) { return &held[0] == block; });
    };
  }
  KrvoK2MAllocatorCallBacks table{};
  std::vector<std::vector<std::byte>> blocks;
  int calls = 0;
  bool empty = false;
};

using Sizes = std::vector<std::uint64_t>;

class Gather : public testing::Test {
 protected:
  /// Pieces of memory of these sizes, none of which touch; returns the sizes of the writes.
  Sizes write(const Sizes& sizes) {
    std::vector<std::vector<std::byte>> pieces;
    std::vector<std::byte> expected;
    for (const std::uint64_t size : sizes) {
      // Apart even where the heap lays blocks side by side.
      auto& piece = pieces.emplace_back(size + 1, static_cast<std::byte>(pieces.size()));
      writer_.add(std::span(piece).first(size));
      expected.insert(expected.end(), piece.begin(), piece.end() - 1);
    }
    memory_.writes.clear();
    writer_.write(stream_, 7);
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), memory_.bytes.begin() + 7));
    EXPECT_TRUE(allocator_.blocks.empty()) << "no memory is kept";
    return memory_.writes;
  }

  MemoryStream memory_;
  Stream stream_{k2m::makeCallBacks(memory_)};
  CountingAllocator allocator_;
  GatherWriter writer_{allocator_.table};
};

TEST_F(Gather, WritesTheLargestRunsFromWhereTheyAre) {
  const std::uint64_t small = 60 * kKiB;
  const std::uint64_t chunk = StagingBuffer::kCapacity;
  const std::tuple<const char*, Sizes, Sizes> rows[] = {
      {"small ones, of which a copy is cheaper", {small, small, small}, {3 * small}},
      {"one large", {small, 100 * kKiB, small}, {small, 100 * kKiB, small}},
      {"two large", {10, 100 * kKiB, 10, 90 * kKiB}, {10, 100 * kKiB, 10, 90 * kKiB}},
      {"a second that would make five", {10, 100 * kKiB, 10, 90 * kKiB, 10}, {10, 100 * kKiB, 20 + 90 * kKiB}},
      {"three in a row", {10, 80 * kKiB, 90 * kKiB, 90 * kKiB}, {10, 80 * kKiB, 90 * kKiB, 90 * kKiB}},
      {"more than a chunk", Sizes(100, 30'000), {chunk, 3'000'000 - chunk}},
      {"one of many chunks", {10, 5 * chunk, 10}, {10, 5 * chunk, 10}},
      {"nothing", {}, {}}};
  for (const auto& [what, pieces, writes] : rows) EXPECT_EQ(write(pieces), writes) << what;
  EXPECT_EQ(write(Sizes(400, 30'000)).size(), 6U) << "more than the budget for what needs it";
}

TEST_F(Gather, TakesTouchingPiecesForOneRun) {
  const std::vector<std::byte> memory(300'000);
  for (std::size_t at = 0; at < memory.size(); at += 1000) writer_.add(std::span(memory).subspan(at, 1000));
  writer_.write(stream_, 0);
  EXPECT_EQ(memory_.writes, Sizes({300'000}));
  EXPECT_EQ(allocator_.calls, 0);
}

TEST_F(Gather, WithoutMemoryWritesNothing) {
  allocator_.empty = true;
  EXPECT_THROW(write({10, 10}), std::bad_alloc);
  EXPECT_TRUE(memory_.writes.empty());
  writer_.clear();
  allocator_.empty = false;
  EXPECT_EQ(write({10, 10}), Sizes({20}));
}

TEST(FailedWrite, IsCoveredWhereLessFollows) {
  SegmentMaker maker;
  maker.addVideoTrack().addAudioTrack().addHintTrack();
  const std::uint64_t position = maker.start();
  // The second of several writes takes a part, and then nothing.
  maker.stream.failingWrite = maker.stream.writes.size() + 1;
  maker.stream.failingWrites = 2;
  maker.stream.bytesOfFailingWrite = 50'000;
  maker.begin().video(0, true, 120'000).audio(0, 300).video(40, false, 90'000);
  EXPECT_EQ(statusOf([&] { maker.start(); }), kKrvoWriteFailed);
  EXPECT_EQ(maker.heldTags(), 0U);
  EXPECT_EQ(maker.start(), position) << "it is written again where it was";
  for (const char* const layout : {"AF", "AAF"}) {
    maker.begin().video(0, true, 500).start();
    EXPECT_EQ(ReadSegment(maker.stream.bytes).layout, layout);
  }
  maker.end();
  const ReadSegment segment(maker.stream.bytes);
  EXPECT_EQ(segment.layout, "AAFR");
  EXPECT_EQ(segment.accessPoints.size(), 2U) << "none for the fragment that failed";
}

TEST(FailedWrite, OfTheTableIsCovered) {
  SegmentMaker maker;
  maker.addAudioTrack().addHintTrack().start();
  maker.begin().audio(0, 100).start();
  maker.stream.failingWrite = maker.stream.writes.size();
  maker.stream.failingWrites = 2;
  maker.stream.bytesOfFailingWrite = 20;
  maker.end();
  EXPECT_EQ(ReadSegment(maker.stream.bytes).layout, "AF");
}

TEST(NewSegment, CoversWhatTheFileHeld) {
  MemoryStream stream(std::vector(5000, std::byte{0xFF}));
  SegmentMaker maker(stream);
  maker.addAudioTrack().addHintTrack().start();
  EXPECT_EQ(ReadSegment(stream.bytes).layout, "F");
}

/// A stream that takes any count in small steps is slow, not broken.
TEST(Stream, MovesAllBytesInAsManyCallsAsItTakes) {
  MemoryStream memory;
  memory.bytesOfWrite = 3;
  const std::vector<std::byte> bytes(10, std::byte{7});
  Stream(k2m::makeCallBacks(memory)).write(0, bytes);
  EXPECT_EQ(memory.bytes, bytes);
  EXPECT_EQ(memory.writes, Sizes({10, 7, 4, 1}));
}

constexpr std::uint64_t kNoPosition = std::numeric_limits<std::uint64_t>::max();

void addFragment(SegmentMaker& maker, std::uint32_t number, std::uint32_t frameSize = 200) {
  const std::uint64_t time = std::uint64_t{number} * 100;
  maker.begin("bootstrap " + std::to_string(number)).sequenceHeader(time);
  maker.video(time, true, frameSize, 40).audio(time, 30, true).video(time + 40, false, frameSize / 2);
}

/// Three fragments and an `mfra`; an index names the first two, or as many as a test wants.
struct Recorded {
  Recorded() {
    SegmentMaker maker;
    maker.addVideoTrack().addAudioTrack().addHintTrack();
    positions.push_back(maker.start());
    for (std::uint32_t number = 0; number < 3; ++number) {
      addFragment(maker, number);
      positions.push_back(maker.start());
    }
    maker.end();
    bytes = maker.stream.bytes;
  }

  Bytes until(std::uint64_t end) const { return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(end)}; }

  Bytes bytes;
  /// Of the fragments, and the end of the last one.
  std::vector<std::uint64_t> positions;
};

const Recorded& recorded() {
  static const Recorded instance;
  return instance;
}

/// Each fragment can be entered in both tracks, and nothing else is named.
void expectAccessToAll(const ReadSegment& segment) {
  std::vector<std::pair<std::uint64_t, std::uint32_t>> expected, found;
  for (const auto& fragment : segment.fragments)
    for (const std::uint32_t id : {1U, 2U}) expected.emplace_back(fragment.boxes.moof.offset, id);
  for (const auto& entry : segment.accessPoints) found.emplace_back(entry.moofOffset, entry.trackId);
  EXPECT_EQ(found, expected);
}

TEST(Append, ToAFileProperlyEndedKeepsItsAccessPoints) {
  const auto& whole = recorded();
  MemoryStream stream(whole.bytes);
  SegmentMaker maker(stream, whole.positions[2]);
  EXPECT_LE(stream.reads.size(), 20U) << "the table is read, not made anew from all fragments";
  EXPECT_EQ(maker.start(), whole.positions[3]);
  EXPECT_EQ(statusOf([&] { maker.addAudioTrack(); }), kKrvoBadArgument) << "no more tracks";
  maker.end();
  EXPECT_TRUE(stream.bytes == whole.bytes) << "nothing added, nothing changed";
}

/// An append that crashed leaves the end of an `mfra` that an earlier run wrote, older than the fragments before it.
TEST(Append, DoesNotTakeAnOldTableForTheLastOne) {
  const auto& whole = recorded();
  MemoryStream stream(whole.bytes);
  // The large third fragment is not indexed; what replaces it is smaller, and the old `mfra` stays at the end.
  SegmentMaker crashed(stream, whole.positions[1]);
  const std::uint64_t position = crashed.start();
  addFragment(crashed, 2, 30);
  crashed.start();
  MemoryStream again(stream.bytes);
  ASSERT_EQ(again.bytes.size(), whole.bytes.size());
  SegmentMaker maker(again, position);
  maker.end();
  const ReadSegment segment(again.bytes);
  EXPECT_EQ(segment.layout, "AAAFR");
  expectAccessToAll(segment);
}

TEST(Append, WithoutAPositionFindsTheLastWholeFragment) {
  const auto& whole = recorded();
  for (std::size_t length = whole.positions[0]; length <= whole.bytes.size(); ++length) {
    const auto behind = std::ranges::upper_bound(whole.positions, length);
    for (const std::uint64_t position : {std::uint64_t{0}, kNoPosition}) {
      MemoryStream stream(whole.until(length));
      EXPECT_EQ(SegmentMaker(stream, position).start(), *(behind - 1)) << "cut at " << length;
    }
  }
}

void expectRefused(const Bytes& bytes, std::uint64_t position) {
  MemoryStream stream(bytes);
  EXPECT_EQ(statusOf([&] { SegmentMaker(stream, position); }), kKrvoMalformed) << bytes.size() << " at " << position;
  EXPECT_TRUE(stream.bytes == bytes) << "nothing is written";
  EXPECT_EQ(stream.references, 0);
}

TEST(Append, RefusesAPositionWithoutAWholeFragment) {
  const auto& [bytes, positions] = recorded();
  for (std::size_t length = 0; length < positions[2]; ++length) expectRefused(recorded().until(length), positions[1]);
  for (const std::uint64_t position :
       {std::uint64_t{1}, positions[0] - 1, positions[1] + 1, std::uint64_t{bytes.size()}, std::uint64_t{1} << 40,
        std::uint64_t{1} << 63, kNoPosition - 1}) {
    expectRefused(bytes, position);
  }
}

TEST(Append, RefusesToWriteBehindABoxThatEndsWithTheFile) {
  const auto& positions = recorded().positions;
  for (const auto& [end, type] : {std::pair(positions[0], "moov"), std::pair(positions[2], "mdat")}) {
    Bytes bytes = recorded().until(end);
    const auto name = qvs::util::asBytes(type);
    const auto found = std::find_end(bytes.begin(), bytes.end(), name.begin(), name.end());
    std::fill(found - 4, found, std::byte{0});
    expectRefused(bytes, 0);
  }
}

TEST(Append, StopsWhereTheHostDoesNotWantWhatACrashLeft) {
  struct Refusing final : k2m::WarningHandler {
    std::uint32_t warning(std::uint32_t) override { return 0; }
  } refusing;
  const auto& [bytes, positions] = recorded();
  MemoryStream stream(bytes);
  const auto append = [&](std::uint64_t position) {
    return statusOf([&] { k2m::K2RWriter(stream, refusing, k2m::Allocator(), position); });
  };
  EXPECT_EQ(append(positions[2]), kKrvoOk) << "an `mfra` is no leftover";
  EXPECT_EQ(append(positions[1]), kKrvoStopped);
  EXPECT_TRUE(stream.bytes == bytes) << "it was asked before anything is overwritten";
}

}  // namespace
}  // namespace krvo::container
