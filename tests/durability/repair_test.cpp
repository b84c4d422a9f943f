#include "host/repair/repairRecording.h"

#include <gtest/gtest.h>

#include <functional>

#include "host/files/FileView.h"
#include "host/files/SegmentMap.h"
#include "host/verify/verifyReport.h"
#include "tests/host/RecordingMaker.h"
#include "tests/support/TestHost.h"

namespace {

using namespace test;
using host::ExitStatus;
using Outcome = host::Repair::Outcome;

StreamBuilder video() {
  return stream().keyFramesEvery(2000).framesEvery(500).audio(700);
}

std::map<std::string, std::string> filesIn(const MadeRecording& recording) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(recording.directory())) {
    files[entry.path().filename().string()] = readWholeFile(entry.path());
  }
  return files;
}

std::uint64_t endOfHeader(const MadeRecording& recording) {
  host::FileView file(recording.path("Seg1.k2r").string());
  return host::mapSegment(file).moov->end();
}

host::Repair repair(const MadeRecording& recording) {
  ::setenv("K2R_MODULE", K2R_MODULE_PATH, 1);
  host::Log log(stderr);
  return host::repairRecording(recording.directory(), {}, log);
}

TEST(Repair, FinishesWhatAnInterruptionLeft) {
  const MadeRecording recording({.messages = video().until(12001), .stop = false});
  const struct {
    const char* what;
    std::function<void()> change;
    std::uint64_t fragments;
  } rows[] = {
      {"nothing behind the last fragment", [] {}, 3},
      {"part of a fragment",
       [&] {
         const std::string segment = recording.read("Seg1.k2r");
         recording.write("Seg1.k2r", segment + segment.substr(endOfHeader(recording), 700));
       },
       3},
      {"no base time", [&] { recording.remove(".control"); }, 3},
      {"a base time cut short", [&] { recording.write(".control", "x"); }, 3},
  };
  for (const auto& row : rows) {
    recording.restore();
    const std::string control = recording.read(".control");
    const std::string segment = recording.read("Seg1.k2r");
    row.change();
    const auto repaired = repair(recording);
    EXPECT_EQ(repaired.outcome, Outcome::kFinished) << row.what;
    EXPECT_EQ(repaired.verification.status(), ExitStatus::kOk) << row.what << textReport(repaired.verification);
    EXPECT_TRUE(repaired.verification.stopped) << row.what;
    EXPECT_EQ(repaired.verification.fragments, row.fragments) << row.what;
    EXPECT_EQ(recording.read(".control"), control) << row.what;
    EXPECT_TRUE(recording.read("Seg1.k2r").starts_with(segment)) << row.what;
    EXPECT_EQ(repair(recording).outcome, Outcome::kUntouched) << row.what;
  }
}

TEST(Repair, KeepsAFirstFragmentWithoutABootstrap) {
  const MadeRecording recording({.messages = video().until(4001), .stop = false});
  const std::string bootstrap = recording.read(".bootstrap");
  recording.remove(".bootstrap");
  const auto repaired = repair(recording);
  EXPECT_EQ(repaired.outcome, Outcome::kFinished);
  EXPECT_EQ(repaired.verification.status(), ExitStatus::kOk) << textReport(repaired.verification);
  EXPECT_EQ(repaired.verification.fragments, 1U);
}

TEST(Repair, RemovesWhatNeverBecameAFragment) {
  const MadeRecording recording({.messages = video().until(4001), .stop = false});
  for (const char* suffix : {".bootstrap", "Seg1.k2i"}) recording.remove(suffix);
  recording.write("Seg1.k2r", recording.read("Seg1.k2r").substr(0, endOfHeader(recording) + 50));
  const auto repaired = repair(recording);
  EXPECT_EQ(repaired.outcome, Outcome::kEmptied);
  EXPECT_EQ(repaired.verification.status(), ExitStatus::kOk) << textReport(repaired.verification);
}

TEST(Repair, LeavesWholeAndDamagedRecordingsAsTheyAre) {
  const MadeRecording recording({.messages = video().until(12001)});
  const auto whole = filesIn(recording);
  EXPECT_EQ(repair(recording).outcome, Outcome::kUntouched);
  EXPECT_EQ(filesIn(recording), whole);

  std::string segment = recording.read("Seg1.k2r");
  segment.resize(segment.size() / 2);
  recording.write("Seg1.k2r", segment);
  const auto damaged = filesIn(recording);
  const auto refused = repair(recording);
  EXPECT_EQ(refused.outcome, Outcome::kRefused);
  EXPECT_EQ(refused.verification.status(), ExitStatus::kDamaged);
  EXPECT_EQ(filesIn(recording), damaged);
}

TEST(Repair, SaysWhatIsInItsWay) {
  const MadeRecording recording({.messages = video().until(8001), .stop = false});
  const std::string moved = recording.directory() + "-moved";
  std::filesystem::rename(recording.directory(), moved);
  host::Log log(stderr);
  EXPECT_THROW(host::repairRecording(moved, {}, log), host::CommandError);
  EXPECT_THROW(host::repairRecording(recording.directory(), {}, log), host::CommandError);
}

}  // namespace
