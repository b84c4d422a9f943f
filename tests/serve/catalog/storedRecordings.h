#pragma once

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "host/serve/catalog/Catalog.h"
#include "host/serve/recordingName.h"
#include "tests/host/hostTools.h"

namespace test {

/// 2026-11-25, 14:00 UTC.
inline constexpr std::int64_t kTwoOClock = 1795615200000;
inline constexpr std::int64_t kHourMs = 3'600'000;

/// The name of a recording that begins so many hours later.
inline std::string atHour(double hours) {
  return host::serve::recordingNameText({.beginMs = kTwoOClock + static_cast<std::int64_t>(hours * kHourMs)});
}

/// Puts a copy of a recording at ROOT/STREAM/NAME, with the names that it would have there. Returns its path.
inline std::filesystem::path store(const MadeRecording& made, const std::filesystem::path& root,
                                   const std::string& stream, const std::string& name) {
  const std::filesystem::path directory = root / stream / name;
  std::filesystem::create_directories(directory);
  for (const auto& entry : std::filesystem::directory_iterator(made.directory())) {
    const std::string suffix = entry.path().filename().string().substr(std::string("cam1").size());
    std::filesystem::copy(entry.path(), directory / (name + suffix));
  }
  return directory;
}

/// 12 seconds, three fragments.
inline const MadeRecording& finishedRecording() {
  static const MadeRecording made({.messages = av().until(12001)});
  return made;
}
inline const MadeRecording& interruptedRecording() {
  static const MadeRecording made({.messages = av().until(12001), .stop = false});
  return made;
}

/// A clock and a disk that a test sets.
class SetSurroundings final : public host::serve::Surroundings {
 public:
  std::int64_t nowMs() const override {
    if (onNow) onNow();
    return now;
  }
  std::optional<std::uint64_t> freeBytes(const std::string& /*path*/) const override { return free; }
  bool isOneFileSystem(const std::string& /*one*/, const std::string& other) const override {
    return !other.ends_with(elsewhere);
  }

  /// The end of the paths that are on another file system than all others.
  std::string elsewhere = "/mounted";
  std::atomic<std::int64_t> now = kTwoOClock;
  /// What happens while the time is looked at; null for nothing.
  std::function<void()> onNow = {};
  std::atomic<std::uint64_t> free = UINT64_MAX;
};

/// A root below which a test puts recordings, each at so many hours after kTwoOClock.
class StoredRecordings : public testing::Test {
 protected:
  static void scan(host::serve::Catalog& catalog, const std::string& root) {
    catalog.addRoot(root);
    while (!catalog.isReady()) std::this_thread::yield();
  }
  std::string root() const { return directory_.path().string(); }
  std::string folder(const std::string& stream) const { return directory_.file(stream); }
  std::filesystem::path path(const std::string& stream, double hour) const {
    return directory_.path() / stream / atHour(hour);
  }
  std::filesystem::path put(const std::string& stream, double hour, const MadeRecording& made = finishedRecording()) {
    return store(made, directory_.path(), stream, atHour(hour));
  }
  host::serve::RecordingPlace at(double hour, const std::string& stream = "cam1") const {
    return {.root = root(), .stream = stream, .name = atHour(hour)};
  }

  TempDirectory directory_;
  SetSurroundings world_;
  LogCapture log_;
};

}  // namespace test
