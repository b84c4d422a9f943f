#pragma once

#include <cstdint>
#include <ctime>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/serve/catalog/Catalog.h"
#include "host/serve/catalog/RecordingTable.h"
#include "host/serve/recordingName.h"

namespace host::serve {

/// The recordings of one stream in one folder: what the disk is known to have, and what this process records. Reads the
/// disk when somebody asks, and keeps what it has read in a RecordingTable. Any thread may call it. Disk is read
/// without a lock, so the thread that records never waits for a reader's disk.
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

  // What recorders report, as in RecordingTable. None of these waits for a disk.
  void began(const RecordingName& name) { table_.began(name); }
  void grew(const RecordingName& name) { table_.grew(name); }
  void finished(const RecordingName& name, bool isEmpty) { table_.finished(name, isEmpty); }
  void repaired(const RecordingName& name, bool isDamaged) { table_.repaired(name, isDamaged); }
  void removed(const RecordingName& name) { table_.removed(name); }
  std::optional<std::int64_t> setLeaving(const RecordingName& name, bool isLeaving) {
    return table_.setLeaving(name, isLeaving);
  }

  /// As in Catalog. `nowMs` is noted as the time at which these were listed.
  std::vector<RecordingInfo> list(std::int64_t fromMs, std::int64_t toMs, std::int64_t nowMs);
  /// Reads the recording first, if it has changed. Waits for the disk, as list(), totals() and stored() do.
  std::optional<RecordingInfo> find(const RecordingName& name);
  /// Reads the sizes of what has grown, not its indexes.
  Catalog::Totals totals();
  /// The same as it was read last.
  Catalog::Totals knownTotals() const;
  /// All but foreign ones, by rising begin. Of those in progress only the size is up to date.
  std::vector<KnownRecording> stored();
  /// Those whose files were not read yet, by rising begin. Does not wait for a disk.
  std::vector<RecordingName> unread() const { return table_.unread(); }
  /// Those that nobody records and no stop has finished, unless a repair has refused them. Does not wait for a disk.
  std::vector<RecordingName> interrupted() const { return table_.interrupted(); }

 private:
  /// Seconds and nanoseconds.
  using FolderTime = std::pair<std::time_t, long>;

  bool isUpToDate(const std::optional<FolderTime>& time) const;
  void readAll(const std::vector<RecordingName>& names);
  /// Reads the sizes of what has grown, and all of what was finished since it was read. So 1,000 streams are summed up
  /// without 1,000 indexes being read.
  void readSizes();
  void readSize(const RecordingName& name);

  const std::string stream_;
  const std::string folder_;
  RecordingTable table_;

  mutable std::mutex mutex_;
  /// The folder's time of change when its names were last read; nothing if they have to be read again. Guarded by
  /// `mutex_`.
  std::optional<FolderTime> namesOf_;
};

}  // namespace host::serve
