// How a fragment reaches the stream: in few writes, with little memory kept, and whole again after a write that failed.

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/container/GatherWriter.h"
#include "platform/container/StatusError.h"
#include "platform/container/retention.h"
#include "tests/platform/container_reading.h"
#include "tests/support/SegmentMaker.h"

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
  const struct {
    const char* what;
    Sizes pieces;
    Sizes writes;
  } rows[] = {{"small ones, of which a copy is cheaper", {small, small, small}, {3 * small}},
              {"one large", {small, 100 * kKiB, small}, {small, 100 * kKiB, small}},
              {"two large", {10, 100 * kKiB, 10, 90 * kKiB}, {10, 100 * kKiB, 10, 90 * kKiB}},
              {"a second that would make five", {10, 100 * kKiB, 10, 90 * kKiB, 10}, {10, 100 * kKiB, 20 + 90 * kKiB}},
              {"three in a row", {10, 80 * kKiB, 90 * kKiB, 90 * kKiB}, {10, 80 * kKiB, 90 * kKiB, 90 * kKiB}},
              {"more than a chunk", Sizes(100, 30'000), {chunk, 3'000'000 - chunk}},
              {"one of many chunks", {10, 5 * chunk, 10}, {10, 5 * chunk, 10}},
              {"nothing", {}, {}}};
  for (const auto& row : rows) EXPECT_EQ(write(row.pieces), row.writes) << row.what;
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
    for (std::uint32_t i = 0; i < 135; ++i) {
      maker.video(i * 40, i % 60 == 0, i % 60 == 0 ? 100'000 : 200 + i * 295 + i % 7).audio(i * 40, 370 + i % 5);
    }
    stream.writes.clear();
    maker.start();
    EXPECT_LE(stream.writes.size(), GatherWriter::kWriteBudget) << "round " << round;
  }
}

/// How writes fail, and what the library then answers.
struct Failure {
  const char* how;
  std::uint64_t count;
  std::uint64_t taken;
  std::uint32_t thrown;
  KrvoStatus answer;

  void begin(MemoryStream& stream, std::uint64_t write) const {
    stream.failingWrite = write;
    stream.failingWrites = count;
    stream.bytesOfFailingWrite = taken;
    stream.failureStatus = thrown;
  }
};

/// A fragment of several writes.
void fill(SegmentMaker& maker, std::uint32_t number) {
  maker.begin();
  maker.sequenceHeader(number * 100).video(number * 100, true, 120'000).audio(number * 100, 300);
  maker.video(number * 100 + 40, false, 90'000).audio(number * 100 + 23, 300);
}

/// Writes three fragments, each again when it fails, and ends the file.
void writeStubbornly(MemoryStream& stream, KrvoStatus failure) {
  SegmentMaker maker(stream);
  maker.addVideoTrack().addAudioTrack().addHintTrack();
  std::uint64_t position = 0;
  const auto starts = [&] {
    const auto status = statusOf([&] { position = maker.start(); });
    EXPECT_TRUE(status == kKrvoOk || status == failure) << status;
    EXPECT_EQ(maker.heldTags(), 0U);
    return status == kKrvoOk;
  };
  EXPECT_TRUE(starts() || starts());
  for (std::uint32_t number = 0; number < 3; ++number) {
    fill(maker, number);
    if (starts()) continue;
    EXPECT_EQ(maker.start(), position) << "the position has moved";
    fill(maker, number);
    EXPECT_TRUE(starts());
  }
  maker.end();
  EXPECT_FALSE(maker.gaveBackTwice());
}

TEST(FailedWrite, LeavesTheFileAsThoughItHadNotBeen) {
  const Failure failures[] = {{"takes nothing", 1, 0, 0, kKrvoWriteFailed},
                              {"takes a part and then nothing", 2, 1000, 0, kKrvoWriteFailed},
                              {"throws", 1, 0, 77, 77}};
  MemoryStream clean;
  writeStubbornly(clean, kKrvoOk);
  ASSERT_GT(clean.writes.size(), 8U);
  for (const auto& failure : failures) {
    // The last one writes the random access table; there is nobody to write it again.
    for (std::uint64_t n = 0; n + 1 < clean.writes.size(); ++n) {
      MemoryStream stream;
      failure.begin(stream, n);
      writeStubbornly(stream, failure.answer);
      EXPECT_TRUE(stream.bytes == clean.bytes) << "write " << n << ' ' << failure.how;
      EXPECT_FALSE(stream.isOpen);
    }
  }
}

TEST(FailedWrite, IsCoveredWhereLessFollows) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addVideoTrack().addAudioTrack().addHintTrack().start();
  Failure{"in the middle", 2, 50'000, 0, 0}.begin(stream, stream.writes.size() + 1);
  fill(maker, 0);
  EXPECT_EQ(statusOf([&] { maker.start(); }), kKrvoWriteFailed);
  maker.begin().video(0, true, 500);
  maker.start();
  EXPECT_EQ(ReadSegment(stream.bytes).layout, "AF");
  maker.begin().audio(0, 100);
  maker.start();
  EXPECT_EQ(ReadSegment(stream.bytes).layout, "AAF");
  maker.end();
  EXPECT_EQ(ReadSegment(stream.bytes).layout, "AAFR");
}

TEST(FailedWrite, ForGoodGivesBackAllTags) {
  for (std::uint64_t n = 0; n < 6; ++n) {
    MemoryStream stream;
    SegmentMaker maker(stream);
    maker.addVideoTrack().addAudioTrack().addHintTrack().start();
    Failure{"for good", MemoryStream::kNever, 0, 0, 0}.begin(stream, stream.writes.size() + n);
    for (std::uint32_t number = 0; number < 3; ++number) {
      fill(maker, number);
      if (number < 2) statusOf([&] { maker.start(); });
    }
    maker.end();
    EXPECT_EQ(maker.heldTags(), 0U);
    EXPECT_FALSE(maker.gaveBackTwice());
    EXPECT_FALSE(stream.isOpen);
  }
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

TEST(Stream, IsReferredToOnceAndReleased) {
  MemoryStream memory;
  auto table = k2m::makeCallBacks(memory);
  {
    const Stream stream(table);
    EXPECT_EQ(memory.references, 1);
    EXPECT_EQ(memory.opens, 1);
  }
  EXPECT_EQ(memory.references, 0);
  table.open = [](void*) -> KrvoStatus { return 5; };
  EXPECT_THROW(Stream{table}, StatusError);
  EXPECT_EQ(memory.references, 0) << "released although it did not open";
  table.open = nullptr;
  EXPECT_THROW(Stream{table}, StatusError);
}

}  // namespace
}  // namespace krvo::container
