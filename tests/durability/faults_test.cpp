// Calls on the files fail, those of the host's file services and those for the small files: at every call in turn, for
// a while.

#include <gmock/gmock.h>

#include <cerrno>
#include <regex>

#include "host/FileContext.h"
#include "host/files/smallFiles.h"
#include "tests/durability/SystemCalls.h"
#include "tests/durability/continuing.h"
#include "tests/host/hostTools.h"
#include "tests/support/loadModule.h"
#include "util/bytes.h"

namespace {

using namespace test;

/// Of the calls on all files each of so many fails.
#ifdef __SANITIZE_ADDRESS__
constexpr std::uint32_t kStep = 13;
#else
constexpr std::uint32_t kStep = 5;
#endif

StreamBuilder video() {
  return stream().keyFramesEvery(1000).framesEvery(250).frameBytes(120).audio(500).audioBytes(50);
}

/// Key frames are rare in the middle, so that fragments are held there. A gap after them makes the index longer.
std::vector<StreamMessage> everyKindOfFragment(std::uint32_t gapMs = 0) {
  return video().until(6000) + video().keyFramesEvery(2500).from(6000).withoutHeaders().until(16000) +
         video().from(16000 + gapMs).withoutHeaders().until(22001 + gapMs);
}

struct FaultRecorder : Recorder {
  explicit FaultRecorder(const char* segmentDuration = "4000") : Recorder(loadModule(), &files_) {
    useShortGrid(*this, segmentDuration);
  }
  /// The stream uses `files_` until it is closed.
  ~FaultRecorder() { close(); }

  /// From the opening to the end. Returns whether the fault happened.
  bool recordWith(const Fault& fault, const std::vector<StreamMessage>& messages, std::uint32_t flags) {
    const SystemCalls calls(directory(), fault);
    isOpened = open(flags);
    for (const StreamMessage& message : isOpened ? messages : std::vector<StreamMessage>()) {
      // As a host does that wants to lose nothing.
      if (!record(message)) record(message);
      if (calls.faultPassed() && !overAt) overAt = message.time;
    }
    if (isOpened) stop();
    close();
    return calls.faultHappened();
  }

  bool isOpened = false;
  /// The time of the message with which the fault was over; nothing where it was not before the stop.
  std::optional<std::uint32_t> overAt;

