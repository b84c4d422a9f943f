#pragma once

#include <atomic>
#include <fstream>

#include "host/serve/play/Playback.h"
#include "tests/host/hostTools.h"
#include "tests/serve/http/contentOf.h"

namespace host::serve {

/// A stream "cam1" whose recordings a test makes, and what plays it.
class PlayTest : public testing::Test, public RecordingSource {
 protected:
  static constexpr std::int64_t kBeginMs = 1795615400500;  // 20261125T140320.500Z

  static std::string nameAt(std::int64_t beginMs) { return recordingNameText({.beginMs = beginMs}); }
  std::string directoryOf(const std::string& name) const { return folder() + "/" + name; }
  std::string folder() const { return root_.file("cam1"); }

  /// Records messages with `k2r record`, to the last frame, as the recording that begins at that time.
  std::string record(std::int64_t beginMs, const std::vector<test::StreamMessage>& messages) {
    const std::string name = nameAt(beginMs);
    remove(name);
    std::filesystem::create_directories(folder());
    test::writeTagStream(messages, root_.file("in.mtg"));
    const auto answer = test::k2r({"record", "--quiet", root_.file("in.mtg"), "--out", directoryOf(name), "--set",
                                   "Recording/FragmentDuration=2000"});
    if (answer.status != 0) throw std::runtime_error(answer.errors);
    add(beginMs, RecordingState::kFinished, messages);
    return name;
  }

  /// A recording that has got these messages so far. Again for the same time: it has grown.
  std::string recordSoFar(std::int64_t beginMs, const std::vector<test::StreamMessage>& messages,
                          const std::map<std::string, std::string>& settings = {}) {
    const std::string name = nameAt(beginMs);
    test::RecordingPlan plan{.messages = messages, .settings = settings, .stop = false};
    plan.settings.emplace("Recording/FragmentDuration", "2000");
    const test::MadeRecording made(plan);
    std::filesystem::create_directories(directoryOf(name));
    // In the order of a recorder, which appends to segments and replaces the others: somebody may read them meanwhile.
    for (const char* const suffix : {".k2r", ".k2i", ".meta", ".control", ".bootstrap"}) {
      for (const auto& entry : std::filesystem::directory_iterator(made.directory())) {
        if (entry.path().extension() != suffix) continue;
        const std::string file = directoryOf(name) + "/" + name + entry.path().filename().string().substr(4);
        if (entry.path().extension() == ".k2r" && std::filesystem::exists(file)) {
          std::ofstream(file, std::ios::app | std::ios::binary)
              << test::readWholeFile(entry.path()).substr(std::filesystem::file_size(file));
        } else {
          std::filesystem::copy(entry.path(), file + ".tmp");
          std::filesystem::rename(file + ".tmp", file);
        }
      }
    }
    add(beginMs, RecordingState::kInProgress, messages);
    return name;
  }

  void remove(const std::string& name) {
    infos_.erase(name);
    std::filesystem::remove_all(directoryOf(name));
  }

  /// A new one is as after a restart of the process.
  std::unique_ptr<Playback> makePlayback() {
    return std::make_unique<Playback>(
        *this, capture_.log(), [this] { return nowMs_.load(); }, Playback::Limits{});
  }
  std::string live() { return test::contentOf(playback_->livePlaylist("cam1").body); }
  std::string timed(std::int64_t fromMs, std::int64_t toMs) {
    return test::contentOf(playback_->timedPlaylist("cam1", fromMs, toMs).body);
  }
  /// The content of an address, as `<recording>/<fragment>` or a header's.
  std::string content(const std::string& address) {
    const auto slash = address.find('/');
    if (slash == std::string::npos) return test::contentOf(playback_->header("cam1", address).body);
    return test::contentOf(playback_->fragment("cam1", address.substr(0, slash), address.substr(slash + 1)).body);
  }
  /// The status of the error that a call throws; 200 without one.
  template <typename Call>
  static unsigned statusOf(const Call& call) try {
    call();
    return 200;
  } catch (const HttpError& error) {
    return error.status;
  }

  static std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
  }
  static std::vector<std::string> addressesIn(const std::string& playlist) {
    std::vector<std::string> lines = linesOf(playlist);
    std::erase_if(lines, [](const std::string& line) { return line.starts_with('#'); });
    return lines;
  }
  /// The value of a tag of which there is one; -1 without it.
  static std::int64_t valueOf(const std::string& tag, const std::string& playlist) {
    const auto found = playlist.find("#EXT-X-" + tag + ":");
    return found == std::string::npos ? -1 : std::stoll(playlist.substr(found + tag.size() + 8));
  }

  std::optional<std::string> folderOf(const std::string& stream) const override {
    return stream == "cam1" ? std::optional(folder()) : std::nullopt;
  }
  std::vector<RecordingInfo> list(const std::string& /*stream*/, std::int64_t fromMs,
                                  std::int64_t toMs) const override {
    const std::lock_guard lock(mutex_);
    std::vector<RecordingInfo> found;
    for (const auto& [name, info] : infos_) {
      if (info.time.beginMs < toMs && info.time.endMs > fromMs) found.push_back(info);
    }
    return found;
  }
  std::optional<RecordingInfo> find(const std::string& /*stream*/, const std::string& recording) const override {
    const std::lock_guard lock(mutex_);
    const auto found = infos_.find(recording);
    return found == infos_.end() ? std::nullopt : std::optional(found->second);
  }
  bool isRecording(const std::string& /*stream*/) const override { return recording_; }
  std::uint64_t fragmentDurationMs(const std::string& /*stream*/) const override { return 2000; }

  test::TempDirectory root_;
  test::LogCapture capture_;
  mutable std::mutex mutex_;
  /// Guarded by `mutex_` where a test has threads.
  std::map<std::string, RecordingInfo> infos_;
  std::atomic<bool> recording_ = false;
  std::atomic<std::int64_t> nowMs_ = kBeginMs + 60000;
  std::unique_ptr<Playback> playback_ = makePlayback();

 private:
  void add(std::int64_t beginMs, RecordingState state, const std::vector<test::StreamMessage>& messages) {
    const auto lengthMs = static_cast<std::int64_t>(messages.back().time - messages.front().time);
    const std::lock_guard lock(mutex_);
    RecordingInfo& info = infos_[nameAt(beginMs)];
    info.name = nameAt(beginMs);
    info.state = state;
    info.time = {.beginMs = beginMs, .endMs = beginMs + lengthMs + 40};
  }
};

}  // namespace host::serve
