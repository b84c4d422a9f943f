// How a fragment reaches the stream: in few writes, with little memory kept, and whole again after a write that failed.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "platform/container/GatherWriter.h"
#include "platform/container/StatusError.h"
#include "platform/container/retention.h"
#include "tests/platform/container_reading.h"
#include "tests/support/SegmentMaker.h"
#include "tests/wrappers/statusOf.h"

namespace krvo::container {
namespace {

using test::MemoryStream;
using test::ReadSegment;
using test::SegmentMaker;
using test::statusOf;

constexpr std::uint64_t kKiB = 1024;

/// Counts the bytes that a writer holds of it.
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
  std::uint64_t held() const {
    std::uint64_t sum = 0;
    for (const auto& block : blocks) sum += block.size();
    return sum;
  }

  KrvoK2MAllocatorCallBacks table{};
  std::vector<std::vector<std::byte>> blocks;
  int calls = 0;
  bool empty = false;
};

using Sizes = std::vector<std::uint64_t>;

class Gather : public testing::Test {
 protected:
  /// Pieces of memory of these sizes, none of which touch; answers the sizes of the writes.
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

TEST_F(Gather, KeepsLittleAndUsesItAgain) {
  write(Sizes(100, 30'000));
  EXPECT_EQ(allocator_.held(), 0U);
  write(Sizes(10, 10'000));
  EXPECT_LE(allocator_.held(), kRetainedBytes);
  const int calls = allocator_.calls;
  for (int i = 0; i < 10; ++i) write(Sizes(10, 10'100));
  EXPECT_EQ(allocator_.calls, calls);
}

TEST_F(Gather, WithoutMemoryWritesNothing) {
  allocator_.empty = true;
  EXPECT_THROW(write({10, 10}), std::bad_alloc);
  EXPECT_TRUE(memory_.writes.empty());
  writer_.clear();
  allocator_.empty = false;
  EXPECT_EQ(write({10, 10}), Sizes({20}));
}

TEST(FragmentWrites, AreFewWhateverTheNumberOfTags) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addVideoTrack().addAudioTrack().addHintTrack().start();
  for (int round = 0; round < 3; ++round) {
    // 270 blocks from 200 bytes to 40 KB with three of 100 KB among them, 3 MB together.
    maker.begin();
    for (std::uint32_t i = 0; i < 135; ++i)
      maker.video(i * 40, i % 60 == 0, i % 60 == 0 ? 100'000 : 200 + i * 295 + i % 7).audio(i * 40, 370 + i % 5);
    stream.writes.clear();
    maker.start();
    EXPECT_LE(stream.writes.size(), GatherWriter::kWriteBudget) << "round " << round;
  }
}

TEST(FailedWrite, IsCoveredWhereLessFollows) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addVideoTrack().addAudioTrack().addHintTrack();
  const std::uint64_t position = maker.start();
  // The second of several writes takes a part, and then nothing.
  stream.failingWrite = stream.writes.size() + 1;
  stream.failingWrites = 2;
  stream.bytesOfFailingWrite = 50'000;
  maker.begin().video(0, true, 120'000).audio(0, 300).video(40, false, 90'000);
  EXPECT_EQ(statusOf([&] { maker.start(); }), kKrvoWriteFailed);
  EXPECT_EQ(maker.heldTags(), 0U);
  EXPECT_FALSE(maker.gaveBackTwice());
  EXPECT_EQ(maker.start(), position) << "it is written again where it was";
  for (const char* const layout : {"AF", "AAF"}) {
    maker.begin().video(0, true, 500);
    maker.start();
    EXPECT_EQ(ReadSegment(stream.bytes).layout, layout);
  }
  maker.end();
  const ReadSegment segment(stream.bytes);
  EXPECT_EQ(segment.layout, "AAFR");
  EXPECT_EQ(segment.accessPoints.size(), 2U) << "none for the fragment that failed";
}

TEST(FailedWrite, OfTheTableIsCovered) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addAudioTrack().addHintTrack().start();
  maker.begin().audio(0, 100);
  maker.start();
  stream.failingWrite = stream.writes.size();
  stream.failingWrites = 2;
  stream.bytesOfFailingWrite = 20;
  maker.end();
  EXPECT_EQ(ReadSegment(stream.bytes).layout, "AF");
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

TEST(Stream, AnswersWhatItIsToldAndIsReleased) {
  MemoryStream memory;
  memory.failingWrite = 0;
  memory.failureStatus = 77;
  auto table = k2m::makeCallBacks(memory);
  const std::byte bytes[4]{};
  EXPECT_EQ(test::statusOf<StatusError>([&] { Stream(table).write(0, bytes); }), 77U);
  EXPECT_EQ(memory.opens, 1);
  table.open = [](void*) -> KrvoStatus { return 5; };
  EXPECT_EQ(test::statusOf<StatusError>([&] { Stream{table}; }), 5U);
  table.open = nullptr;
  EXPECT_EQ(test::statusOf<StatusError>([&] { Stream{table}; }), kKrvoBadArgument);
  EXPECT_EQ(memory.references, 0);
}

}  // namespace
}  // namespace krvo::container
