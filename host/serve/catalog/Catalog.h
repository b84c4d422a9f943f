#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/serve/catalog/Surroundings.h"
#include "host/serve/streams/RecordingEvents.h"

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

  /// In progress or finished: a repair may still change any other.
  bool isWhole() const { return state == RecordingState::kInProgress || state == RecordingState::kFinished; }
};

class RootScan;
class StreamRecordings;

/// What is recorded, by stream. Any thread may call it; only list(), find() and totals() may wait for a disk. A
/// start-up scan fills it in the background, the newest recording first, with a thread for each root, so that a disk
/// which does not respond delays no other root. What the scan has not reached yet is read when it is asked for.
///
/// A directory whose name is none of a recording, and one with an entry that is no file of its recording, is not ours:
/// it is not in here.
class Catalog final : public RecordingEvents {
 public:
  /// Called for a recording of an earlier process that was interrupted, once the scan has read all recordings of its
  /// root; on the thread of that scan, which waits. It may repair the recording and then calls repaired().
  using OnInterrupted = std::function<void(const RecordingPlace& recording)>;

  /// `surroundings` outlives it.
  explicit Catalog(const Surroundings& surroundings = systemSurroundings(), OnInterrupted onInterrupted = {});
  /// Waits for what the scans are reading at the moment.
  ~Catalog();
  Catalog(const Catalog&) = delete;
  Catalog& operator=(const Catalog&) = delete;

  /// Adds a folder whose folders are streams, by their names; scans it. A native path; it may be missing. A stream that
  /// is there and that addStream() does not name was recorded under another configuration.
  void addRoot(const std::string& root);
  /// Adds a stream whose recordings are in `folder`, a native path, or changes its folder. The folder above is a root
  /// then.
  void addStream(const std::string& stream, const std::string& folder);

  /// Whether the scan has seen all recordings of all streams.
  bool isReady() const;
  /// The streams that have a folder, sorted.
  std::vector<std::string> streams() const;
  /// Native path of the stream's folder; nothing if there is no such stream.
  std::optional<std::string> folderOf(const std::string& stream) const;
  /// The recordings with any time in [from, to), by rising begin; of those without a fragment, with their begin in it.
  /// Without those that are about to be removed. None of them is removed in the minute after this.
  std::vector<RecordingInfo> list(const std::string& stream, std::int64_t fromMs, std::int64_t toMs) const;
  /// Also for a recording that lists do not contain any more, as long as it is there.
  std::optional<RecordingInfo> find(const std::string& stream, const std::string& recording) const;
  /// The sum over all recordings of a stream, finished or not. Until isReady(), bytes of those that were read.
  struct Totals {
    std::uint64_t recordings = 0;
    std::uint64_t bytes = 0;
  };
  Totals totals(const std::string& stream) const;
  /// The same as it was read last, without a look at the disk.
  Totals knownTotals(const std::string& stream) const;

  void began(const RecordingPlace& recording) override;
  void grew(const RecordingPlace& recording) override;
  void finished(const RecordingPlace& recording, bool isEmpty) override;
  void interrupted(const RecordingPlace& recording) override {
    // Its files say in what state it is.
    finished(recording, false);
  }
  /// A repair has changed the files of a recording, or has refused them as damaged.
  void repaired(const RecordingPlace& recording, bool isDamaged);

  /// All folders of streams below a root, by the stream's name: those of streams that have another folder by now, too.
  std::vector<std::shared_ptr<StreamRecordings>> foldersIn(const std::string& root) const;
  /// Forgets a folder that was removed, unless it is that of an addStream().
  void forget(const std::string& folder);

 private:
  friend class RootScan;

  struct Folder {
    std::shared_ptr<StreamRecordings> recordings;
    /// By addStream(), not only found in a root.
    bool isConfigured = false;
  };

  /// Calls `report` with the folder of a recording and its name, if the folder is known.
  template <typename Report>
  void inFolder(const RecordingPlace& recording, const Report& report);
  /// The folder of a stream; null if there is none.
  std::shared_ptr<StreamRecordings> recordingsOf(const std::string& stream) const;
  /// Adds what a scan found. Returns the folder's recordings.
  std::shared_ptr<StreamRecordings> found(const std::string& stream, const std::string& folder);
  RootScan& scanOf(const std::string& root);

  const Surroundings& surroundings_;
  const OnInterrupted onInterrupted_;

  /// Guards the maps. Not locked while a disk is read.
  mutable std::mutex mutex_;
  /// By native path.
  std::map<std::string, Folder> folders_;
  /// The path of each stream's folder.
  std::map<std::string, std::string> paths_;
  /// By the root's path. Last, so that the threads end before what they use.
  std::map<std::string, std::unique_ptr<RootScan>> scans_;
};

}  // namespace host::serve
