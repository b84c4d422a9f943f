#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host::serve {

/// A stretch of time, in milliseconds since 1970-01-01 UTC; `endMs` is the first moment after it.
struct TimeSpan {
  std::int64_t beginMs = 0;
  std::int64_t endMs = 0;

  bool operator==(const TimeSpan&) const = default;
};

enum class RecordingState {
  /// This process records it.
  kInProgress,
  kFinished,
  /// Was interrupted, and waits for its repair.
  kInterrupted,
  /// Cannot be read.
  kDamaged,
};
/// "recording", "finished", "interrupted", "damaged".
std::string_view recordingStateText(RecordingState state);

/// A recording as lists show it. All of it is known from its name, its bootstrap, its last fragment and the sizes of
/// its files; no segment is read through.
struct RecordingInfo {
  /// Name of its directory.
  std::string name;
  RecordingState state = RecordingState::kFinished;
  TimeSpan time;
  /// Of all its files.
  std::uint64_t bytes = 0;
  /// Stretches without media, in order.
  std::vector<TimeSpan> gaps;
  bool isProtected = false;
};

/// What is recorded, by stream. Any thread may call it. A start-up scan fills it in the background, the newest
/// recording first; the recording threads report what changes.
class Catalog {
 public:
  /// Adds a stream whose recordings are in `folder`, a native path, or changes its folder.
  void addStream(const std::string& stream, const std::string& folder);

  /// Whether the scan has seen all recordings of all streams.
  bool isReady() const;
  /// The streams that have a folder, sorted.
  std::vector<std::string> streams() const;
  /// Native path of the stream's folder; nothing if there is no such stream.
  std::optional<std::string> folderOf(const std::string& stream) const;
  /// The recordings with any time in [from, to), by rising begin.
  std::vector<RecordingInfo> list(const std::string& stream, std::int64_t fromMs, std::int64_t toMs) const;
  std::optional<RecordingInfo> find(const std::string& stream, const std::string& recording) const;
  /// The sum over all recordings of a stream, finished or not.
  struct Totals {
    std::uint64_t recordings = 0;
    std::uint64_t bytes = 0;
  };
  Totals totals(const std::string& stream) const;
};

}  // namespace host::serve
