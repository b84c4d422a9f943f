// The host's file services fail, and the system calls for the small files: at every call in turn, for a while.

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <optional>
#include <regex>

#include "tests/durability/FaultyFiles.h"
#include "tests/durability/SystemCalls.h"
#include "tests/durability/continuing.h"
#include "tests/module/loadModule.h"

namespace {

using namespace test;

/// How long a fault lasts, in calls.
constexpr std::uint32_t kLengths[] = {1, 2, 7};
/// Of the small files' calls each of so many fails.
#ifdef __SANITIZE_ADDRESS__
constexpr std::uint32_t kSmallFileStep = 13;
#else
constexpr std::uint32_t kSmallFileStep = 5;
#endif

StreamBuilder video() {
  return stream().keyFramesEvery(1000).framesEvery(250).frameBytes(120).audio(500).audioBytes(50);
}

/// Key frames are rare in the middle, so that fragments are held there.
std::vector<StreamMessage> everyKindOfFragment() {
  return video().until(6000) + video().keyFramesEvery(2500).from(6000).withoutHeaders().until(16000) +
         video().from(16000).withoutHeaders().until(22001);
}

/// One that rolls over, in directories and files that `files` makes.
class FaultRecorder : public Recorder {
 public:
  explicit FaultRecorder(IMOFileContext* files = nullptr) : Recorder(loadModule(), files) {
    useShortGrid(*this, "4000");
  }

