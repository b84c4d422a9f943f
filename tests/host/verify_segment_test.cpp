// A wrong byte in a segment is found, and named by file and place; and so is a segment that is cut short.

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "host/files/TagContent.h"
#include "platform/container/SegmentReader.h"
#include "tests/host/RecordingMaker.h"

namespace {

using namespace test;
using host::ExitStatus;
using host::Severity;
using host::Verification;
using krvo::container::BoxSpan;

/// Two segments of fragments with few samples.
RecordingPlan smallPlan() {
  return {.messages =
              stream().keyFramesEvery(2000).framesEvery(1000).audio(1100).frameBytes(40).audioBytes(20).until(12001),
          .settings = {{"Recording/SegmentDuration", "4000"}}};
}

/// Where the bytes are that only a decoder can judge: the payload of samples, and what a codec says of itself in the
/// two bytes in front, such as the channels of an AAC frame or that a picture is disposable.
std::vector<bool> decoderBytes(const MadeRecording& recording, const std::string& suffix) {
  host::FileView file(recording.path(suffix).string());
  std::vector<bool> payload(file.size());
  for (const auto& boxes : mapSegment(file).fragments) {
    for (std::uint64_t offset = boxes.mdat.payloadOffset(); offset < boxes.mdat.end();) {
      const std::uint64_t size = host::tagSizeAt(file, offset, boxes.mdat.end());
      const host::TagContent tag = host::readTag(file, offset, size, boxes.mdat.end());
      if (!tag.isSequenceHeader()) {
        const auto at = [&payload](std::uint64_t i) { return payload.begin() + static_cast<std::ptrdiff_t>(i); };
        const std::uint64_t data = tag.place.dataOffset();
        std::fill(at(data), at(data + 2), true);
        std::fill(at(data + *tag.sampleOffset), at(tag.place.end() - 4), true);
      }
      offset = tag.place.end();
    }
  }
  return payload;
}

TEST(VerifySegment, FindsEveryByteOfAFragmentThatChanges) {
  const MadeRecording recording(smallPlan());
  ASSERT_EQ(recording.verify().status(), ExitStatus::kOk);
  const std::string good = recording.read("Seg1.k2r");
  const std::vector<bool> payload = decoderBytes(recording, "Seg1.k2r");
  const auto begin = static_cast<std::size_t>(recording.boxesOf("Seg1.k2r").moov->end());
  std::set<std::size_t> missed;
  for (std::size_t i = begin; i < good.size(); ++i) {
    if (payload[i]) continue;
    std::string bad = good;
    // Bit 5 of a tag's type means nothing in a recording that is not protected: the host's byte is stored as it came.
    const int change = i % 8 == 5 ? 0x21 : 1 << i % 8;
    bad[i] = static_cast<char>(bad[i] ^ change);
    recording.write("Seg1.k2r", bad);
    if (!names(recording.verify(), "cam1Seg1.k2r", 0, good.size())) missed.insert(i);
  }
  EXPECT_EQ(missed, std::set<std::size_t>());
}

TEST(VerifySegment, NamesTheFieldThatChanges) {
  const MadeRecording recording(smallPlan());
  const std::string good = recording.read("Seg2.k2r");
  host::FileView file(recording.path("Seg2.k2r").string());
  krvo::container::SegmentReader reader(file);
  const auto map = mapSegment(file);
  const auto fragment = reader.readFragment(map.fragments[0].position());
  const auto tags = reader.readTags(fragment);
  const auto& boxes = fragment.boxes;
  const auto& video = fragment.tracks[0];
  const auto& hint = fragment.tracks.back();
  const std::uint64_t tfdt = good.find("tfdt", video.offset);
  const struct {
    const char* what;
    std::uint64_t changed;
    std::uint64_t named;
  } rows[] = {{"tag type", tags[3].offset, tags[3].offset},
              {"tag size", tags[3].offset + 3, tags[3].offset},
              {"tag time", tags[3].offset + 6, tags[3].offset + 4},
              {"time of the first tag", tags[0].offset + 6, tags[0].offset + 4},
              {"time of the last tag", tags.back().offset + 6, tags.back().offset + 4},
              {"high byte of a tag time", tags[3].offset + 7, tags[3].offset + 4},
              {"stream id of a tag", tags[3].offset + 9, tags[3].offset + 8},
              {"codec of a video tag", tags[2].offset + 11, tags[2].offset},
              {"configuration", tags[0].offset + 20, tags[0].offset + 16},
              {"back pointer", tags[3].end() - 1, tags[3].end() - 4},
              {"back pointer of the last tag", tags.back().end() - 1, tags.back().end() - 4},
              {"size of the afra", boxes.afra.offset + 3, boxes.abst.offset - 1},
              {"entry of the afra", boxes.afra.offset + 21 + 15, boxes.afra.offset + 21},
              {"time of an entry of the afra", boxes.afra.offset + 21 + 7, boxes.afra.offset + 21},
              {"SMPTE offset in the abst", boxes.abst.offset + 30, boxes.abst.offset + 29},
              {"sequence number", boxes.moof.offset + 23, boxes.moof.offset},
              {"time of the video track", tfdt + 4 + 4 + 7, video.offset},
              {"place of a video sample", video.samples[1].toldAt - 1, video.samples[1].toldAt},
              {"duration in the hint track", hint.samples[2].toldAt + 3, hint.samples[2].toldAt},
              {"size in the hint track", hint.samples[2].toldAt + 7, hint.samples[2].toldAt},
              {"size of the mdat", boxes.mdat.offset + 3, tags.back().offset},
              {"an entry of the mfra", map.tail.front().offset + 40, map.tail.front().offset + 40}};
  for (const auto& row : rows) {
    std::string bad = good;
    bad[row.changed] = static_cast<char>(bad[row.changed] ^ 1);
    recording.write("Seg2.k2r", bad);
    const Verification verification = recording.verify();
    EXPECT_TRUE(names(verification, "cam1Seg2.k2r", row.named, row.named)) << row.what << "\n"
                                                                           << textReport(verification);
    EXPECT_EQ(verification.status(), ExitStatus::kDamaged) << row.what;
  }
}

/// All places where a box ends, and some between.
std::set<std::uint64_t> placesToCut(const MadeRecording& recording, const std::string& suffix) {
  const auto map = recording.boxesOf(suffix);
  std::set<std::uint64_t> places = {0, 1, 7, 8, 20};
  const auto add = [&places](const BoxSpan& box) {
    places.insert({box.offset, box.offset + 4, box.offset + 8, box.offset + box.size / 2, box.end() - 1});
  };
  add(*map.ftyp);
  add(*map.moov);
  for (const auto& boxes : map.fragments) {
    for (const BoxSpan& box : {boxes.afra, boxes.abst, boxes.moof, boxes.mdat}) add(box);
  }
  for (const BoxSpan& box : map.tail) add(box);
  return places;
}

TEST(VerifySegment, FindsOneThatIsCutShort) {
  const MadeRecording recording(smallPlan());
  for (const char* const suffix : {"Seg1.k2r", "Seg2.k2r"}) {
    const std::string good = recording.read(suffix);
    const std::uint64_t fragmentsEnd = recording.boxesOf(suffix).fragments.back().end();
    for (const std::uint64_t place : placesToCut(recording, suffix)) {
      recording.write(suffix, good.substr(0, place));
      const Verification verification = recording.verify();
      SCOPED_TRACE(suffix + std::string(" cut at ") + std::to_string(place) + "\n" + textReport(verification));
      // Without the table at its end the last segment is what an interrupted stop leaves; an earlier one, what a disk
      // does that was full just then.
      const bool isLast = std::string(suffix) == "Seg2.k2r";
      const bool isWithoutTable = place == fragmentsEnd && !isLast;
      EXPECT_TRUE(isWithoutTable || names(verification, std::string("cam1") + suffix, 0, place));
      EXPECT_EQ(verification.status(), isLast && place >= fragmentsEnd ? ExitStatus::kRepairable
                                       : isWithoutTable                ? ExitStatus::kOk
                                                                       : ExitStatus::kDamaged);
    }
    recording.write(suffix, good);
  }
}

TEST(VerifySegment, GoesOnBehindAFragmentThatCannotBeRead) {
  const MadeRecording recording({.messages = stream().keyFramesEvery(2000).until(20001)});
  const auto fragments = recording.boxesOf("Seg1.k2r").fragments;
  std::string bad = recording.read("Seg1.k2r");
  const std::uint64_t abst = fragments[1].abst.offset;
  const std::uint64_t tag = fragments[3].mdat.payloadOffset();
  bad[abst + 4] ^= 1;
  bad[tag] ^= 1;
  recording.write("Seg1.k2r", bad);
  const Verification verification = recording.verify();
  EXPECT_EQ(verification.fragments, 4U);
  EXPECT_TRUE(names(verification, "cam1Seg1.k2r", abst, abst));
  EXPECT_TRUE(names(verification, "cam1Seg1.k2r", tag, tag));
  EXPECT_LE(verification.findings.count(Severity::kDamage), 5U) << textReport(verification);
}

}  // namespace
