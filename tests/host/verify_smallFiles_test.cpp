// A wrong byte in a small file is found, and named by file and place.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <set>

#include "host/files/imageFields.h"
#include "host/files/smallFiles.h"
#include "tests/host/RecordingMaker.h"
#include "util/bytes.h"

namespace {

using namespace test;
using host::ExitStatus;
using host::Verification;

StreamBuilder av(std::uint32_t keyFrames) {
  return stream().keyFramesEvery(keyFrames).framesEvery(500).audio(700);
}

/// Tells which offset has to be named for a byte; nothing where the file as such will do.
using PlaceOf = std::function<std::optional<std::uint64_t>(std::size_t)>;

/// Changes each byte of a file in turn and answers the offsets of those whose change is not found.
std::set<std::size_t> bytesThatMayChange(const MadeRecording& recording, const std::string& suffix,
                                         const PlaceOf& placeOf) {
  std::set<std::size_t> missed;
  const std::string good = recording.read(suffix);
  for (std::size_t i = 0; i < good.size(); ++i) {
    for (const int change : {0x01, 0x80}) {
      std::string bad = good;
      bad[i] = static_cast<char>(bad[i] ^ change);
      recording.write(suffix, bad);
      const Verification verification = recording.verify();
      if (!names(verification, "cam1" + suffix)) {
        missed.insert(i);
        continue;
      }
      const std::optional<std::uint64_t> place = placeOf(i);
      EXPECT_TRUE(!place || names(verification, "cam1" + suffix, *place, *place))
          << suffix << " byte " << i << " ^ " << change << ", expected at " << place.value_or(0) << "\n"
          << textReport(verification);
    }
  }
  recording.write(suffix, good);
  return missed;
}

/// The field that a byte of an index belongs to.
std::optional<std::uint64_t> placeInIndex(std::size_t i) {
  constexpr std::size_t kFirstEntry = 25;
  constexpr std::size_t kEntrySize = 32;
  if (i < kFirstEntry) return std::nullopt;
  const std::size_t entry = i - (i - kFirstEntry) % kEntrySize;
  std::size_t field = 0;
  for (const std::size_t start :
       {host::kEntrySegment, host::kEntryFragment, host::kEntryPosition, host::kEntryOffsetInside}) {
    if (i >= entry + start) field = start;
  }
  return entry + field;
}

/// The field that a byte of the bootstrap belongs to; nothing for the fields that others are counted, measured or told
/// apart by.
PlaceOf placeInBootstrap(const MadeRecording& recording) {
  const auto fields = host::listFields(host::parseBootstrap(qvs::util::asBytes(recording.read(".bootstrap"))));
  return [fields](std::size_t i) -> std::optional<std::uint64_t> {
    const auto field = std::ranges::find_if(fields, [i](const auto& known) { return i < known.end(); });
    for (const char* const part : {"count", "box size", " type", " version", "flags", "entry", "identifier", "data"}) {
      if (field->name.find(part) != std::string::npos && field->name != "bootstrap version") return std::nullopt;
    }
    // A marker is told by its duration of 0, and has a field more.
    const auto isMarker = [](const auto& known) { return known.name.ends_with("discontinuity"); };
    if (isMarker(*field) || (field + 1 != fields.end() && isMarker(*(field + 1)))) return std::nullopt;
    return field->offset;
  };
}

TEST(VerifySmallFiles, FindsEveryByteThatChanges) {
  const MadeRecording recording(
      {.messages = av(2000).until(20001), .settings = {{"Recording/SegmentDuration", "8000"}}});
  ASSERT_EQ(recording.verify().status(), ExitStatus::kOk);
  const std::set<std::size_t> none;
  EXPECT_EQ(bytesThatMayChange(recording, ".control", [](std::size_t) { return 0; }), none);
  EXPECT_EQ(bytesThatMayChange(recording, ".bootstrap", placeInBootstrap(recording)), none);
  EXPECT_EQ(bytesThatMayChange(recording, "Seg1.k2i", placeInIndex), none);
  EXPECT_EQ(bytesThatMayChange(recording, "Seg2.k2i", placeInIndex), none);
}

TEST(VerifySmallFiles, FindsEveryByteThatChangesBesideSkippedNumbers) {
  // The first of them lets the module take back a held fragment at the stop.
  const RecordingPlan plans[] = {
      {.messages = av(10000).until(38001)},
      {.messages = stream().audio(500).from(1500).until(16001)},
      {.messages = av(2000).until(9000) + av(2000).withoutHeaders().from(30000).until(40001)},
      {.messages = av(2000).until(9000), .appended = av(2000).from(31000).until(44001)}};
  for (const RecordingPlan& plan : plans) {
    const MadeRecording recording(plan);
    ASSERT_EQ(recording.verify().status(), ExitStatus::kOk);
    // A recorder that takes back a held fragment leaves the change of the table and the count of numbers that it had
    // announced, and nothing else tells how many these were: the low bytes of the bootstrap version and of the
    // fragments in the last segment.
    const std::set<std::size_t> allowed = {15, 65, 66, 67};
    const auto free = bytesThatMayChange(recording, ".bootstrap", placeInBootstrap(recording));
    EXPECT_TRUE(free.empty() || (&plan == plans && std::ranges::includes(allowed, free)))
        << ::testing::PrintToString(free);
    // The first of several numbers that a reopened recorder passes over has a time that no other file tells, between
    // those around it.
    const std::set<std::size_t> between = {95, 96};
    const auto freeInIndex = bytesThatMayChange(recording, "Seg1.k2i", placeInIndex);
    EXPECT_TRUE(freeInIndex.empty() || (!plan.appended.empty() && std::ranges::includes(between, freeInIndex)))
        << ::testing::PrintToString(freeInIndex);
  }
}

TEST(VerifySmallFiles, FindsFilesThatEndEarlyOrLate) {
  const MadeRecording recording({.messages = av(2000).until(12001)});
  for (const std::string suffix : {".control", ".bootstrap", ".meta", "Seg1.k2i"}) {
    const std::string good = recording.read(suffix);
    for (std::size_t size = 0; size < good.size(); ++size) {
      SCOPED_TRACE(suffix + " of " + std::to_string(size) + " bytes");
      recording.write(suffix, good.substr(0, size));
      const Verification verification = recording.verify();
      EXPECT_TRUE(names(verification, "cam1" + suffix));
      // The base time can be had from the fragments; an append does that.
      EXPECT_EQ(verification.status(), suffix == ".control" ? ExitStatus::kRepairable : ExitStatus::kDamaged);
    }
    recording.write(suffix, good + '\0');
    EXPECT_TRUE(names(recording.verify(), "cam1" + suffix)) << suffix;
    recording.write(suffix, good);
  }
}

}  // namespace
