#pragma once

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "host/serve/catalog/Catalog.h"
#include "host/serve/catalog/RecordingFacts.h"
#include "host/serve/recordingName.h"

namespace host::serve {

/// A recording as the retention sees it.
struct StoredRecording {
  RecordingName name;
  /// First moment after its last sample, in ms since 1970-01-01 UTC. Only with `isRead`.
  std::int64_t endMs = 0;
  /// Of all its files. Only with `isRead`.
  std::uint64_t bytes = 0;
  /// Whether its files were read.
  bool isRead = false;
  bool isInProgress = false;
};

/// The recordings of one stream in one folder: what the disk is known to have, and what this process records. Any
/// thread may call it. Disk is read without a lock, so the thread that records never waits for a reader's disk.
class StreamRecordings {
 public:
  /// `folder` is a native path; it may be missing.
  StreamRecordings(std::string stream, std::string folder) : stream_(std::move(stream)), folder_(std::move(folder)) {}

  const std::string& stream() const { return stream_; }
  const std::string& folder() const { return folder_; }

  /// Reads the names of the recordings, if the folder has changed since it was last read.
  void readNames();
  /// Reads what the files of a recording say, unless nothing has changed since it was last read.
  void read(const RecordingName& name);

  // What recorders report. Only began() and repaired() make an entry.
  void began(const RecordingName& name);
  void grew(const RecordingName& name);
  void finished(const RecordingName& name, bool isEmpty);
  /// A repair has changed the files, or has refused them as damaged.
  void repaired(const RecordingName& name, bool isDamaged);
  void removed(const RecordingName& name);
  /// Keeps a recording out of lists, since it is about to be removed; find() still has it. Returns when it was last in
  /// a list.
  std::optional<std::int64_t> setLeaving(const RecordingName& name, bool isLeaving);

  /// As in Catalog. `nowMs` is noted as the time at which these were listed.
  std::vector<RecordingInfo> list(std::int64_t fromMs, std::int64_t toMs, std::int64_t nowMs);
  std::optional<RecordingInfo> find(const RecordingName& name);
  Catalog::Totals totals();
  /// All but foreign ones, by rising begin. Of those in progress only the size is up to date.
  std::vector<StoredRecording> stored();
  /// Those whose files were not read yet, by rising begin.
  std::vector<RecordingName> unread() const;
  /// Those that nobody records and no stop has finished, unless a repair has refused them.
  std::vector<RecordingName> interrupted() const;

 private:
  /// About 130 bytes with its place in the map: there may be 100,000.
  struct Entry {
    std::int64_t endMs = 0;
    std::uint64_t bytes = 0;
    std::optional<std::int64_t> listedAtMs = {};
    std::vector<TimeSpan> gaps = {};
    /// Counts the changes of its files, and the one that was read last; 0 for none.
    std::uint32_t version = 1;
    std::uint32_t readVersion = 0;
    /// That of which `bytes` is.
    std::uint32_t sizedVersion = 0;
    RecordingState state = RecordingState::kInterrupted;
    bool isInProgress = false;
    bool isProtected = false;
    bool isForeign = false;
    bool isLeaving = false;
    /// A repair has refused it.
    bool isRefused = false;
  };
  using Entries = std::map<RecordingName, Entry>;

  static void take(Entry& entry, RecordingFacts facts);
  /// Lets damaged recordings be read again, once in a while.
  void retryDamaged(std::int64_t nowMs);
  static RecordingInfo infoOf(const RecordingName& name, const Entry& entry);
  template <typename Change>
  void change(const RecordingName& name, const Change& change);
  /// Applies a listing of the folder. False if recordings came or went meanwhile.
  bool reconcile(const std::vector<RecordingName>& names, std::uint64_t eventsBefore);
  void readAll(const std::vector<RecordingName>& names);
  /// Those that a list of [fromMs, toMs) needs to be read.
  std::vector<RecordingName> toRead(std::int64_t fromMs, std::int64_t toMs) const;
  /// Reads the sizes of what has grown, and all of what was finished since it was read. So 1,000 streams are summed up
  /// without 1,000 indexes being read.
  void readSizes();
  void readSize(const RecordingName& name);

  const std::string stream_;
  const std::string folder_;

  /// Guards everything below. Nobody reads the disk under it.
  mutable std::mutex mutex_;
  Entries entries_;
  /// Of the last retryDamaged() that had an effect.
  std::optional<std::int64_t> retriedAtMs_;
  /// Counts what began, finished and was removed.
  std::uint64_t events_ = 0;
  /// The folder's time of change when its names were last read; nothing if they have to be read again.
  std::optional<std::pair<std::time_t, long>> namesOf_;
};

}  // namespace host::serve
