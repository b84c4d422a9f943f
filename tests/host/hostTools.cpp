#include "tests/host/hostTools.h"

#include "host/StopSignal.h"
#include "host/commands.h"
#include "host/files/smallFiles.h"
#include "host/input/openInput.h"
#include "tests/support/Recorder.h"
#include "tests/support/loadModule.h"
#include "tests/support/tagFile.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using qvs::util::asBytes;

void run(Recorder& recorder, std::uint32_t flags, const std::vector<StreamMessage>& messages, bool stop) {
  if (!recorder.open(flags)) throw std::runtime_error("not opened: " + recorder.log());
  recorder.record(messages);
  if (stop) recorder.stop();
  recorder.close();
}

/// From its first fragment on.
std::string withoutMoov(const std::string& segment) {
  const auto fragments = segment.find("afra");
  return fragments == std::string::npos ? "" : segment.substr(fragments);
}

}  // namespace

CommandAnswer k2r(const std::vector<std::string>& arguments) {
  std::vector<const char*> argv = {"k2r"};
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  const host::ExitStatus status = host::runCommandLine(static_cast<int>(argv.size()), argv.data());
  const std::string errors = testing::internal::GetCapturedStderr();
  return {static_cast<int>(status), testing::internal::GetCapturedStdout(), errors};
}

std::vector<StreamMessage> readAll(host::Input& input) {
  std::vector<StreamMessage> messages;
  while (const auto message = input.next()) {
    messages.push_back({message->type, message->timeMs, {message->data.begin(), message->data.end()}});
  }
  return messages;
}

std::vector<StreamMessage> messagesOf(const std::string& path) {
  const host::StopSignal stop;
  LogCapture capture;
  return readAll(*host::openInput(path, {}, capture.log(), stop));
}

bool isSequenceHeader(const StreamMessage& message) {
  const bool hasOne = message.type == 9 || (message.type == 8 && message.data.at(0) == std::byte{0xAF});
  return hasOne && message.data.at(1) == std::byte{0};
}

void writeTagStream(const std::vector<StreamMessage>& messages, const std::filesystem::path& file) {
  writeWholeFile(file, textOf(tagFile(messages)));
}

std::map<std::string, std::string> settingsIn(const std::filesystem::path& file) {
  std::map<std::string, std::string> settings;
  std::istringstream lines(readWholeFile(file));
  for (std::string line; std::getline(lines, line);) {
    const auto equals = line.find(" = ");
    if (equals != std::string::npos) settings.emplace(line.substr(0, equals), line.substr(equals + 3));
  }
  return settings;
}

MadeRecording::MadeRecording(const RecordingPlan& plan) {
  Recorder recorder(loadModule());
  recorder.host.settings = plan.settings;
  run(recorder, kOpenRecord, plan.messages, plan.stop);
  if (!plan.appended.empty()) run(recorder, kOpenRecord | kOpenAppend, plan.appended, plan.stop);
  fs::copy(recorder.directory(), directory());
  files_ = readAllFiles(directory());
}

void MadeRecording::restore() const {
  fs::remove_all(directory());
  writeAllFiles(directory(), files_);
}

void MadeRecording::append(const std::vector<StreamMessage>& messages) const {
  Recorder recorder(loadModule());
  fs::copy(directory(), recorder.directory());
  run(recorder, kOpenRecord | kOpenAppend, messages, true);
  fs::remove_all(directory());
  fs::copy(recorder.directory(), directory());
}

host::SegmentMap MadeRecording::boxesOf(const std::string& suffix) const {
  host::FileView file(path(suffix).string());
  return host::mapSegment(file);
}

void MadeRecording::changeIndex(const std::string& suffix,
                                const std::function<void(std::vector<ruvo::k2r::AfraEntry>&)>& change) const {
  auto index = host::parseAfra(asBytes(read(suffix)));
  change(index.globalEntries);
  write(suffix, textOf(host::imageOf(index)));
}

void MadeRecording::changeBootstrap(const std::function<void(ruvo::k2r::BootstrapInfo&)>& change) const {
  auto info = host::parseBootstrap(asBytes(read(".bootstrap")));
  change(info);
  write(".bootstrap", textOf(host::imageOf(info)));
}

void expectSameFiles(const MadeRecording& expected, const fs::path& directory) {
  auto found = readAllFiles(directory);
  for (const auto& [name, content] : readAllFiles(expected.directory())) {
    const auto file = found.extract(directory.filename().string() + name.substr(4));
    ASSERT_FALSE(file.empty()) << name;
    const bool isSegment = name.ends_with(".k2r");
    EXPECT_TRUE(isSegment ? withoutMoov(file.mapped()) == withoutMoov(content) : file.mapped() == content) << name;
  }
  EXPECT_TRUE(found.empty()) << found.begin()->first;
}

bool names(const host::Verification& verification, const std::string& file, std::uint64_t first, std::uint64_t last) {
  const bool isAnywhere = first == 0 && last == UINT64_MAX;
  return std::ranges::any_of(verification.findings.kept(), [&](const host::Finding& finding) {
    return finding.severity != host::Severity::kNote && finding.file == file &&
           (isAnywhere || (finding.offset && *finding.offset >= first && *finding.offset <= last));
  });
}

host::Verification expectWhole(const std::string& directory) {
  auto verification = host::verifyRecording(directory);
  EXPECT_EQ(verification.status(), host::ExitStatus::kOk) << textReport(verification);
  return verification;
}

StreamBuilder av(std::uint32_t keyFrames) {
  return stream().keyFramesEvery(keyFrames).framesEvery(500).audio(700);
}

std::vector<StreamMessage> framesAt(const std::string& times) {
  std::istringstream in(times);
  std::vector<StreamMessage> messages;
  for (std::string time; in >> time;) {
    const auto timeMs = static_cast<std::uint32_t>(std::stoul(time));
    if (messages.empty()) messages = {metadata(timeMs), avcSequenceHeader(timeMs)};
    messages.push_back(avcFrame(timeMs, time.ends_with('k'), 9, timeMs));
  }
  return messages;
}

std::vector<StreamMessage> otherCodecs(std::uint32_t until) {
  std::vector<StreamMessage> messages{metadata(0)};
  for (std::uint32_t time = 0; time < until; time += 200) {
    std::vector<std::byte> picture = fromHex(time % 2000 == 0 ? "14 00 0102030405" : "24 00 0607");
    if (time % 1400 == 200) picture.resize(2);
    messages.push_back({9, time, picture});
    messages.push_back({8, time + 50, fromHex("2f fffb9000")});
    if (time % 1000 == 0) messages.push_back({18, time + 60, fromHex("02 0002 6869 05")});
    if (time % 1000 == 400) messages.push_back({15, time + 60, fromHex("00 02 0002 6869 05")});
  }
  return messages;
}

}  // namespace test