  /// Records all. Answers the time of the message with which the fault was over, as `passed` tells; nothing where it
  /// was not.
  std::optional<std::uint32_t> recordUntilOver(const std::function<bool()>& passed) {
    std::optional<std::uint32_t> overAt;
    for (const StreamMessage& message : everyKindOfFragment()) {
      record(message);
      if (passed() && !overAt) overAt = message.time;
    }
    stop();
    return overAt;
  }
};

/// What may be said of a fault. Anything else is a fault of its own.
void expectKnownLines(const Recorder& recorder) {
  static const std::regex kKnown(
      "error: (K2M error: \\d+|Failed to (write|swap in) file '.*'|Unable to write bootstrap.|"
      "Tried to record fragment w/ no keyframe|"
      "Unknown Error in initAppend\\(\\)|)|warning: Inserting safety gap before fragment \\d+ in stream .*");
  for (const std::string& line : recorder.host.lines) EXPECT_TRUE(std::regex_match(line, kKnown)) << line;
}

/// How grave a finding may be where nothing is graver than `most`. A table of random access points, behind all
/// fragments of a segment, is written at its end only, and may be what fails: the next append writes it, where it is
/// that of the last segment. Part of one stays where the disk has no room to cover it.
host::Severity allowed(const host::Finding& finding, host::Severity most) {
  if (finding.text.find("`mfra` of") != std::string::npos) return host::Severity::kDamage;
  return finding.text.find("mfra expected") != std::string::npos ? host::Severity::kRepairable : most;
}

void expectWhole(const Recorder& recorder, host::Severity most) {
  const auto verification = verified(recorder);
  for (const host::Finding& finding : verification.findings.kept()) {
    EXPECT_LE(finding.severity, allowed(finding, most)) << textReport(verification) << recorder.log();
  }
}

/// Whole, at once or after the next append, whatever the last calls of the stop have met. `overAt` is the time of the
/// message with which the fault ended; nothing where it had not before the stop.
void expectWhole(const Recorder& recorder, std::optional<std::uint32_t> overAt) {
  expectWhole(recorder, overAt ? host::Severity::kNote : host::Severity::kRepairable);
  if (!overAt || *overAt > 19000) return;
  EXPECT_GE(verified(recorder).lastTime.value_or(0), 20750U) << "it goes on when the fault is over\n" << recorder.log();
}

void expectContinuable(Recorder& recorder) {
  appendAndStop(recorder, video().from(40000).withoutHeaders().until(43001));
  expectWhole(recorder, host::Severity::kNote);
}

/// Runs `attempt` with a fault at its first call, its second and so on, until there is no such call any more.
void atEveryCall(const std::function<bool(std::uint32_t first, std::uint32_t count)>& attempt) {
  for (const std::uint32_t count : kLengths) {
    std::uint32_t first = 0;
    for (bool met = true; met && !testing::Test::HasFailure(); ++first) {
      SCOPED_TRACE("call " + std::to_string(first) + ", " + std::to_string(count) + " in all");
      met = attempt(first, count);
    }
    EXPECT_GT(first, 1U) << "a fault that never happens";
  }
}

class FileServiceFaults : public testing::TestWithParam<Fault> {};

TEST_P(FileServiceFaults, CostNoMoreThanTheirWhile) {
  atEveryCall([](std::uint32_t first, std::uint32_t count) {
    FaultyFiles files(GetParam(), first, count);
    FaultRecorder recorder(&files);
    if (recorder.open()) {
      const auto overAt = recorder.recordUntilOver([&] { return files.passed(); });
      recorder.close();
      expectWhole(recorder, overAt);
      if (files.passed()) expectContinuable(recorder);
    }
    expectKnownLines(recorder);
    return files.happened();
  });
}

std::string nameOf(const testing::TestParamInfo<Fault>& fault) {
  const char* const names[] = {"ShortWrite", "WriteError", "NoSpace",    "OpenError",
                               "ReadError",  "ShortRead",  "StatusError"};
  return names[static_cast<std::size_t>(fault.param)];
}

INSTANTIATE_TEST_SUITE_P(Writing, FileServiceFaults,
                         testing::Values(Fault::kShortWrite, Fault::kWriteError, Fault::kNoSpace, Fault::kOpenError,
                                         Fault::kStatusError),
                         nameOf);

class AppendFaults : public testing::TestWithParam<Fault> {};

TEST_P(AppendFaults, RefuseItOrCostNoMoreThanTheirWhile) {
  FaultRecorder made;
  recordAndCrash(made, everyKindOfFragment());
  const std::uint64_t fragments = verified(made).fragments;
  atEveryCall([&](std::uint32_t first, std::uint32_t count) {
    FaultyFiles files(GetParam(), first, count);
    FaultRecorder recorder(&files);
    std::filesystem::copy(made.directory(), recorder.directory());
    if (recorder.open(kAppend)) {
      recorder.record(video().from(30000).withoutHeaders().until(36001));
      recorder.stop();
    } else {
      EXPECT_FALSE(recorder.host.lines.empty());
      EXPECT_EQ(recorder.content("Seg4.k2r"), made.content("Seg4.k2r"));
      EXPECT_EQ(verified(recorder).fragments, fragments);
    }
    recorder.close();
    expectKnownLines(recorder);
    expectWhole(recorder, host::Severity::kRepairable);
    EXPECT_GE(verified(recorder).fragments, fragments);
    if (files.passed()) expectContinuable(recorder);
    return files.happened();
  });
}

INSTANTIATE_TEST_SUITE_P(Appending, AppendFaults,
                         testing::Values(Fault::kShortWrite, Fault::kWriteError, Fault::kNoSpace, Fault::kOpenError,
                                         Fault::kStatusError, Fault::kReadError, Fault::kShortRead),
                         nameOf);

/// The module's own calls on the small files: open, write, flush, rename.
TEST(SmallFileFaults, CostNoMoreThanTheirWhile) {
  for (const int error : {ENOSPC, EACCES}) {
    for (std::uint32_t first = 0, met = true; met && !testing::Test::HasFailure(); first += kSmallFileStep) {
      for (const std::uint32_t count : {1U, 30U}) {
        SCOPED_TRACE("call " + std::to_string(first) + ", " + std::to_string(count) + " in all, " +
                     std::generic_category().message(error));
        FaultRecorder recorder;
        ASSERT_TRUE(recorder.open());
        std::optional<std::uint32_t> overAt;
        {
          SystemCalls calls(recorder.directory());
          calls.failFrom(first, count, error);
          overAt = recorder.recordUntilOver([&] { return calls.calls() >= first + count; });
          met = calls.calls() > first;
          recorder.close();
        }
        expectKnownLines(recorder);
        if (recorder.files().empty()) continue;  // Nothing could be written from the beginning to the end.
        expectWhole(recorder, overAt);
        if (recorder.has(".bootstrap")) expectContinuable(recorder);
      }
    }
  }
}

}  // namespace
