#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "host/Log.h"
#include "host/serve/play/BoundedCache.h"
#include "host/serve/play/HeaderStore.h"
#include "host/serve/play/PlayedRecording.h"

namespace host::serve {

/// The time lines of recordings, in bounded memory. Of a running recording only what is new is read. Any thread may
/// call it; two that want the same recording read it once, and others do not wait for them.
class RecordingCache {
 public:
  /// `limit` of all time lines, in bytes. `headers` and `log` outlive this object.
  RecordingCache(std::uint64_t limit, HeaderStore& headers, Log& log);

  /// The recording in that directory as it is now; may have no fragments. Null if it cannot be played, which is
  /// logged, and if it has no bootstrap yet, or no more.
  RecordingPointer get(const std::string& path, const RecordingName& name);

 private:
  /// A version of a bootstrap. Recorders replace that file with each fragment.
  struct Stamp {
    std::uint64_t inode = 0;
    std::int64_t changed = 0;
    std::int64_t size = 0;
    bool operator==(const Stamp&) const = default;
  };
  struct Slot {
    std::mutex mutex;
    // Guarded by `mutex`.
    std::optional<Stamp> stamp;
    /// Null after a failure.
    RecordingPointer recording;
    /// When to try again after a failure.
    std::chrono::steady_clock::time_point retry = {};
  };

  static std::optional<Stamp> stampOf(const std::string& bootstrap);
  /// Throws CommandError.
  RecordingPointer read(const std::string& path, const RecordingName& name, const RecordingPointer& before);

  HeaderStore& headers_;
  Log& log_;
  BoundedCache<Slot> slots_;
};

}  // namespace host::serve
