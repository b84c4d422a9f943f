#include "tests/support/Recorder.h"

#include <algorithm>
#include <set>
#include <utility>

namespace test {

Recorder::Recorder(IMOCreateAdaptorFunction create, IMOFileContext* files)
    : host(files == nullptr ? &disk_ : files), create_(create) {
  std::filesystem::create_directories(directory().parent_path());
}

bool Recorder::open(std::uint32_t flags) {
  if (!adaptor_) {
    IMOStreamAdaptor* made = nullptr;
    if (!create_(&host, &made)) throw std::runtime_error("no adaptor");
    adaptor_.reset(made);
  }
  return adaptor_->open(&host, modulePath(directory()).c_str(), flags, nullptr, handle_) == kStreamOpened;
}

bool Recorder::record(const StreamMessage& message) {
  return adaptor_->record(handle_, message.type, message.data.data(), static_cast<std::uint32_t>(message.data.size()),
                          message.time);
}

std::size_t Recorder::record(const std::vector<StreamMessage>& messages) {
  return static_cast<std::size_t>(std::count_if(messages.begin(), messages.end(),
                                                [this](const StreamMessage& message) { return !record(message); }));
}

void Recorder::stop() {
  adaptor_->stopRecord(handle_);
}

void Recorder::close() {
  if (adaptor_) adaptor_->close(std::exchange(handle_, nullptr));
}

std::string Recorder::files() const {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(directory())) {
    names.insert(entry.path().filename().string());
  }
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : " ") + name;
  return text;
}

std::string Recorder::log() const {
  std::string text;
  for (const std::string& line : host.lines) text += line + "\n";
  return text;
}

}  // namespace test
