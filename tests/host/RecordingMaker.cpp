#include "tests/host/RecordingMaker.h"

#include <stdexcept>

#include "tests/module/loadModule.h"
#include "tests/support/Recorder.h"
#include "tests/support/TestHost.h"

namespace test {
namespace {

void run(Recorder& recorder, std::uint32_t flags, const std::vector<StreamMessage>& messages, bool stop) {
  if (!recorder.open(flags)) throw std::runtime_error("not opened: " + recorder.log());
  recorder.record(messages);
  if (stop) recorder.stop();
  recorder.close();
}

}  // namespace

MadeRecording::MadeRecording(const RecordingPlan& plan) {
  Recorder recorder(loadModule());
  recorder.host.settings = plan.settings;
  run(recorder, kOpenRecord, plan.messages, plan.stop);
  if (!plan.appended.empty()) run(recorder, kOpenRecord | kOpenAppend, plan.appended, plan.stop);
  std::filesystem::copy(recorder.directory(), root_.path() / "cam1");
  for (const auto& entry : std::filesystem::directory_iterator(root_.path() / "cam1")) {
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
  std::filesystem::remove_all(directory());
  std::filesystem::create_directory(directory());
  for (const auto& [name, content] : files_) writeWholeFile(root_.path() / "cam1" / name, content);
}

void MadeRecording::append(const std::vector<StreamMessage>& messages) const {
  Recorder recorder(loadModule());
  std::filesystem::copy(directory(), recorder.directory());
  run(recorder, kOpenRecord | kOpenAppend, messages, true);
  std::filesystem::remove_all(directory());
  std::filesystem::copy(recorder.directory(), directory());
}

std::vector<StreamMessage> operator+(std::vector<StreamMessage> first, const std::vector<StreamMessage>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

}  // namespace test
