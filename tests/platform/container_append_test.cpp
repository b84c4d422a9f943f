// Reopening a segment over whatever a run before has left behind its last indexed fragment.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <optional>
#include <string>

#include "platform/container/SegmentReader.h"
#include "platform/container/fragmentCheck.h"
#include "tests/support/MemoryStream.h"
#include "tests/support/SegmentMaker.h"

namespace krvo::container {
namespace {

using test::MemoryStream;
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

  Bytes bytes;
  /// Of the fragments, and the end of the last one.
  std::vector<std::uint64_t> positions;
};

const Recorded& recorded() {
  static const Recorded instance;
  return instance;
}

/// What lies behind the header, to the end of the file: A for a whole fragment, F for `free`, R for `mfra`, ? for
/// another box. Whatever is wrong in them is a failure of the test.
std::string layoutOf(const Bytes& bytes) {
  std::string layout;
  MemorySource source(bytes);
  SegmentReader reader(source);
  std::optional<Fragment> before;
  for (auto box = reader.boxAt(reader.firstFragment()); box;) {
    if (box->type == "afra"_4cc) {
      Fragment fragment = reader.readFragment(box->offset);
      auto faults = checkFragment(fragment, reader.readTags(fragment), reader.movie());
      if (before) {
        for (auto& fault : checkSequence(*before, fragment, reader.movie())) faults.push_back(std::move(fault));
      }
      for (const auto& fault : faults) ADD_FAILURE() << fault.what();
      box->size = fragment.boxes.size();
      before = std::move(fragment);
      layout += 'A';
    } else {
      layout += box->type == "free"_4cc ? 'F' : box->type == "mfra"_4cc ? 'R' : '?';
    }
    box = reader.boxAt(box->end());
  }
  return layout;
}

/// The `moof` of each entry of the `mfra` that ends the file.
std::vector<std::uint64_t> accessPointsOf(const Bytes& bytes, std::uint32_t trackId) {
  std::vector<std::uint64_t> moofs;
  MemorySource source(bytes);
  SegmentReader reader(source);
  for (auto box = reader.boxAt(reader.firstFragment()); box; box = reader.boxAt(box->end())) {
    if (box->type != "mfra"_4cc) continue;
    EXPECT_EQ(box->end(), bytes.size()) << "readers find it at the end of the file only";
    const RandomAccessTable table = reader.readRandomAccess(*box);
    for (const auto& entry : table.entries()) {
      if (entry.trackId == trackId) moofs.push_back(entry.moofOffset);
    }
  }
  return moofs;
}

std::vector<std::uint64_t> moofsOf(const Bytes& bytes) {
  std::vector<std::uint64_t> moofs;
  MemorySource source(bytes);
  SegmentReader reader(source);
  for (auto box = reader.boxAt(reader.firstFragment()); box; box = reader.boxAt(box->end())) {
    if (box->type == "moof"_4cc) moofs.push_back(box->offset);
  }
  return moofs;
}

Bytes withTail(const Bytes& bytes, std::uint64_t end, std::size_t count, std::byte value) {
  Bytes result(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(end));
  result.insert(result.end(), count, value);
  return result;
}

/// Reopens behind the second fragment and goes on for a while.
void continueAndCheck(const Bytes& bytes, const std::string& what) {
  const auto& positions = recorded().positions;
  MemoryStream stream(bytes);
  SegmentMaker maker(stream, positions[1]);
  const std::string leftover = stream.bytes.size() > positions[2] ? "F" : "";
  EXPECT_EQ(layoutOf(stream.bytes), "AA" + leftover) << what;
  EXPECT_EQ(maker.start(), positions[2]) << what;
  for (std::uint32_t number = 0; number < 3; ++number) {
    addFragment(maker, 10 + number, 60 + 90 * number);
    const std::uint64_t end = maker.start();
    EXPECT_EQ(layoutOf(stream.bytes).substr(0, 3 + number), std::string(3 + number, 'A')) << what;
    EXPECT_EQ(layoutOf(stream.bytes).size(), 3 + number + (stream.bytes.size() > end ? 1U : 0U)) << what;
  }
  maker.end();
  const std::string layout = layoutOf(stream.bytes);
  EXPECT_TRUE(layout == "AAAAAR" || layout == "AAAAAFR") << what << ": " << layout;
  EXPECT_EQ(accessPointsOf(stream.bytes, 1), moofsOf(stream.bytes)) << what;
  EXPECT_EQ(accessPointsOf(stream.bytes, 2), moofsOf(stream.bytes)) << what;
}

TEST(Append, GoesOnOverAnyTail) {
  const auto& bytes = recorded().bytes;
  const std::uint64_t end = recorded().positions[2];
  // The third fragment and the `mfra`, whole or cut anywhere.
  for (std::size_t length = end; length <= bytes.size(); length += 3) {
    continueAndCheck({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)},
                     "cut at " + std::to_string(length));
  }
  for (const std::size_t count : {1U, 7U, 8U, 9U, 1000U, 5000U}) {
    continueAndCheck(withTail(bytes, end, count, std::byte{0}), std::to_string(count) + " zeros");
    continueAndCheck(withTail(bytes, end, count, std::byte{0xFF}), std::to_string(count) + " ones");
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
  Bytes crashed;
  std::uint64_t position = 0;
  {
    // The large third fragment is not indexed; what replaces it is smaller, and the old `mfra` stays at the end.
    SegmentMaker maker(stream, whole.positions[1]);
    position = maker.start();
    addFragment(maker, 2, 30);
    maker.start();
    crashed = stream.bytes;
  }
  ASSERT_EQ(crashed.size(), whole.bytes.size());
  MemoryStream again(crashed);
  SegmentMaker maker(again, position);
  maker.start();
  maker.end();
  EXPECT_EQ(layoutOf(again.bytes), "AAAFR");
  EXPECT_EQ(accessPointsOf(again.bytes, 1), moofsOf(again.bytes));
}

TEST(Append, WithoutAPositionFindsTheLastWholeFragment) {
  const auto& whole = recorded();
  for (std::size_t length = whole.positions[0]; length <= whole.bytes.size(); ++length) {
    const auto behind = std::upper_bound(whole.positions.begin(), whole.positions.end(), length);
    for (const std::uint64_t position : {std::uint64_t{0}, kNoPosition}) {
      MemoryStream stream({whole.bytes.data(), length});
      SegmentMaker maker(stream, position);
      EXPECT_EQ(maker.start(), *(behind - 1)) << "cut at " << length;
    }
  }
}

TEST(Append, RefusesAFileCutShortOfThePosition) {
  const auto& whole = recorded();
  for (std::size_t length = 0; length < whole.positions[2]; ++length) {
    MemoryStream stream({whole.bytes.data(), length});
    EXPECT_EQ(statusOf([&] { SegmentMaker(stream, whole.positions[1]); }), kKrvoMalformed) << length;
    EXPECT_EQ(stream.bytes.size(), length) << "nothing is written";
    EXPECT_EQ(stream.references, 0);
  }
}

TEST(Append, RefusesAPositionThatIsNoFragment) {
  const auto& whole = recorded();
  for (const std::uint64_t position :
       {std::uint64_t{1}, whole.positions[0] - 1, whole.positions[1] + 1, std::uint64_t{whole.bytes.size()},
        std::uint64_t{1} << 40, std::uint64_t{1} << 63, kNoPosition - 1}) {
    MemoryStream stream(whole.bytes);
    EXPECT_EQ(statusOf([&] { SegmentMaker(stream, position); }), kKrvoMalformed) << position;
    EXPECT_TRUE(stream.bytes == whole.bytes);
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
  MemoryStream stream({whole.bytes.data(), whole.positions[2] + 50});
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
    return answer;
  }
  std::vector<std::uint32_t> codes;
  std::uint32_t answer = 1;
};

TEST(Append, WarnsOfWhatACrashLeft) {
  const auto& whole = recorded();
  const k2m::Allocator allocator;
  Warnings warnings;
  {
    MemoryStream stream(whole.bytes);
    k2m::K2RWriter(stream, warnings, allocator, whole.positions[2]);
    EXPECT_TRUE(warnings.codes.empty()) << "an `mfra` is no leftover";
  }
  MemoryStream stream(whole.bytes);
  warnings.answer = 0;
  EXPECT_EQ(statusOf([&] { k2m::K2RWriter(stream, warnings, allocator, whole.positions[1]); }), kKrvoStopped);
  EXPECT_EQ(warnings.codes, std::vector<std::uint32_t>{kKrvoWarnLeftover});
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
