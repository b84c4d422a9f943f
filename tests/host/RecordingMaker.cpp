#include "tests/host/RecordingMaker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "host/files/smallFiles.h"
#include "tests/module/loadModule.h"
#include "tests/support/Recorder.h"
#include "tests/support/TestHost.h"
#include "tests/support/hex.h"
#include "util/bytes.h"

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

std::string withoutMoov(const std::string& segment) {
  const auto fragments = segment.find("afra");
  return fragments == std::string::npos ? "" : segment.substr(fragments);
}

}  // namespace

MadeRecording::MadeRecording(const RecordingPlan& plan) {
  Recorder recorder(loadModule());
  recorder.host.settings = plan.settings;
  run(recorder, kOpenRecord, plan.messages, plan.stop);
  if (!plan.appended.empty()) run(recorder, kOpenRecord | kOpenAppend, plan.appended, plan.stop);
  fs::copy(recorder.directory(), directory());
  for (const auto& entry : fs::directory_iterator(directory())) {
    files_[entry.path().filename().string()] = readWholeFile(entry.path());
  }
}

std::string MadeRecording::read(const std::string& suffix) const {
  return readWholeFile(path(suffix));
}

void MadeRecording::write(const std::string& suffix, const std::string& content) const {
  writeWholeFile(path(suffix), content);
}

void MadeRecording::restore() const {
  fs::remove_all(directory());
  fs::create_directory(directory());
  for (const auto& [name, content] : files_) writeWholeFile(root_.path() / "cam1" / name, content);
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

std::vector<ruvo::k2r::AfraEntry> MadeRecording::indexOf(const std::string& suffix) const {
  return host::parseAfra(asBytes(read(suffix))).globalEntries;
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
  std::ptrdiff_t count = 0;
  for (const auto& entry : fs::directory_iterator(expected.directory())) {
    const std::string suffix = entry.path().filename().string().substr(4);
    std::string content = expected.read(suffix);
    std::string found = readWholeFile(directory / (directory.filename().string() + suffix));
    EXPECT_EQ(found.size(), content.size()) << suffix;
    const bool isSegment = suffix.ends_with(".k2r");
    EXPECT_TRUE(isSegment ? withoutMoov(found) == withoutMoov(content) : found == content) << suffix;
    ++count;
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(directory), {}), count);
}

bool names(const host::Verification& verification, const std::string& file) {
  return std::ranges::any_of(verification.findings.kept(), [&](const host::Finding& finding) {
    return finding.severity != host::Severity::kNote && finding.file == file;
  });
}

bool names(const host::Verification& verification, const std::string& file, std::uint64_t first, std::uint64_t last) {
  return std::ranges::any_of(verification.findings.kept(), [&](const host::Finding& finding) {
    return finding.severity != host::Severity::kNote && finding.file == file && finding.offset &&
           *finding.offset >= first && *finding.offset <= last;
  });
}

StreamBuilder av(std::uint32_t keyFrames) {
  return stream().keyFramesEvery(keyFrames).framesEvery(500).audio(700);
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
