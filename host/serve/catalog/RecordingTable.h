#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

#include "host/serve/catalog/Catalog.h"
#include "host/serve/catalog/RecordingFacts.h"
#include "host/serve/recordingName.h"

namespace host::serve {

/// A recording as the retention sees it.
struct KnownRecording {
  RecordingName name;
  /// First moment after its last sample, in ms since 1970-01-01 UTC. Only with `isRead`.
  std::int64_t endMs = 0;
  /// Of all its files. Only with `isRead`.
  std::uint64_t bytes = 0;
  /// Whether its files were read.
  bool isRead = false;
  bool isInProgress = false;
};

/// What is known of the recordings of one stream in one folder, in memory. Recorders report changes, and each change
/// raises the version of an entry; StreamRecordings reads the disk and puts in what a version says. Any thread may call
/// it; no call waits for a disk.
class RecordingTable {
 public:
  // What recorders report. Only began() and repaired() make an entry.
  void began(const RecordingName& name);
  /// The recording has one more fragment on disk: what was read of it is out of date. Ignored if it has no entry.
  void grew(const RecordingName& name);
  /// Nothing writes to the recording any more. With `isEmpty` it had no fragment, and its entry is removed.
  void finished(const RecordingName& name, bool isEmpty);
  /// A repair has changed the files, or has refused them as damaged.
  void repaired(const RecordingName& name, bool isDamaged);
  /// The recording has gone from the disk: its entry is removed.
  void removed(const RecordingName& name);
  /// Keeps a recording out of lists, since it is about to be removed; find() still returns it. Returns when it was last
  /// in a list, in ms since 1970-01-01 UTC.
  std::optional<std::int64_t> setLeaving(const RecordingName& name, bool isLeaving);

  /// The number of recordings that began, finished or were removed.
  std::uint64_t events() const;
  /// Applies a listing of the folder, sorted, which was read after events() had returned `eventsBefore`. Returns false
  /// if recordings came or went meanwhile: then new ones are added, and none is removed.
  bool reconcile(const std::vector<RecordingName>& names, std::uint64_t eventsBefore);

  /// The version that has to be read; nothing if there is no such recording, or if this version was read.
  std::optional<std::uint32_t> unreadVersion(const RecordingName& name) const;
  /// Takes what the files said. `version` is what unreadVersion() had returned before they were read. Returns whether
  /// the recording may be read again if it has changed meanwhile.
  bool take(const RecordingName& name, std::uint32_t version, RecordingFacts facts);
  /// The version of the recording, 0 if there is no such recording.
  std::uint32_t version(const RecordingName& name) const;
  /// Takes the size of all files, in bytes. `version` is what version() had returned before they were measured.
  void takeSize(const RecordingName& name, std::uint32_t version, std::uint64_t bytes);
  /// Lets damaged recordings be read again, at most every ten minutes.
  void retryDamaged(std::int64_t nowMs);

  /// Those that a list of [fromMs, toMs) needs to be read.
  std::vector<RecordingName> toRead(std::int64_t fromMs, std::int64_t toMs) const;
  /// Those whose sum of sizes is out of date: `grown` needs only its size, `finished` has to be read.
  struct OutOfDate {
    std::vector<RecordingName> grown;
    std::vector<RecordingName> finished;
  };
  /// Without those that were never read, which are left to the scan.
  OutOfDate outOfDate() const;

  /// Those in [fromMs, toMs), with `nowMs` noted as the time at which they were listed. All in ms since 1970-01-01 UTC.
  std::vector<RecordingInfo> list(std::int64_t fromMs, std::int64_t toMs, std::int64_t nowMs);
  /// Also one that is about to be removed; nothing for a foreign directory.
  std::optional<RecordingInfo> find(const RecordingName& name) const;
  /// Of all but foreign directories; sizes as they were last read.
  Catalog::Totals totals() const;
  /// All but foreign ones, by rising begin.
  std::vector<KnownRecording> stored() const;
  /// Those whose files have to be read and that nobody records, by rising begin.
  std::vector<RecordingName> unread() const;
  /// Those that nobody records and no stop has finished, as far as they were read; without refused ones.
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

    bool isUnread() const { return readVersion != version; }
    void take(RecordingFacts facts);
  };

  static RecordingInfo infoOf(const RecordingName& name, const Entry& entry);
  template <typename Change>
  void change(const RecordingName& name, const Change& change);

  mutable std::mutex mutex_;
  // Guarded by `mutex_`.
  std::map<RecordingName, Entry> entries_;
  /// Of the last retryDamaged() that had an effect.
  std::optional<std::int64_t> retriedAtMs_;
  std::uint64_t events_ = 0;
};

}  // namespace host::serve
