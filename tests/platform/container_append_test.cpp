// Reopening a segment over whatever a run before has left behind its last indexed fragment.

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>

#include "tests/platform/container_reading.h"
#include "tests/support/SegmentMaker.h"

namespace krvo::container {
namespace {

using test::MemoryStream;
using test::ReadSegment;
using test::SegmentMaker;
using test::statusOf;

using Bytes = std::vector<std::byte>;

constexpr std::uint64_t kNoPosition = std::numeric_limits<std::uint64_t>::max();

void addFragment(SegmentMaker& maker, std::uint32_t number, std::uint32_t frameSize = 200) {
  const std::uint64_t time = std::uint64_t{number} * 100;
  maker.begin("bootstrap " + std::to_string(number)).sequenceHeader(time);
  maker.video(time, true, frameSize, 40).audio(time, 30, true).video(time + 40, false, frameSize / 2);
}

/// Three fragments and an `mfra`; an index names the first two, or as many as a test wants.
struct Recorded {
  Recorded() {
    MemoryStream stream;
    SegmentMaker maker(stream);
    maker.addVideoTrack().addAudioTrack().addHintTrack();
    positions.push_back(maker.start());
    for (std::uint32_t number = 0; number < 3; ++number) {
      addFragment(maker, number);
      positions.push_back(maker.start());
    }
    maker.end();
    bytes = stream.bytes;
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
void expectAccessToAll(const ReadSegment& segment, const std::string& what) {
  std::vector<std::pair<std::uint64_t, std::uint32_t>> expected;
  for (const auto& fragment : segment.fragments) {
    for (const std::uint32_t id : {1U, 2U}) expected.emplace_back(fragment.boxes.moof.offset, id);
  }
  std::vector<std::pair<std::uint64_t, std::uint32_t>> found;
  for (const auto& entry : segment.accessPoints) found.emplace_back(entry.moofOffset, entry.trackId);
  EXPECT_EQ(found, expected) << what;
}

/// Reopens behind the second fragment and goes on for a while.
void continueAndCheck(const Bytes& bytes, const std::string& what) {
  const auto& positions = recorded().positions;
  MemoryStream stream(bytes);
  SegmentMaker maker(stream, positions[1]);
  EXPECT_EQ(ReadSegment(stream.bytes).layout, stream.bytes.size() > positions[2] ? "AAF" : "AA") << what;
  EXPECT_EQ(maker.start(), positions[2]) << what;
  std::string fragments = "AA";
  for (std::uint32_t number = 0; number < 3; ++number) {
    addFragment(maker, 10 + number, 60 + 90 * number);
    const std::uint64_t end = maker.start();
    fragments += 'A';
    EXPECT_EQ(ReadSegment(stream.bytes).layout, fragments + (stream.bytes.size() > end ? "F" : "")) << what;
  }
  maker.end();
  const ReadSegment whole(stream.bytes);
  EXPECT_TRUE(whole.layout == "AAAAAR" || whole.layout == "AAAAAFR") << what << ": " << whole.layout;
  expectAccessToAll(whole, what);
}

TEST(Append, GoesOnOverAnyTail) {
  const auto& [bytes, positions] = recorded();
  // The third fragment and the `mfra`, whole or cut anywhere.
  for (std::size_t length = positions[2]; length <= bytes.size(); length += 3)
    continueAndCheck(recorded().until(length), "cut at " + std::to_string(length));
  for (const std::byte value : {std::byte{0}, std::byte{0xFF}}) {
    for (const std::size_t count : {1U, 7U, 8U, 9U, 1000U, 5000U}) {
      Bytes tail = recorded().until(positions[2]);
      tail.insert(tail.end(), count, value);
      continueAndCheck(tail, std::to_string(count) + " times " + std::to_string(std::to_integer<int>(value)));
    }
  }
}

TEST(Append, ToAFileProperlyEndedKeepsItsAccessPoints) {
  const auto& whole = recorded();
  MemoryStream stream(whole.bytes);
  SegmentMaker maker(stream, whole.positions[2]);
  EXPECT_LE(stream.reads.size(), 20U) << "the table is read, not made anew from all fragments";
  EXPECT_EQ(maker.start(), whole.positions[3]);
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
  expectAccessToAll(segment, "the table");
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

/// Any byte of the header or of the fragment may be another one: the file is taken or refused, and what is taken can be
/// written on.
TEST(Append, SurvivesAnyDamagedByte) {
  const auto& whole = recorded();
  for (std::size_t i = 0; i < whole.positions[2]; ++i) {
    for (const unsigned mask : {0x01U, 0xFFU}) {
      MemoryStream stream(whole.bytes);
      stream.bytes[i] ^= static_cast<std::byte>(mask);
      const auto status = statusOf([&] {
        SegmentMaker maker(stream, whole.positions[1]);
        maker.start();
        addFragment(maker, 5);
        maker.start();
      });
      EXPECT_TRUE(status == kKrvoOk || status == kKrvoMalformed || status == kKrvoBadArgument ||
                  status == kKrvoTooLarge)
          << "byte " << i << ": " << status;
    }
  }
}

TEST(Append, FailsWithTheStream) {
  const auto& whole = recorded();
  MemoryStream stream(whole.until(whole.positions[2] + 50));
  stream.failingWrite = 0;
  EXPECT_EQ(statusOf([&] { SegmentMaker(stream, whole.positions[1]); }), kKrvoWriteFailed) << "the cover";
  EXPECT_EQ(stream.references, 0);

  MemoryStream unreadable(whole.bytes);
  unreadable.bytesOfRead = 0;
  EXPECT_EQ(statusOf([&] { SegmentMaker(unreadable, whole.positions[1]); }), kKrvoReadFailed);
}

class Warnings final : public k2m::WarningHandler {
 public:
  std::uint32_t warning(std::uint32_t code) override {
    codes.push_back(code);
    return 0;
  }
  std::vector<std::uint32_t> codes;
};

TEST(Append, StopsWhereTheHostDoesNotWantWhatACrashLeft) {
  const auto& whole = recorded();
  const k2m::Allocator allocator;
  Warnings warnings;
  MemoryStream stream(whole.bytes);
  k2m::K2RWriter(stream, warnings, allocator, whole.positions[2]);
  EXPECT_TRUE(warnings.codes.empty()) << "an `mfra` is no leftover";
  MemoryStream longer(whole.bytes);
  longer.bytes.push_back(std::byte{0});
  EXPECT_EQ(statusOf([&] { k2m::K2RWriter(longer, warnings, allocator, whole.positions[2]); }), kKrvoStopped)
      << "with something behind it, it may be";
  EXPECT_EQ(statusOf([&] { k2m::K2RWriter(stream, warnings, allocator, whole.positions[1]); }), kKrvoStopped);
  EXPECT_EQ(warnings.codes, (std::vector<std::uint32_t>{kKrvoWarnLeftover, kKrvoWarnLeftover}));
  EXPECT_TRUE(stream.bytes == whole.bytes) << "it was asked before anything is overwritten";
}

TEST(Append, TakesNoMoreTracks) {
  MemoryStream stream(recorded().bytes);
  SegmentMaker maker(stream, recorded().positions[2]);
  EXPECT_EQ(statusOf([&] { maker.addAudioTrack(); }), kKrvoBadArgument);
  EXPECT_EQ(statusOf([&] { maker.begin(); }), kKrvoBadArgument) << "no fragment started";
}

}  // namespace
}  // namespace krvo::container