 private:
  LogCapture capture_;
  host::FileContext files_{host::Durability::kDevice, capture_.log(), directory().string()};
};

/// What may be said of a fault. Anything else is a fault of its own.
void expectKnownLines(const Recorder& recorder) {
  static const std::regex kKnown(
      "error: (K2M error: \\d+|Failed to (write|swap in) file '.*'|Failed to (read|continue) file '.*': .+|Unable to "
      "write "
      "bootstrap.|Unknown Error in initAppend\\(\\))|warning: Inserting safety gap before fragment \\d+ in stream .*");
  for (const std::string& line : recorder.host.lines) EXPECT_TRUE(std::regex_match(line, kKnown)) << line;
}

/// How grave a finding may be where nothing is graver than `most`. A table of random access points, after all
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

void expectContinuable(Recorder& recorder, std::uint32_t gapMs = 0) {
  if (!recorder.has(".bootstrap")) return;  // What follows has no headers.
  appendAndStop(recorder, video().from(40000 + gapMs).withoutHeaders().until(43001 + gapMs));
  expectWhole(recorder, host::Severity::kNote);
}

struct NamedFault {
  const char* name;
  Fault fault;
  /// With a gap there is one segment.
  std::uint32_t gapMs = 0;
};

void PrintTo(const NamedFault& fault, std::ostream* out) {
  *out << fault.name;
}

/// Runs `attempt` with a fault at its first call, its second and so on, until it returns that there is no such call any
/// more. Of calls on all files each of so many fails, since they are many.
void atEveryCall(Fault fault, const std::function<bool(const Fault&)>& attempt) {
  const bool isRare = *fault.files != '\0';
  for (const std::uint32_t count : isRare ? std::vector{1U, 2U, 7U} : std::vector{3U, 30U}) {
    fault.first = 0;
    fault.count = count;
    for (bool met = true; met && !testing::Test::HasFailure(); fault.first += isRare ? 1 : kStep) {
      SCOPED_TRACE("call " + std::to_string(fault.first) + ", " + std::to_string(count) + " in all");
      met = attempt(fault);
    }
    EXPECT_GT(fault.first, isRare ? 1 : kStep) << "a fault that never happens";
  }
}

class Faults : public testing::TestWithParam<NamedFault> {};
class AppendFaults : public Faults {};

TEST_P(Faults, CostNoMoreThanTheirWhile) {
  const std::uint32_t gapMs = GetParam().gapMs;
  atEveryCall(GetParam().fault, [gapMs](const Fault& fault) {
    FaultRecorder recorder(gapMs == 0 ? "4000" : "0");
    const bool happened = recorder.recordWith(fault, everyKindOfFragment(gapMs), kOpenRecord);
    expectKnownLines(recorder);
    if (!recorder.isOpened || recorder.files().empty()) return happened;
    // Whole, at once or after the next append, whatever the last calls of the stop have met.
    expectWhole(recorder, recorder.overAt ? host::Severity::kNote : host::Severity::kRepairable);
    if (recorder.overAt.value_or(UINT32_MAX) <= 19000 + gapMs) {
      EXPECT_GE(verified(recorder).lastTime.value_or(0), 20750U + gapMs) << "it goes on afterwards\n" << recorder.log();
    }
    expectContinuable(recorder, gapMs);
    return happened;
  });
}

TEST_P(AppendFaults, RefuseItOrCostNoMoreThanTheirWhile) {
  FaultRecorder made;
  recordAndCrash(made, everyKindOfFragment());
  const std::uint64_t fragments = verified(made).fragments;
  atEveryCall(GetParam().fault, [&](const Fault& fault) {
    FaultRecorder recorder;
    std::filesystem::copy(made.directory(), recorder.directory());
    const bool happened = recorder.recordWith(fault, video().from(30000).withoutHeaders().until(36001), kAppend);
    expectKnownLines(recorder);
    expectWhole(recorder, host::Severity::kRepairable);
    EXPECT_EQ(recorder.content(".control"), made.content(".control"));
    EXPECT_GE(verified(recorder).fragments, fragments);
    if (!recorder.isOpened) {
      EXPECT_FALSE(recorder.host.lines.empty());
      EXPECT_EQ(recorder.content("Seg4.k2r"), made.content("Seg4.k2r"));
      EXPECT_EQ(verified(recorder).fragments, fragments);
    }
    expectContinuable(recorder);
    return happened;
  });
}

TEST(StopFaults, AnIndexThatCannotBeReplacedLeavesTheEndUnmarkedWhereItLacksSomething) {
  const Fault fault = {.calls = "rename", .files = ".k2i", .error = EACCES, .count = UINT32_MAX};
  // What comes with the fault there, before the stop, and whether the end is marked.
  const std::tuple<const char*, std::vector<StreamMessage>, bool> rows[] = {
      {"all is on disk", {}, true},
      {"a fragment is held, and taken back", {avcFrame(3000, false, 50, 1), avcFrame(4000, false, 50, 2)}, true},
      {"a fragment is not in it", {avcFrame(3000, true, 50, 1)}, false}};
  for (const auto& [why, messages, isMarked] : rows) {
    FaultRecorder recorder;
    ASSERT_TRUE(recorder.open());
    ASSERT_EQ(recorder.record(video().until(2001)), 0U);
    {
      const SystemCalls calls(recorder.directory(), fault);
      recorder.record(messages);
      recorder.stop();
      EXPECT_TRUE(calls.faultHappened());
    }
    const auto bootstrap = host::parseBootstrap(qvs::util::asBytes(recorder.content(".bootstrap")));
    EXPECT_EQ(host::isStopped(bootstrap), isMarked) << why;
  }
}

TEST(IndexFaults, ABootstrapIsNotReplacedWhereTheIndexCouldNotBe) {
  FaultRecorder recorder;
  ASSERT_TRUE(recorder.open());
  ASSERT_EQ(recorder.record(video().until(2001)), 0U);
  const std::string before = recorder.content(".bootstrap");
  const SystemCalls calls(recorder.directory(),
                          {.calls = "rename", .files = ".k2i", .error = EACCES, .count = UINT32_MAX});
  recorder.record(avcFrame(3000, true, 50, 1));
  EXPECT_TRUE(calls.faultHappened());
  EXPECT_EQ(recorder.content(".bootstrap"), before);
}

CommandAnswer recordIn(const TempDirectory& place, const std::vector<StreamMessage>& messages, const char* mode) {
  writeTagStream(messages, place.file("in.mtg"));
  return k2r(
      {"record", place.file("in.mtg"), "--out", place.file("cam1"), mode, "--set", "Recording/FragmentDuration=1000"});
}

TEST(CommandFaults, ABootstrapThatCannotBeLookedUpIsNoMissingOne) {
  Fault fault = {.calls = "lookup", .files = ".bootstrap", .error = EACCES};
  for (bool met = true; met; ++fault.first) {
    const TempDirectory place;
    EXPECT_EQ(recordIn(place, video().until(4000), "--quiet").status, 0);
    std::optional<SystemCalls> calls(std::in_place, place.path(), fault);
    const auto answer = recordIn(place, video().until(4000), "--append");
    met = calls->faultHappened();
    calls.reset();
    EXPECT_EQ(host::verifyRecording(place.file("cam1")).fragments, answer.status == 0 ? 8U : 4U) << answer.errors;
  }
  EXPECT_GT(fault.first, 1U) << "at least one look was met";
}

TEST(CommandFaults, AreReportedWithWhatIsStored) {
  constexpr std::uint32_t kEver = UINT32_MAX;
  const auto twoCodecs = video().until(4000) + std::vector<StreamMessage>{{8, 4000, fromHex("af001388")}} +
                         video().from(4000).withoutHeaders().until(8000);
  const std::tuple<const char*, Fault, int, const char*> rows[] = {
      {"files that cannot be read back", {"read", ".k2i", EIO, 0, kEver}, 6, "\"stored\": null"},
      {"an error of the system", {"open", "cam1", EMFILE, 0, kEver}, 1, "\"exitStatus\": 1"},
      {"a segment that the device does not take", {"fsync", "Seg1.k2r", EIO, 2, kEver}, 6, "\"fragments\": 0"},
      {"no room for the next recording", {"mkdir", "cam1-2", ENOSPC}, 1, "\"fragments\": 4"}};
  for (const auto& [why, fault, status, text] : rows) {
    const TempDirectory place;
    const SystemCalls calls(place.path(), fault);
    const auto answer = recordIn(place, twoCodecs, "--json");
    EXPECT_TRUE(calls.faultHappened()) << why;
    EXPECT_EQ(answer.status, status) << why << answer.errors;
    EXPECT_THAT(answer.output, testing::HasSubstr(text)) << why;
    EXPECT_THAT(answer.errors, testing::HasSubstr("error: ")) << why;
  }
}

constexpr auto nameOf = [](const auto& fault) { return std::string(fault.param.name); };

/// Those of the host's services, and those of the calls that the module makes by itself.
std::vector<NamedFault> faultsOfWriting() {
  return {{"ShortWrite", {.calls = "write", .files = ".k2r"}},
          {"WriteError", {.calls = "write", .files = ".k2r", .error = EIO}},
          {"NoSpace", {.calls = "write", .files = ".k2r", .error = ENOSPC}},
          {"FlushError", {.calls = "fsync", .files = ".k2r", .error = EIO}},
          {"OpenError", {.calls = "open create", .files = ".k2r", .error = EACCES}},
          {"StatusError", {.calls = "fstat", .files = ".k2r", .error = EIO}},
          {"NoSpaceAnywhere", {.calls = "open create write fsync rename unlink", .error = ENOSPC}},
          {"NoAccessAnywhere", {.calls = "open create write fsync rename unlink", .error = EACCES}}};
}

std::vector<NamedFault> faultsOfReading() {
  return {{"ReadError", {.calls = "read", .files = ".k2r", .error = EIO}},
          {"ShortRead", {.calls = "read", .files = ".k2r"}},
          {"NothingReadable", {.calls = "open create read", .error = EMFILE}}};
}

INSTANTIATE_TEST_SUITE_P(Recording, Faults, testing::ValuesIn(faultsOfWriting()), nameOf);
/// While the index is in two files.
INSTANTIATE_TEST_SUITE_P(
    LongIndex, Faults,
    testing::Values(NamedFault{"NoSpace", {.calls = "open create write", .files = ".k2i.tmp", .error = ENOSPC}, 600000},
                    NamedFault{"NoExchange", {.calls = "rename", .files = ".k2i", .error = EINVAL}, 600000},
                    NamedFault{"NoFlush", {.calls = "fsync", .error = EIO}, 600000}),
    nameOf);
INSTANTIATE_TEST_SUITE_P(Appending, AppendFaults, testing::ValuesIn(faultsOfWriting()), nameOf);
INSTANTIATE_TEST_SUITE_P(Reading, AppendFaults, testing::ValuesIn(faultsOfReading()), nameOf);

}  // namespace
