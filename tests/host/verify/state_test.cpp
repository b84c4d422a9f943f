// What is in the directory as a whole: interruptions, missing files, files of different ages; what a check says of
// it, and what a repair and an append make of it.

#include "host/DirectoryLock.h"
#include "host/repair/repairRecording.h"
#include "host/verify/quickLook.h"
#include "tests/host/hostTools.h"

namespace {

using namespace test;
using enum host::ExitStatus;
using host::Verification;
using Outcome = host::Repair::Outcome;
using enum host::Repair::Outcome;
using Change = std::function<void(const MadeRecording&)>;
using Entries = std::vector<ruvo::k2r::AfraEntry>;

// Changes to a recording of three fragments.

void nothing(const MadeRecording&) {}

Change removed(const std::vector<const char*>& suffixes) {
  return [=](const MadeRecording& made) {
    for (const char* suffix : suffixes) made.remove(suffix);
  };
}

Change written(const char* suffix, const std::string& content) {
  return [=](const MadeRecording& made) { made.write(suffix, content); };
}

/// After the end of the segment.
Change added(const std::string& bytes) {
  return [=](const MadeRecording& made) { made.write("Seg1.k2r", made.read("Seg1.k2r") + bytes); };
}

Change entries(const std::function<void(Entries&)>& change) {
  return [=](const MadeRecording& made) { made.changeIndex("Seg1.k2i", change); };
}

Change both(const Change& one, const Change& other) {
  return [=](const MadeRecording& made) {
    one(made);
    other(made);
  };
}

/// Cuts the segment after its `moov`, or after its first fragment.
Change cutBehind(bool fragment, std::uint64_t more = 0) {
  return [=](const MadeRecording& made) {
    const auto boxes = made.boxesOf("Seg1.k2r");
    const std::uint64_t end = fragment ? boxes.fragments.front().end() : boxes.moov->end();
    std::filesystem::resize_file(made.path("Seg1.k2r"), end + more);
  };
}

/// Zeros in the table at the end of the segment, where a loss of power has lost a part of it.
void tornTable(const MadeRecording& made) {
  const std::size_t table = made.boxesOf("Seg1.k2r").randomAccess()->offset;
  made.write("Seg1.k2r", made.read("Seg1.k2r").replace(table + 20, 220, 220, '\0'));
}

/// The index as it was before the last fragment, as if its file had not been replaced any more.
const Change oldIndex = entries([](Entries& entries) { entries.pop_back(); });
/// The bootstrap as the fragment before the last one carries it.
const Change oldBootstrap = [](const MadeRecording& made) {
  made.changeBootstrap([](ruvo::k2r::BootstrapInfo& info) {
    info.segmentRunTables[0].segmentRuns[0].fragmentsPerSegment -= 1;
    info.currentMediaTime -= 4000;
  });
};
const Change withoutEndMark = [](const MadeRecording& made) {
  made.changeBootstrap([](auto& info) { info.fragmentRunTables[0].fragmentRuns.pop_back(); });
};

struct State {
  const char* what;
  Change change;
  host::ExitStatus status;
  /// What one line of the report says.
  std::string line;
  /// What a repair makes of it.
  Outcome outcome;
};

host::Repair repair(const std::string& directory) {
  host::Log log(stderr);
  return host::repairRecording(directory, {}, log);
}

/// What a quick look calls damaged is so to the whole check, too.
bool quickLookAgrees(const MadeRecording& made, const Verification& verification) {
  const auto directory = host::readRecordingDirectory(made.directory());
  return !directory.hasBootstrap || !host::quickLook(directory) || verification.status() == kDamaged;
}

/// `control` is what the file of the base time was.
void expectRepair(const MadeRecording& made, const Verification& found, Outcome outcome, const std::string& control) {
  const auto before = readAllFiles(made.directory());
  const auto boxes = outcome == kFinished ? made.boxesOf("Seg1.k2r") : host::SegmentMap();
  const auto repaired = repair(made.directory());
  EXPECT_EQ(repaired.outcome, outcome);
  if (outcome == kUntouched || outcome == kRefused) {
    EXPECT_TRUE(readAllFiles(made.directory()) == before);
    return;
  }
  EXPECT_EQ(repaired.verification.status(), kOk) << textReport(repaired.verification);
  EXPECT_EQ(repaired.verification.fragments, found.fragments);
  EXPECT_EQ(repaired.verification.stopped, outcome == kFinished);
  if (outcome == kEmptied && before.at("cam1.control") != control) return;
  EXPECT_EQ(made.read(".control"), control);
  EXPECT_EQ(repair(made.directory()).outcome, kUntouched);
  if (outcome == kEmptied) return;
  const auto kept = before.at("cam1Seg1.k2r").substr(0, boxes.fragments.at(found.fragments - 1).end());
  EXPECT_TRUE(made.read("Seg1.k2r").starts_with(kept));
}

void expectStates(const MadeRecording& recording, const std::vector<State>& states) {
  const std::string control = recording.read(".control");
  for (const State& state : states) {
    SCOPED_TRACE(state.what);
    const auto make = [&] {
      recording.restore();
      state.change(recording);
      return recording.verify();
    };
    const Verification verification = make();
    const std::string report = textReport(verification);
    EXPECT_EQ(verification.status(), state.status) << report;
    EXPECT_NE(report.find(state.line), std::string::npos) << state.line << "\n" << report;
    EXPECT_TRUE(quickLookAgrees(recording, verification)) << report;
    expectRepair(recording, verification, state.outcome, control);
    if (make().status() == kDamaged || !std::filesystem::exists(recording.path(".bootstrap"))) continue;
    recording.append(av().from(24000).until(40001));
    EXPECT_GE(expectWhole(recording.directory()).fragments, 6U);
  }
}

TEST(RecordingState, OfAnInterruptionIsMadeWhole) {
  const MadeRecording recording({.messages = av().until(12001), .stop = false});
  const std::string atEnd = "cam1Seg1.k2r: offset " + std::to_string(recording.read("Seg1.k2r").size());
  const std::string part = recording.read("Seg1.k2r").substr(recording.boxesOf("Seg1.k2r").moov->end(), 700);
  expectStates(
      recording,
      {{"nothing behind the last fragment", nothing, kOk, "cam1.bootstrap: note: not stopped", kFinished},
       {"part of a fragment", added(part), kRepairable, "repairable: `moof` of", kFinished},
       {"a free box", added(std::string("\0\0\0\x0A", 4) + "freexx"), kOk, "whole", kFinished},
       {"a fragment that the index does not name yet", both(oldIndex, oldBootstrap), kRepairable,
        "repairable: a whole fragment that the index does not name", kFinished},
       {"an index that could not be replaced", oldIndex, kRepairable,
        "cam1.bootstrap: repairable: continues after fragment 2", kFinished},
       {"a bootstrap that was not replaced any more", oldBootstrap, kRepairable,
        "cam1.bootstrap: repairable: ends before fragment 3", kFinished},
       {"temporary files", written(".k2i.tmp", "x"), kOk, "cam1.k2i.tmp: note", kFinished},
       {"no base time", removed({".control"}), kRepairable, "cam1.control: repairable: missing", kFinished},
       {"a base time cut short", written(".control", "x"), kRepairable, "cam1.control: ", kFinished},
       {"no bootstrap yet",
        both(both(removed({".bootstrap"}), entries([](Entries& entries) { entries.resize(1); })), cutBehind(true)),
        kRepairable, "cam1.bootstrap: repairable: missing", kFinished},
       {"part of the first fragment", both(removed({".bootstrap", "Seg1.k2i"}), cutBehind(false, 50)), kRepairable,
        "nothing has been recorded yet", kEmptied},
       {"a segment in which nothing has been written yet", both(removed({".bootstrap", "Seg1.k2i"}), cutBehind(false)),
        kOk, "nothing has been recorded yet", kUntouched},
       {"nothing but the base time", removed({".bootstrap", "Seg1.k2i", "Seg1.k2r", ".meta"}), kOk,
        "nothing has been recorded yet", kUntouched},
       {"neither index nor bootstrap any more", removed({".bootstrap", "Seg1.k2i"}), kDamaged,
        "cam1.bootstrap: damage: missing", kRefused},
       {"no bootstrap any more", removed({".bootstrap"}), kDamaged, "cam1.bootstrap: damage: missing", kRefused}});
}

TEST(RecordingState, OfFilesOfOtherAgesAndMissingOnesIsDamage) {
  using ruvo::k2r::kHeldFragmentOffset;
  using ruvo::k2r::kNoFragmentOffset;
  const MadeRecording recording({.messages = av().until(12001)});
  expectStates(
      recording,
      {{"as it was made", nothing, kOk, "whole; 1 segment, 3 fragments", kUntouched},
       {"no index", removed({"Seg1.k2i"}), kDamaged, "cam1Seg1.k2i: damage: missing", kRefused},
       {"no segment", removed({"Seg1.k2r"}), kDamaged, "cam1Seg1.k2r: damage: missing", kRefused},
       {"no description", removed({".meta"}), kDamaged, "cam1.meta: damage: missing", kRefused},
       {"a description of another width",
        [](const MadeRecording& made) {
          std::string meta = made.read(".meta");
          meta[meta.find("width") + 7] ^= 1;
          made.write(".meta", meta);
        },
        kDamaged, "damage: width: expected 640, found", kRefused},
       {"a table that begins, and no more", tornTable, kRepairable, "mfra: another table", kFinished},
       {"a foreign file", written(".txt", "x"), kOk, "cam1.txt: note: does not belong to the recording", kUntouched},
       {"an old index", oldIndex, kDamaged, "cam1.bootstrap: damage: continues after fragment 2", kRefused},
       {"an old bootstrap", oldBootstrap, kDamaged, "cam1.bootstrap: damage: ends before fragment 3", kRefused},
       {"a bootstrap without its end mark", withoutEndMark, kOk, "not stopped", kFinished},
       {"a fragment that the index has no position of",
        entries([](Entries& entries) { entries[1].afraOffset = kNoFragmentOffset; }), kDamaged,
        "cam1Seg1.k2i: offset 73: damage: entry 2: position", kRefused},
       {"a fragment that was never written",
        entries([](Entries& entries) { entries[2].afraOffset = kHeldFragmentOffset; }), kDamaged,
        "cam1Seg1.k2i: offset 105: repairable: entry 3: position: fragment 3 was announced", kRefused},
       {"a position one byte off", entries([](Entries& entries) { ++entries[1].afraOffset; }), kDamaged,
        "cam1Seg1.k2i: offset 73: damage: entry 2: position", kRefused},
       {"two positions exchanged",
        entries([](Entries& entries) { std::swap(entries[0].afraOffset, entries[1].afraOffset); }), kDamaged,
        "cam1Seg1.k2i: offset 73: damage: entry 2: position: expected one after", kRefused},
       {"a number that is left out", entries([](Entries& entries) { entries.erase(entries.begin() + 1); }), kDamaged,
        "cam1Seg1.k2i: offset", kRefused},
       {"a segment that the bootstrap does not know",
        both(written("Seg2.k2r", recording.read("Seg1.k2r")), written("Seg2.k2i", recording.read("Seg1.k2i"))),
        kDamaged, "cam1Seg2.k2r: damage: expected none after segment 1", kRefused}});
}

TEST(RecordingState, GoesByTheNameOfTheFiles) {
  const MadeRecording recording({.messages = av().until(12001), .stop = false});
  {
    recording.write(".k2i.tmp", "x");
    const host::DirectoryLock lock(recording.directory());
    EXPECT_NE(textReport(recording.verify()).find("cam1.k2i.tmp: note: belongs to process "), std::string::npos);
  }
  const std::string moved = recording.directory() + "-moved";
  std::filesystem::rename(recording.directory(), moved);
  EXPECT_NE(textReport(expectWhole(moved)).find("the directory was renamed"), std::string::npos);
  EXPECT_THROW(repair(moved), host::CommandError);
}

TEST(QuickLook, RefusesABootstrapWithoutASegment) {
  const MadeRecording recording({.messages = av().until(8001)});
  recording.changeBootstrap([](auto& info) { info.segmentRunTables[0].segmentRuns.clear(); });
  EXPECT_TRUE(host::quickLook(host::readRecordingDirectory(recording.directory())));
}

// Recordings as the module makes them, each of which is whole.

StreamBuilder dense(std::uint32_t keyFrames) {
  return av(keyFrames).framesEvery(200).audio(230);
}

/// Key frames at these times and other frames every 200 ms.
std::vector<StreamMessage> videoWithKeysAt(const std::vector<std::uint32_t>& keys, std::uint32_t until) {
  std::vector<StreamMessage> messages{metadata(0), avcSequenceHeader(0)};
  for (std::uint32_t time = 0; time < until; time += 100) {
    const bool key = std::find(keys.begin(), keys.end(), time) != keys.end();
    if (key || time % 200 == 0) messages.push_back(avcFrame(time, key, 200, time));
  }
  return messages;
}

/// Of a codec that gets a track, and is not written.
std::vector<StreamMessage> notWritten(std::uint32_t until) {
  std::vector<StreamMessage> messages{metadata(0)};
  for (std::uint32_t time = 0; time < until; time += 500)
    messages.push_back({9, time, fromHex(time % 2000 == 0 ? "13 00" : "23 00")});
  return messages;
}

/// The time passes 32 bits before the first key frame.
std::vector<StreamMessage> wrappingLeadIn() {
  return std::vector{metadata(4294955000),       avcSequenceHeader(4294955000), aacSequenceHeader(4294955000),
                     aacFrame(4294955000, 9, 1), aacFrame(4294964000, 9, 2),    avcFrame(4294965000, false, 9, 3)} +
         dense(2000).withoutHeaders().from(6000).until(20001);
}

struct LegalRecording {
  const char* what;
  std::uint64_t fragments;
  RecordingPlan plan;
};

RecordingPlan rolling(std::vector<StreamMessage> messages, std::vector<StreamMessage> appended = {}) {
  return {std::move(messages), {{"Recording/SegmentDuration", "8000"}}, true, std::move(appended)};
}

RecordingPlan appended(std::vector<StreamMessage> messages, std::vector<StreamMessage> more) {
  return {std::move(messages), {}, true, std::move(more)};
}

std::vector<LegalRecording> legalRecordings() {
  const auto audio = stream().audio(20);
  const std::map<std::string, std::string> coarse{{"Recording/FragmentDuration", "1000"},
                                                  {"Recording/DurationPrecision", "1000"}};
  return {
      {"audio alone, far from zero", 4, {stream().audio(20).from(987654321).until(987654321 + 20000)}},
      {"other codecs and script data", 4, {otherCodecs(16001)}},
      {"lead-in that ends behind the grid line", 6, {dense(3000).from(1700).until(30000)}},
      {"key frames every 10000, with one held at the stop", 5, {dense(10000).until(58001)}},
      {"a time older than the base time", 2, {framesAt("4000k 5972k 6547 2132 27768k"), coarse}},
      {"a time that wraps in the lead-in", 4, {wrappingLeadIn()}},
      {"codecs that are not written", 4, rolling(notWritten(16001))},
      {"segments, rare key frames", 22, rolling(dense(9000).until(200001))},
      {"a segment taken back at the stop", 3, rolling(videoWithKeysAt({0, 4000, 8000, 12000}, 22000))},
      {"a segment taken back, with numbers", 2, rolling(videoWithKeysAt({0, 4000, 20000, 24000}, 37000))},
      {"behind a held fragment", 8, appended(dense(10000).until(58001), dense(10000).from(70000).until(120001))},
      {"where a number is held and skipped", 3,
       appended(videoWithKeysAt({0, 8000}, 12501),
                std::vector{avcFrame(8000, false, 9, 1)} + dense(2000).from(8040).until(20001))},
      {"behind the end, with one held", 5, appended(dense(10000).until(58001), dense(10000).from(24000).until(33001))},
      {"behind a segment taken back, with a jump", 2,
       rolling(framesAt("0k 4000k 14000k 16000 20000"), dense(2000).from(42000).until(43001))},
      {"appended audio", 6, appended(audio.until(12001), stream().audio(20).from(13500).until(30000))}};
}

TEST(LegalRecordings, AreWholeStoppedOrInterrupted) {
  for (LegalRecording& row : legalRecordings()) {
    for (const bool stop : {true, false}) {
      SCOPED_TRACE(row.what);
      row.plan.stop = stop;
      const MadeRecording recording(row.plan);
      const Verification verification = expectWhole(recording.directory());
      EXPECT_EQ(verification.fragments, row.fragments) << textReport(verification);
      EXPECT_EQ(verification.stopped, stop);
      EXPECT_TRUE(quickLookAgrees(recording, verification));
    }
  }
}

}  // namespace
