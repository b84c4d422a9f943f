// A wrong byte is found in any file, and named by file and place; and so is a file that ends early or late.

#include <random>

#include "host/files/TagContent.h"
#include "host/files/imageFields.h"
#include "host/files/smallFiles.h"
#include "host/inspect/describeFile.h"
#include "platform/container/reading/SegmentReader.h"
#include "tests/host/hostTools.h"
#include "util/bytes.h"

namespace {

using namespace test;
using host::ExitStatus;
using host::Severity;
using host::Verification;
using krvo::container::BoxSpan;

/// Changes each byte of a file in turn, as `changesOf` says for its place, and returns the places of those that a check
/// does not find in this file.
std::set<std::size_t> missedChanges(const MadeRecording& recording, const std::string& suffix,
                                    const std::function<std::vector<int>(std::size_t)>& changesOf) {
  std::set<std::size_t> missed;
  const std::string good = recording.read(suffix);
  for (std::size_t i = 0; i < good.size(); ++i) {
    for (const int change : changesOf(i)) {
      std::string bad = good;
      bad[i] = static_cast<char>(bad[i] ^ change);
      recording.write(suffix, bad);
      if (!names(recording.verify(), "cam1" + suffix)) missed.insert(i);
    }
  }
  recording.write(suffix, good);
  return missed;
}

TEST(VerifySmallFiles, FindsEveryByteThatChanges) {
  const std::tuple<const char*, RecordingPlan, std::set<std::size_t>, std::set<std::size_t>> rows[] = {
      {"two segments", {av(2000).until(20001), {{"Recording/SegmentDuration", "8000"}}}, {}, {}},
      // A recorder that takes back a held fragment at the stop leaves the change of the table and the count of numbers
      // that it had announced, and nothing else says how many these were: the low bytes of the bootstrap version and
      // of the fragments in the last segment.
      {"a held fragment", {av(10000).until(38001)}, {15, 65, 66, 67}, {}},
      {"a lead-in", {stream().audio(500).from(1500).until(16001)}, {}, {}},
      {"a gap", {av(2000).until(9000) + av(2000).withoutHeaders().from(30000).until(40001)}, {}, {}},
      // The first of several numbers that a reopened recorder passes over has a time that no other file says, between
      // those around it.
      {"an append over a gap", {av(2000).until(9000), {}, true, av(2000).from(31000).until(44001)}, {}, {95, 96}}};
  for (const auto& [what, plan, freeInBootstrap, freeInIndex] : rows) {
    SCOPED_TRACE(what);
    const MadeRecording recording(plan);
    ASSERT_EQ(recording.verify().status(), ExitStatus::kOk);
    const auto expectFound = [&](const char* suffix, const std::set<std::size_t>& free) {
      const auto changesOf = [](std::size_t) -> std::vector<int> { return {0x01, 0x80}; };
      const auto missed = missedChanges(recording, suffix, changesOf);
      EXPECT_TRUE(std::ranges::includes(free, missed)) << suffix << ' ' << testing::PrintToString(missed);
    };
    expectFound(".control", {});
    expectFound(".bootstrap", freeInBootstrap);
    expectFound("Seg1.k2i", freeInIndex);
    if (std::filesystem::exists(recording.path("Seg2.k2i"))) expectFound("Seg2.k2i", {});
  }
}

TEST(VerifySmallFiles, NamesTheFieldThatChanges) {
  const MadeRecording recording({av(2000).until(20001), {{"Recording/SegmentDuration", "8000"}}});
  const std::size_t run = recording.read(".bootstrap").find("afrt") + 17, entry = 25 + 32;
  const std::tuple<const char*, const char*, std::size_t, std::size_t> rows[] = {
      {"base time", ".control", 3, 0},
      {"bootstrap version", ".bootstrap", 15, 12},
      {"current media time", ".bootstrap", 28, 21},
      {"first timestamp of a run", ".bootstrap", run + 11, run + 4},
      {"duration of a run", ".bootstrap", run + 15, run + 12},
      {"time of an entry", "Seg1.k2i", entry + 7, entry},
      {"segment of an entry", "Seg1.k2i", entry + 11, entry + host::kEntrySegment},
      {"fragment of an entry", "Seg1.k2i", entry + 15, entry + host::kEntryFragment},
      {"fragment of the last of two entries", "Seg2.k2i", entry + 15, entry + host::kEntryFragment},
      {"position of an entry", "Seg1.k2i", entry + 23, entry + host::kEntryPosition},
      {"offset inside of an entry", "Seg1.k2i", entry + 31, entry + host::kEntryOffsetInside}};
  for (const auto& [what, suffix, changed, named] : rows) {
    recording.restore();
    std::string bad = recording.read(suffix);
    bad[changed] = static_cast<char>(bad[changed] ^ 1);
    recording.write(suffix, bad);
    const Verification verification = recording.verify();
    EXPECT_TRUE(names(verification, std::string("cam1") + suffix, named, named)) << what << textReport(verification);
  }
}

/// Two segments of fragments with few samples.
RecordingPlan smallPlan() {
  return {stream().keyFramesEvery(2000).framesEvery(1000).audio(1100).frameBytes(40).audioBytes(20).until(12001),
          {{"Recording/SegmentDuration", "4000"}}};
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
  const std::vector<bool> payload = decoderBytes(recording, "Seg1.k2r");
  const auto begin = recording.boxesOf("Seg1.k2r").moov->end();
  const auto changesOf = [&](std::size_t i) -> std::vector<int> {
    if (i < begin || payload[i]) return {};
    // Bit 5 of a tag's type means nothing in a recording that is not protected: the host's byte is stored as it came.
    return {i % 8 == 5 ? 0x21 : 1 << i % 8};
  };
  EXPECT_EQ(missedChanges(recording, "Seg1.k2r", changesOf), std::set<std::size_t>());
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
  const std::uint64_t tfdt = good.find("tfdt", video.offset);
  const std::tuple<const char*, std::uint64_t, std::uint64_t> rows[] = {
      {"tag size", tags[3].offset + 3, tags[3].offset},
      {"tag time", tags[3].offset + 6, tags[3].offset + 4},
      {"time of the first tag", tags[0].offset + 6, tags[0].offset + 4},
      {"stream id of a tag", tags[3].offset + 9, tags[3].offset + 8},
      {"configuration", tags[0].offset + 20, tags[0].offset + 16},
      {"back pointer", tags[3].end() - 1, tags[3].end() - 4},
      {"size of the afra", boxes.afra.offset + 3, boxes.abst.offset - 1},
      {"entry of the afra", boxes.afra.offset + 21 + 15, boxes.afra.offset + 21},
      {"sequence number", boxes.moof.offset + 23, boxes.moof.offset},
      {"time of the video track", tfdt + 4 + 4 + 7, video.offset},
      {"key frame in the middle", video.samples[2].fieldsOffset - 3, video.samples[2].fieldsOffset},
      {"size of the mdat", boxes.mdat.offset + 3, tags.back().offset},
      {"an entry of the mfra", map.tail.front().offset + 40, map.tail.front().offset + 40}};
  for (const auto& [what, changed, named] : rows) {
    std::string bad = good;
    bad[changed] = static_cast<char>(bad[changed] ^ 1);
    recording.write("Seg2.k2r", bad);
    const Verification verification = recording.verify();
    EXPECT_TRUE(names(verification, "cam1Seg2.k2r", named, named)) << what << "\n" << textReport(verification);
    EXPECT_EQ(verification.status(), ExitStatus::kDamaged) << what;
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

/// Changes that damage often makes, and that readers trip over: single bits, fields of all ones or zeros, runs that are
/// cut out, doubled, or overwritten by others, and noise after a start that lets a reader continue.
std::string mutate(std::string bytes, std::mt19937& random) {
  const auto below = [&random](std::size_t limit) { return limit == 0 ? 0 : random() % limit; };
  for (std::size_t changes = 1 + below(4); changes > 0 && !bytes.empty(); --changes) {
    const std::size_t at = below(bytes.size());
    const std::size_t length = std::min<std::size_t>(1 + below(16), bytes.size() - at);
    const std::size_t field = std::min<std::size_t>(4, bytes.size() - at);
    const std::size_t kind = below(7);
    if (kind == 0) bytes[at] = static_cast<char>(bytes[at] ^ (1 << below(8)));
    if (kind == 1 || kind == 2) bytes.replace(at, field, field, kind == 1 ? '\xFF' : '\0');
    if (kind == 3) bytes.erase(at, length);
    if (kind == 4) bytes.insert(at, bytes.substr(below(bytes.size()), length));
    if (kind >= 5) bytes.resize(at);
    for (std::size_t noise = kind == 6 ? below(2000) : 0; noise > 0; --noise) bytes += static_cast<char>(random());
  }
  return bytes;
}

/// Whether a check has to object to a file that was changed: to another size of any, and to any change of an index, the
/// base time or the bootstrap. Of the others some bytes, such as dates, are in no other place; of the bootstrap only
/// its version and the 32 bits of the end, since the stop takes back the segment of an announced fragment.
bool mustObject(const std::string& suffix, const std::string& good, std::string bad) {
  if (good.size() != bad.size()) return true;
  if (suffix == ".bootstrap") {
    for (const std::size_t unknown : {12U, 25U}) bad.replace(unknown, 4, good, unknown, 4);
    return good != bad;
  }
  return (suffix == ".control" || suffix.ends_with(".k2i")) && good != bad;
}

TEST(VerifyAndInspect, GiveAVerdictWhateverTheBytes) {
  const MadeRecording recording(
      {stream().keyFramesEvery(2000).framesEvery(1000).audio(1100).frameBytes(40).until(40001),
       {{"Recording/SegmentDuration", "16000"}}});
  const std::string files[] = {".control", ".bootstrap", ".meta", "Seg1.k2i", "Seg2.k2i", "Seg1.k2r", "Seg2.k2r"};
  for (unsigned seed = 0; seed < 1800; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const std::string& suffix = files[random() % std::size(files)];
    const std::string good = recording.read(suffix), bad = mutate(good, random);
    recording.write(suffix, bad);
    const Verification verification = recording.verify();
    host::InspectErrors errors;
    const auto description = host::describePath(recording.directory(), host::Detail::kFields, errors);
    EXPECT_EQ(names(verification, "cam1" + suffix), verification.status() != ExitStatus::kOk) << suffix;
    EXPECT_TRUE(!mustObject(suffix, good, bad) || verification.status() != ExitStatus::kOk) << suffix;
    const std::string text = description.document.dump(-1, ' ', true, host::Json::error_handler_t::replace);
    const bool namesFault =
        text.find("\"error\":") != std::string::npos || !description.document.at("summary").at("unreadable").empty();
    EXPECT_EQ(namesFault, !errors.empty()) << suffix;
    recording.write(suffix, good);
  }
}

}  // namespace
