// What stands in the directory as a whole: interruptions, missing files, files of different ages.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "fragmentation/AfraBox.h"
#include "host/files/SegmentMap.h"
#include "host/files/smallFiles.h"
#include "host/verify/verifyRecording.h"
#include "host/verify/verifyReport.h"
#include "tests/host/RecordingMaker.h"
#include "util/bytes.h"

namespace {

using namespace test;
using host::ExitStatus;
using host::Verification;
using host::verifyRecording;

StreamBuilder av(std::uint32_t keyFrames) {
  return stream().keyFramesEvery(keyFrames).framesEvery(500).audio(700);
}

std::string text(const std::vector<std::byte>& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

void changeIndex(const MadeRecording& recording, const std::string& suffix,
                 const std::function<void(std::vector<ruvo::k2r::AfraEntry>&)>& change) {
  auto index = host::parseAfra(qvs::util::asBytes(recording.read(suffix)));
  change(index.globalEntries);
  recording.write(suffix, text(host::imageOf(index)));
}

void changeBootstrap(const MadeRecording& recording, const std::function<void(ruvo::k2r::BootstrapInfo&)>& change) {
  auto info = host::parseBootstrap(qvs::util::asBytes(recording.read(".bootstrap")));
  change(info);
  recording.write(".bootstrap", text(host::imageOf(info)));
}

/// Takes the last entry of the index away, as if its file had not been replaced any more.
void forgetLastFragment(const MadeRecording& recording) {
  changeIndex(recording, "Seg1.k2i", [](auto& entries) { entries.pop_back(); });
}

void unstop(ruvo::k2r::BootstrapInfo& info) {
  info.fragmentRunTables[0].fragmentRuns.pop_back();
}

/// Puts the bootstrap back to what the fragment before the last one carries.
void forgetLastBootstrap(ruvo::k2r::BootstrapInfo& info) {
  info.segmentRunTables[0].segmentRuns[0].fragmentsPerSegment -= 1;
  info.currentMediaTime -= 4000;
}

std::size_t endOfFirstFragment(const MadeRecording& recording) {
  host::FileView file(recording.path("Seg1.k2r").string());
  return static_cast<std::size_t>(mapSegment(file).fragments.front().end());
}

std::size_t endOfHeader(const MadeRecording& recording) {
  host::FileView file(recording.path("Seg1.k2r").string());
  return static_cast<std::size_t>(mapSegment(file).moov->end());
}

struct State {
  const char* what;
  std::function<void(const MadeRecording&)> change;
  ExitStatus status;
  /// What one line of the report says.
  std::string line;
};

void expectStates(const MadeRecording& recording, const std::vector<State>& states) {
  for (const State& state : states) {
    recording.restore();
    state.change(recording);
    const Verification verification = verifyRecording(recording.directory());
    const std::string report = textReport(verification);
    EXPECT_EQ(verification.status(), state.status) << state.what << "\n" << report;
    EXPECT_NE(report.find(state.line), std::string::npos) << state.what << ": " << state.line << "\n" << report;
  }
}

const RecordingPlan& threeFragments() {
  static const RecordingPlan plan{.messages = av(2000).until(12001)};
  return plan;
}

TEST(VerifyState, TellsWhatAnInterruptionLeaves) {
  RecordingPlan plan = threeFragments();
  plan.stop = false;
  const MadeRecording recording(plan);
  const std::string end = std::to_string(recording.read("Seg1.k2r").size());
  expectStates(
      recording,
      {{"nothing behind the last fragment", [](const auto&) {}, ExitStatus::kOk, "cam1.bootstrap: note: not stopped"},
       {"part of a fragment",
        [](const auto& made) {
          made.write("Seg1.k2r", made.read("Seg1.k2r") + std::string("\0\0\0\x15"
                                                                     "afra",
                                                                     8));
        },
        ExitStatus::kRepairable, "cam1Seg1.k2r: offset " + end + ": repairable"},
       {"zeros, as of a file that had grown",
        [](const auto& made) { made.write("Seg1.k2r", made.read("Seg1.k2r") + std::string(100, '\0')); },
        ExitStatus::kRepairable, "cam1Seg1.k2r: offset " + end + ": repairable"},
       {"a free box",
        [](const auto& made) {
          made.write("Seg1.k2r", made.read("Seg1.k2r") + std::string("\0\0\0\x0A"
                                                                     "freexx",
                                                                     10));
        },
        ExitStatus::kOk, "whole"},
       {"a fragment that the index does not name yet",
        [](const auto& made) {
          forgetLastFragment(made);
          changeBootstrap(made, forgetLastBootstrap);
        },
        ExitStatus::kRepairable, "repairable: a whole fragment that the index does not name"},
       {"an index that could not be replaced", forgetLastFragment, ExitStatus::kRepairable,
        "cam1.bootstrap: repairable: goes on behind fragment 2"},
       {"a bootstrap that was not replaced any more",
        [](const auto& made) { changeBootstrap(made, forgetLastBootstrap); }, ExitStatus::kRepairable,
        "cam1.bootstrap: repairable: ends in front of fragment 3"},
       {"temporary files", [](const auto& made) { made.write(".k2i.tmp", "x"); }, ExitStatus::kOk,
        "cam1.k2i.tmp: note"},
       {"no bootstrap yet",
        [](const auto& made) {
          made.remove(".bootstrap");
          changeIndex(made, "Seg1.k2i", [](auto& entries) { entries.resize(1); });
          made.write("Seg1.k2r", made.read("Seg1.k2r").substr(0, endOfFirstFragment(made)));
        },
        ExitStatus::kRepairable, "cam1.bootstrap: repairable: missing"},
       {"neither index nor bootstrap any more",
        [](const auto& made) {
          made.remove(".bootstrap");
          made.remove("Seg1.k2i");
        },
        ExitStatus::kDamaged, "cam1.bootstrap: damage: missing"},
       {"a segment in which nothing has been written yet",
        [](const auto& made) {
          made.remove(".bootstrap");
          made.remove("Seg1.k2i");
          made.write("Seg1.k2r", made.read("Seg1.k2r").substr(0, endOfHeader(made)));
        },
        ExitStatus::kOk, "nothing has been recorded yet"},
       {"no bootstrap any more", [](const auto& made) { made.remove(".bootstrap"); }, ExitStatus::kDamaged,
        "cam1.bootstrap: damage: missing"},
       {"nothing but the base time",
        [](const auto& made) {
          for (const char* suffix : {".bootstrap", "Seg1.k2i", "Seg1.k2r", ".meta"}) made.remove(suffix);
        },
        ExitStatus::kOk, "nothing has been recorded yet"}});
}

TEST(VerifyState, IsWholeAgainAfterAnAppend) {
  RecordingPlan plan = threeFragments();
  plan.stop = false;
  const MadeRecording recording(plan);
  const struct {
    const char* what;
    std::function<void(const MadeRecording&)> change;
  } rows[] = {{"part of a fragment",
               [](const auto& made) {
                 made.write("Seg1.k2r", made.read("Seg1.k2r") + made.read("Seg1.k2r").substr(endOfHeader(made), 700));
               }},
              {"more than the append writes",
               [](const auto& made) { made.write("Seg1.k2r", made.read("Seg1.k2r") + std::string(99999, 'x')); }},
              {"a fragment that the index does not name yet",
               [](const auto& made) {
                 forgetLastFragment(made);
                 changeBootstrap(made, forgetLastBootstrap);
               }},
              {"an index that could not be replaced", forgetLastFragment},
              {"a bootstrap that was not replaced any more",
               [](const auto& made) { changeBootstrap(made, forgetLastBootstrap); }}};
  for (const auto& row : rows) {
    recording.restore();
    row.change(recording);
    EXPECT_EQ(verifyRecording(recording.directory()).status(), ExitStatus::kRepairable) << row.what;
    recording.append(av(2000).from(24000).until(40001));
    const Verification verification = verifyRecording(recording.directory());
    EXPECT_EQ(verification.status(), ExitStatus::kOk) << row.what << "\n" << textReport(verification);
    EXPECT_GE(verification.fragments, 6U) << row.what;
  }
}

TEST(VerifyState, TellsFilesOfOtherAgesAndMissingOnes) {
  const MadeRecording recording(threeFragments());
  const auto missing = [](const char* suffix) { return [suffix](const MadeRecording& made) { made.remove(suffix); }; };
  expectStates(
      recording,
      {{"as it was made", [](const auto&) {}, ExitStatus::kOk, "whole; 1 segment, 3 fragments"},
       {"no index", missing("Seg1.k2i"), ExitStatus::kDamaged, "cam1Seg1.k2i: damage: missing"},
       {"no segment", missing("Seg1.k2r"), ExitStatus::kDamaged, "cam1Seg1.k2r: damage: missing"},
       {"no description", missing(".meta"), ExitStatus::kDamaged, "cam1.meta: damage: missing"},
       {"no base time", missing(".control"), ExitStatus::kRepairable,
        "cam1.control: repairable: missing: the base time is 0"},
       {"a foreign file", [](const auto& made) { made.write(".txt", "x"); }, ExitStatus::kOk,
        "cam1.txt: note: no file"},
       {"an old index", forgetLastFragment, ExitStatus::kDamaged, "cam1.bootstrap: damage: goes on behind fragment 2"},
       {"an old bootstrap", [](const auto& made) { changeBootstrap(made, forgetLastBootstrap); }, ExitStatus::kDamaged,
        "cam1.bootstrap: damage: ends in front of fragment 3"},
       {"a bootstrap without its end mark", [](const auto& made) { changeBootstrap(made, unstop); }, ExitStatus::kOk,
        "not stopped"},
       {"a fragment that the index has no position of",
        [](const auto& made) {
          changeIndex(made, "Seg1.k2i", [](auto& entries) { entries[1].afraOffset = ruvo::k2r::kNoFragmentOffset; });
        },
        ExitStatus::kDamaged, "cam1Seg1.k2i: offset 73: damage: entry 2: position"},
       {"a fragment that was never written",
        [](const auto& made) {
          changeIndex(made, "Seg1.k2i", [](auto& entries) { entries[2].afraOffset = ruvo::k2r::kHeldFragmentOffset; });
        },
        ExitStatus::kDamaged, "cam1Seg1.k2i: offset 105: repairable: entry 3: position: fragment 3 was announced"},
       {"a position one byte off",
        [](const auto& made) { changeIndex(made, "Seg1.k2i", [](auto& entries) { ++entries[1].afraOffset; }); },
        ExitStatus::kDamaged, "cam1Seg1.k2i: offset 73: damage: entry 2: position"},
       {"two positions exchanged",
        [](const auto& made) {
          changeIndex(made, "Seg1.k2i", [](auto& entries) { std::swap(entries[0].afraOffset, entries[1].afraOffset); });
        },
        ExitStatus::kDamaged, "cam1Seg1.k2i: offset 73: damage: entry 2: position: expected one behind"},
       {"a number that is left out",
        [](const auto& made) {
          changeIndex(made, "Seg1.k2i", [](auto& entries) { entries.erase(entries.begin() + 1); });
        },
        ExitStatus::kDamaged, "cam1Seg1.k2i: offset"},
       {"a segment that the bootstrap does not know",
        [](const auto& made) {
          made.write("Seg2.k2r", made.read("Seg1.k2r"));
          made.write("Seg2.k2i", made.read("Seg1.k2i"));
        },
        ExitStatus::kDamaged, "cam1Seg2.k2r: damage: expected none behind segment 1"}});
}

TEST(VerifyState, KeepsToTheNameOfTheFiles) {
  const MadeRecording recording(threeFragments());
  const std::string moved = recording.directory() + "-moved";
  std::filesystem::rename(recording.directory(), moved);
  const Verification verification = verifyRecording(moved);
  EXPECT_EQ(verification.status(), ExitStatus::kOk) << textReport(verification);
  EXPECT_NE(textReport(verification).find("the directory has another name"), std::string::npos);
}

TEST(VerifyState, RefusesWhatIsNoRecording) {
  TempDirectory directory;
  EXPECT_THROW(verifyRecording(directory.path().string()), host::CommandError);
  EXPECT_THROW(verifyRecording(directory.file("missing")), host::CommandError);
}

TEST(VerifyState, IsOneDocumentOnRequest) {
  const MadeRecording recording(threeFragments());
  changeIndex(recording, "Seg1.k2i", [](auto& entries) { ++entries[1].afraOffset; });
  const auto document = jsonReport(verifyRecording(recording.directory()));
  EXPECT_EQ(document["status"], "damaged");
  EXPECT_EQ(document["exitStatus"], 4);
  EXPECT_EQ(document["summary"]["fragments"], 2);
  const auto& faults = document["faults"];
  EXPECT_TRUE(std::any_of(faults.begin(), faults.end(), [](const auto& fault) {
    return fault["file"] == "cam1Seg1.k2i" && fault["offset"] == 73 && fault["severity"] == "damage";
  })) << document.dump(1);
}

}  // namespace
