// The power fails: at any operation on the files, and with any part of what was not flushed on the disk. Between any
// two operations another process may read what was done so far.
//
// K2R_POWER_LOSS_SEED starts other states than those of every run; K2R_POWER_LOSS_SCALE multiplies their number.

#include "host/FileContext.h"
#include "host/repair/repairRecording.h"
#include "tests/durability/Reference.h"
#include "tests/durability/continuing.h"
#include "tests/support/loadModule.h"

namespace {

using namespace test;

#ifdef __SANITIZE_ADDRESS__
constexpr std::uint32_t kStatesEach = 1;
constexpr std::uint32_t kContinueOneIn = 40;
#else
constexpr std::uint32_t kStatesEach = 16;
constexpr std::uint32_t kContinueOneIn = 20;
#endif

std::uint32_t environmentNumber(const char* name, std::uint32_t otherwise) {
  const char* const text = std::getenv(name);
  return text == nullptr ? otherwise : static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
}

/// A stretch of recording: from an opening to a stop, or to the end of the process.
struct Session {
  std::vector<StreamMessage> messages;
  bool stop = true;
};

/// How a recording comes about.
struct Scenario {
  const char* name;
  const char* segmentDuration;
  /// The second and the later ones are appends.
  std::vector<Session> sessions;
  /// What an append to any state of it may continue with.
  StreamBuilder continuation;
  /// Each call that it makes fail costs a message, which is sent again.
  Fault fault = {};
  std::size_t refused = 0;
};

void PrintTo(const Scenario& scenario, std::ostream* out) {
  *out << scenario.name;
}

/// Large key frames are written without a copy, with a write before and after them.
StreamBuilder severalWritesAFragment() {
  return stream().keyFramesEvery(1000).framesEvery(1000).frameBytes(70000).audio(300).audioBytes(60);
}

/// Streams that bring about every kind of change to the files: roll-over, appends to stopped and to interrupted
/// recordings, audio alone, gaps in time, one of them so long that the index is in two files, and fragments that are
/// held since key frames are rare.
std::vector<Scenario> scenarios() {
  const auto video = [](std::uint32_t keyFrames) {
    return stream().keyFramesEvery(keyFrames).framesEvery(200).frameBytes(150).audio(300).audioBytes(60);
  };
  const auto later = [&](std::uint32_t from, std::uint32_t until) {
    return video(1000).from(from).withoutHeaders().until(until);
  };
  const auto audio = [] { return stream().audio(100).audioBytes(80); };
  return {{"OneSegment", "0", {{video(1000).until(20001) + later(633000, 653001)}}, video(1000)},
          {"RollOver", "2500", {{video(1000).until(40001)}}, video(1000)},
          {"Appended",
           "6000",
           {{video(1000).until(14001)}, {later(20000, 31001), false}, {later(40000, 52001)}},
           video(1000)},
          {"GapsAndHeldFragments", "9000", {{video(2500).until(25000) + later(33000, 48001)}}, video(1000)},
          {"AudioOnly", "9000", {{audio().from(5000).until(45001), false}}, audio()},
          {"SeveralWritesAFragmentAndFailedFlushes",
           "9000",
           {{severalWritesAFragment().until(20001)}},
           video(1000),
           {.calls = "fsync", .files = ".k2r", .error = EIO, .first = 6, .count = 4},
           4}};
}

/// Records a scenario with the services of the real host. Returns what was done to its files.
std::vector<FileOperation> recordScenario(Recorder& recorder, const Scenario& scenario) {
  useShortGrid(recorder, scenario.segmentDuration);
  const SystemCalls calls(recorder.directory(), scenario.fault);
  std::uint32_t flags = kOpenRecord;
  std::size_t refused = 0;
  for (const Session& session : scenario.sessions) {
    EXPECT_TRUE(recorder.open(std::exchange(flags, kAppend))) << recorder.log();
    for (const StreamMessage& message : session.messages) {
      if (recorder.record(message)) continue;
      ++refused;
      EXPECT_TRUE(recorder.record(message)) << recorder.log();
    }
    if (session.stop) recorder.stop();
    recorder.close();
  }
  EXPECT_EQ(refused, scenario.refused) << recorder.log();
  expectWhole(recorder);
  EXPECT_GT(verified(recorder).fragments, 15U);
  EXPECT_EQ(recorder.files().find(".tmp"), std::string::npos);
  return calls.operations();
}

/// Continues from a state, by an append or by a repair.
void continueFrom(const Scenario& scenario, const Reference& reference, const DiskState& state, bool repair) {
  Recorder recorder(loadModule());
  useShortGrid(recorder, scenario.segmentDuration);
  writeAllFiles(recorder.directory(), state);
  const bool begun = recorder.has(".bootstrap");
  const std::string directory = recorder.directory().string();
  if (host::readRecordingDirectory(directory).empty()) return;
  const auto found = verified(recorder);
  EXPECT_NE(found.status(), host::ExitStatus::kDamaged) << textReport(found);
  if (repair) {
    host::Log log(stderr);
    const auto result = host::repairRecording(directory, {}, log);
    EXPECT_EQ(result.verification.status(), host::ExitStatus::kOk) << textReport(result.verification);
    EXPECT_EQ(result.verification.stopped, result.verification.fragments > 0);
    EXPECT_EQ(result.verification.fragments, found.fragments);
  } else {
    ASSERT_TRUE(recorder.open(kAppend)) << recorder.log();
    const auto later = StreamBuilder(scenario.continuation).from(680000).withoutHeaders().until(683001);
    const std::size_t refused = recorder.record(later);
    recorder.stop();
    recorder.close();
    if (!begun) return;  // The continuation has no headers, and nothing of it is taken.
    EXPECT_EQ(refused, 0U) << recorder.log();
    expectWhole(recorder);
    EXPECT_GE(verified(recorder).fragments, found.fragments + 2);
  }
  EXPECT_EQ(reference.lossBetween(state, readAllFiles(recorder.directory())), "");
}

class PowerLoss : public testing::TestWithParam<Scenario> {};

TEST_P(PowerLoss, LeavesAWholeRecordingInEveryStateAndReadersSeeNoOther) {
  const Scenario& scenario = GetParam();
  host::Log log(stderr);
  host::FileContext files(host::Durability::kDevice, log);
  Recorder recorder(loadModule(), &files);
  const auto operations = recordScenario(recorder, scenario);
  const bool exchanges =
      std::ranges::find(operations, FileOperation::Kind::kExchange, &FileOperation::kind) != operations.end();
  EXPECT_EQ(exchanges, scenario.segmentDuration == std::string_view("0"));
  const Reference reference(operations, recorder.directory());
  const std::uint32_t statesEach = kStatesEach * environmentNumber("K2R_POWER_LOSS_SCALE", 1);
  const std::uint32_t firstSeed = environmentNumber("K2R_POWER_LOSS_SEED", 20261125);
  std::uint32_t states = 0;
  std::uint32_t continued = 0;
  Disk disk;
  for (std::uint32_t i = 0; i < operations.size(); ++i) {
    for (std::uint32_t each = 0; each < statesEach; ++each, ++states) {
      const std::uint32_t seed = firstSeed + i * 1009 + each;
      SCOPED_TRACE("operation " + std::to_string(i) + ", seed " + std::to_string(seed));
      std::mt19937 random(seed);
      const DiskState state = disk.afterPowerLoss(operations[i], random);
      ASSERT_EQ(reference.faultOf(state), "");
      if (states % kContinueOneIn != 0) continue;
      ++continued;
      continueFrom(scenario, reference, state, continued % 3 == 0);
      ASSERT_FALSE(HasFailure());
    }
    disk.apply(operations[i]);
    ASSERT_EQ(reference.faultOf(disk.now()), "") << "what another process reads behind operation " << i;
  }
  RecordProperty("states", static_cast<int>(states));
  RecordProperty("continued", static_cast<int>(continued));
  EXPECT_GE(states, 250 * statesEach);
}

/// What was done to the first segment: w a write, F a flush; and each new index.
std::string segmentOperations(const std::vector<FileOperation>& operations) {
  using Kind = FileOperation::Kind;
  std::string text;
  std::uint32_t segment = 0;
  for (const FileOperation& operation : operations) {
    if (operation.kind == Kind::kCreate && operation.name == segmentName(1)) segment = operation.file;
    if (operation.kind == Kind::kRename && operation.newName.ends_with(".k2i")) text += " index ";
    if (operation.file != segment) continue;
    if (operation.kind == Kind::kWrite) text += "w";
    if (operation.kind == Kind::kFlush) text += "F";
  }
  return text;
}

TEST(SegmentFlush, ComesOncePerFragmentBeforeItsIndexAndOnlyWherePromised) {
  const std::pair<host::Durability, const char*> rows[] = {
      {host::Durability::kDevice, "FwFwwwF index wwwF index  index wF"},
      {host::Durability::kProcess, "wwww index www index  index w"}};
  for (const auto& [durability, expected] : rows) {
    host::Log log(stderr);
    host::FileContext files(durability, log);
    Recorder recorder(loadModule(), &files);
    useShortGrid(recorder);
    const SystemCalls calls(recorder.directory());
    ASSERT_TRUE(recorder.open());
    EXPECT_EQ(recorder.record(severalWritesAFragment().until(2001)), 0U) << recorder.log();
    recorder.stop();
    EXPECT_EQ(segmentOperations(calls.operations()), expected);
  }
}

INSTANTIATE_TEST_SUITE_P(Streams, PowerLoss, testing::ValuesIn(scenarios()),
                         [](const auto& scenario) { return std::string(scenario.param.name); });

}  // namespace
