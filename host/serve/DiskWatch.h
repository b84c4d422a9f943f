#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace host::serve {

/// The free space of disks, and whether they respond. Each is asked on a thread of its own, so that one which hangs
/// costs nobody more than `patience`. Any thread may call it.
class DiskWatch {
 public:
  struct Look {
    /// The last known value; nothing if the disk never responded, or did not know it.
    std::optional<std::uint64_t> freeBytes;
    /// It has not responded for as long as `patience`.
    bool hangs = false;
  };
  /// Bytes that may still be written below a folder. A call that hangs may go on after the end of the object.
  using FreeBytes = std::function<std::optional<std::uint64_t>(const std::string& root)>;

  explicit DiskWatch(FreeBytes freeBytes, std::chrono::milliseconds patience = std::chrono::seconds(1))
      : freeBytes_(std::move(freeBytes)), patience_(patience) {}

  /// The disk of a folder, as it is now or was less than a second ago.
  Look look(const std::string& root);

 private:
  using Clock = std::chrono::steady_clock;

  struct Disk {
    std::mutex mutex;
    std::condition_variable responded;
    /// All guarded by the mutex.
    bool isAsked = false;
    /// When it was asked last.
    std::optional<Clock::time_point> askedAt = {};
    std::optional<std::uint64_t> freeBytes = {};
  };

  /// Starts a thread that asks the disk, whose mutex is locked.
  void ask(const std::shared_ptr<Disk>& disk, const std::string& root) const;

  const FreeBytes freeBytes_;
  const std::chrono::milliseconds patience_;
  std::mutex mutex_;
  /// By folder; guarded by `mutex_`. Shared with the threads that ask.
  std::map<std::string, std::shared_ptr<Disk>> disks_;
};

}  // namespace host::serve
