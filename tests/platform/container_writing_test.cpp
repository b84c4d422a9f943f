// How a fragment reaches the stream: in few writes, with little memory kept, and whole again after a write that failed.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>

#include "platform/container/GatherWriter.h"
#include "platform/container/SegmentReader.h"
#include "platform/container/StatusError.h"
#include "platform/container/fragmentCheck.h"
#include "platform/container/retention.h"
#include "tests/support/MemoryStream.h"
#include "tests/support/SegmentMaker.h"

namespace krvo::container {
namespace {

using k2m::Exception;
using test::MemoryStream;
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

class Gather : public testing::Test {
 protected:
  /// Pieces of memory of these sizes, none of which touch; answers the sizes of the writes.
  std::vector<std::uint64_t> write(const std::vector<std::uint64_t>& sizes) {
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

using Sizes = std::vector<std::uint64_t>;

TEST_F(Gather, WritesTheLargestRunsFromWhereTheyAre) {
  const std::uint64_t small = 60 * kKiB;
  EXPECT_EQ(write({small, small, small}), Sizes({3 * small})) << "a copy is cheaper";
  EXPECT_EQ(write({small, 100 * kKiB, small}), Sizes({small, 100 * kKiB, small}));
  EXPECT_EQ(write({10, 100 * kKiB, 10, 90 * kKiB}), Sizes({10, 100 * kKiB, 10, 90 * kKiB}));
  EXPECT_EQ(write({10, 100 * kKiB, 10, 90 * kKiB, 10}), Sizes({10, 100 * kKiB, 10 + 90 * kKiB + 10}))
      << "the second would make five";
  EXPECT_EQ(write({10, 80 * kKiB, 90 * kKiB, 100 * kKiB}), Sizes({10, 80 * kKiB, 90 * kKiB, 100 * kKiB}));
  EXPECT_EQ(write({}), Sizes());
}

TEST_F(Gather, KeepsToChunksOfStaging) {
  const std::uint64_t chunk = StagingBuffer::kCapacity;
  EXPECT_EQ(write(Sizes(100, 30'000)), Sizes({chunk, 3'000'000 - chunk}));
  EXPECT_EQ(write({10, 5 * chunk, 10}), Sizes({10, 5 * chunk, 10}));
  EXPECT_EQ(write(Sizes(400, 30'000)).size(), 6U) << "more than the budget for what needs it";
  EXPECT_LE(allocator_.held(), chunk);
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

TEST_F(Gather, TakesTouchingPiecesForOneRun) {
  const std::vector<std::byte> memory(300'000);
  for (std::size_t at = 0; at < memory.size(); at += 1000) writer_.add(std::span(memory).subspan(at, 1000));
  memory_.writes.clear();
  writer_.write(stream_, 0);
  EXPECT_EQ(memory_.writes, Sizes({300'000}));
  EXPECT_EQ(allocator_.calls, 0);
}

TEST(FragmentWrites, AreFewWhateverTheNumberOfTags) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addVideoTrack().addAudioTrack().addHintTrack();
  maker.start();
  EXPECT_EQ(stream.writes.size(), 1U);
  // 270 blocks from 200 bytes to 40 KB with two of 100 KB among them, 4 MB together.
  const auto fill = [&maker] {
    maker.begin();
    for (std::uint32_t i = 0; i < 135; ++i) {
      maker.video(i * 40, i % 60 == 0, i % 60 == 0 ? 100'000 : 200 + i * 295 + i % 7).audio(i * 40, 370 + i % 5);
    }
  };
  for (int round = 0; round < 3; ++round) {
    stream.writes.clear();
    fill();
    maker.start();
    EXPECT_LE(stream.writes.size(), GatherWriter::kWriteBudget) << "round " << round;
  }
  EXPECT_EQ(maker.heldTags(), 0U);
}

/// How writes fail, and what the library then answers.
struct Failure {
  const char* how;
  std::uint64_t count;
  std::uint64_t taken;
  std::uint32_t thrown;
  KrvoStatus answer;
};
constexpr Failure kFailures[] = {{"takes nothing", 1, 0, 0, kKrvoWriteFailed},
                                 {"takes a part and then nothing", 2, 1000, 0, kKrvoWriteFailed},
                                 {"throws", 1, 0, 77, 77}};

void fail(MemoryStream& stream, std::uint64_t write, const Failure& failure) {
  stream.failingWrite = write;
  stream.failingWrites = failure.count;
  stream.bytesOfFailingWrite = failure.taken;
  stream.failureStatus = failure.thrown;
}

/// A fragment of several writes.
void fill(SegmentMaker& maker, std::uint32_t number) {
  maker.begin();
  maker.sequenceHeader(number * 100).video(number * 100, true, 120'000).audio(number * 100, 300);
  maker.video(number * 100 + 40, false, 90'000).audio(number * 100 + 23, 300);
}

/// Writes three fragments, each again when it fails. Answers the file.
std::vector<std::byte> writeStubbornly(MemoryStream& stream, KrvoStatus expected) {
  SegmentMaker maker(stream);
  maker.addVideoTrack().addAudioTrack().addHintTrack();
  const auto start = [&] {
    const auto status = statusOf([&] { maker.start(); });
    EXPECT_TRUE(status == kKrvoOk || status == expected) << status;
    EXPECT_EQ(maker.heldTags(), 0U);
    return status == kKrvoOk;
  };
  const bool started = start() || start();
  EXPECT_TRUE(started);
  std::uint64_t position = maker.start();
  for (std::uint32_t number = 0; number < 3; ++number) {
    fill(maker, number);
    if (!start()) {
      EXPECT_EQ(maker.start(), position) << "the position has moved";
      fill(maker, number);
      EXPECT_TRUE(start());
    }
    position = maker.start();
  }
  maker.end();
  EXPECT_FALSE(maker.gaveBackTwice());
  EXPECT_FALSE(stream.isOpen);
  return stream.bytes;
}

TEST(FailedWrite, LeavesTheFileAsThoughItHadNotBeen) {
  MemoryStream stream;
  const auto clean = writeStubbornly(stream, kKrvoOk);
  const std::uint64_t writes = stream.writes.size();
  ASSERT_GT(writes, 8U);
  for (const auto& failure : kFailures) {
    // The last one writes the random access table; there is nobody to write it again.
    for (std::uint64_t n = 0; n + 1 < writes; ++n) {
      MemoryStream failing;
      fail(failing, n, failure);
      EXPECT_TRUE(writeStubbornly(failing, failure.answer) == clean) << "write " << n << ' ' << failure.how;
    }
  }
}

/// Walks the whole boxes from the first fragment on, to the end of the file.
std::vector<std::string> boxesOf(const std::vector<std::byte>& bytes) {
  MemorySource source(bytes);
  SegmentReader reader(source);
  std::vector<std::string> types;
  for (auto box = reader.boxAt(reader.firstFragment()); box; box = reader.boxAt(box->end())) {
    types.push_back(qvs::util::toText(box->type));
    if (box->type != "afra"_4cc) continue;
    const Fragment fragment = reader.readFragment(box->offset);
    for (const auto& fault : checkFragment(fragment, reader.readTags(fragment), reader.movie())) {
      ADD_FAILURE() << fault.what();
    }
  }
  return types;
}

TEST(FailedWrite, IsCoveredWhereLessFollows) {
  using Types = std::vector<std::string>;
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addVideoTrack().addAudioTrack().addHintTrack();
  maker.start();
  fail(stream, stream.writes.size() + 1, {"in the middle", 2, 50'000, 0, kKrvoWriteFailed});
  fill(maker, 0);
  EXPECT_THROW(maker.start(), Exception);

  stream.failingWrite = MemoryStream::kNever;
  maker.begin().video(0, true, 500);
  maker.start();
  EXPECT_EQ(boxesOf(stream.bytes), Types({"afra", "abst", "moof", "mdat", "free"}));
  maker.begin().audio(0, 100);
  maker.start();
  EXPECT_EQ(boxesOf(stream.bytes), Types({"afra", "abst", "moof", "mdat", "afra", "abst", "moof", "mdat", "free"}));
  maker.end();
  EXPECT_EQ(boxesOf(stream.bytes),
            Types({"afra", "abst", "moof", "mdat", "afra", "abst", "moof", "mdat", "free", "mfra"}));
}

TEST(FailedWrite, GivesBackTheTagsWhereNoOneTriesAgain) {
  for (std::uint64_t n = 0; n < 6; ++n) {
    MemoryStream stream;
    std::optional<SegmentMaker> maker(stream);
    maker->addVideoTrack().addAudioTrack().addHintTrack();
    maker->start();
    fail(stream, stream.writes.size() + n, {"for good", MemoryStream::kNever, 0, 0, kKrvoWriteFailed});
    for (std::uint32_t number = 0; number < 2; ++number) {
      fill(*maker, number);
      statusOf([&] { maker->start(); });
    }
    fill(*maker, 2);
    maker->end();
    EXPECT_EQ(maker->heldTags(), 0U);
    EXPECT_FALSE(maker->gaveBackTwice());
    EXPECT_FALSE(stream.isOpen);
  }
}

/// A stream that takes any count in small steps is slow, not broken.
TEST(Stream, MovesAllBytesInAsManyCallsAsItTakes) {
  MemoryStream memory;
  memory.bytesOfWrite = 3;
  Stream stream(k2m::makeCallBacks(memory));
  const std::vector<std::byte> bytes(10, std::byte{7});
  stream.write(0, bytes);
  EXPECT_EQ(memory.bytes, bytes);
  EXPECT_EQ(memory.writes, Sizes({10, 7, 4, 1}));
}

TEST(Stream, IsReferredToOnceAndReleased) {
  MemoryStream memory;
  {
    const Stream stream(k2m::makeCallBacks(memory));
    EXPECT_EQ(memory.references, 1);
    EXPECT_EQ(memory.opens, 1);
  }
  EXPECT_EQ(memory.references, 0);

  auto table = k2m::makeCallBacks(memory);
  table.open = [](void*) -> KrvoStatus { return 5; };
  EXPECT_THROW(Stream{table}, StatusError);
  EXPECT_EQ(memory.references, 0) << "released although it did not open";
  table.open = nullptr;
  EXPECT_THROW(Stream{table}, StatusError);
}

}  // namespace
}  // namespace krvo::container
