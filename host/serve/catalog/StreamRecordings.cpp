#include "host/serve/catalog/StreamRecordings.h"

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <iterator>
#include <utility>

#include "host/files/RecordingDirectory.h"
#include "platform/os/Directory.h"

namespace host::serve {
namespace {

using FolderTime = std::pair<std::time_t, long>;

/// When an entry was last added to the folder or removed; nothing if that was only just now, so that one more would not
/// change it, or if there is no folder.
std::optional<FolderTime> settledTime(const std::string& folder) {
  struct stat status {};
  if (::stat(folder.c_str(), &status) != 0) return std::nullopt;
  // The clock of file systems ticks some hundred times a second, that of a few only every two.
  constexpr std::time_t kTick = 2;
  if (std::time(nullptr) <= status.st_mtim.tv_sec + kTick) return std::nullopt;
  return FolderTime(status.st_mtim.tv_sec, status.st_mtim.tv_nsec);
}

}  // namespace

void StreamRecordings::readNames() {
  const auto time = settledTime(folder_);
  // A folder to which recordings come and go all the time is taken as it is.
  constexpr int kAttempts = 3;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    std::uint64_t events = 0;
    {
      const std::scoped_lock lock(mutex_);
      if (time && namesOf_ == time) return;
      events = events_;
    }
    const auto listing = platform::os::listDirectory(folder_);
    // A folder that cannot be read may be a disk that is away for a moment: what is known of it stays.
    if (listing.error && listing.error != std::errc::no_such_file_or_directory) return;
    std::vector<RecordingName> names;
    for (const auto& entry : listing.entries) {
      const auto name =
          entry.type == platform::os::DirectoryEntry::Type::kOther ? parseRecordingName(entry.name) : std::nullopt;
      if (name) names.push_back(*name);
    }
    std::ranges::sort(names);
    if (!reconcile(names, events)) continue;
    const std::scoped_lock lock(mutex_);
    namesOf_ = time;
    return;
  }
}

bool StreamRecordings::reconcile(const std::vector<RecordingName>& names, std::uint64_t eventsBefore) {
  const std::scoped_lock lock(mutex_);
  for (const RecordingName& name : names) entries_.try_emplace(name, Entry{.endMs = name.beginMs});
  // One that began and finished while the folder was read may not be in the list, and must not go for that.
  if (events_ != eventsBefore) return false;
  std::erase_if(entries_, [&](const auto& item) {
    return !item.second.isInProgress && !std::ranges::binary_search(names, item.first);
  });
  return true;
}

void StreamRecordings::read(const RecordingName& name) {
  // Again if it changed meanwhile: what was read may be a recording in progress that is finished by now.
  constexpr int kAttempts = 3;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    std::uint32_t version = 0;
    {
      const std::scoped_lock lock(mutex_);
      const auto found = entries_.find(name);
      if (found == entries_.end() || found->second.readVersion == found->second.version) return;
      version = found->second.version;
    }
    RecordingFacts facts = readFacts(folder_, name);
    const std::scoped_lock lock(mutex_);
    const auto found = entries_.find(name);
    if (found == entries_.end()) return;
    if (facts.kind == RecordingFacts::Kind::kUnread) {
      // As if it were not ours, until it can be read.
      found->second.isForeign = !found->second.isInProgress;
      return;
    }
    found->second.readVersion = version;
    found->second.sizedVersion = version;
    if (facts.kind == RecordingFacts::Kind::kMissing && !found->second.isInProgress) {
      entries_.erase(found);
      return;
    }
    take(found->second, std::move(facts));
  }
}

void StreamRecordings::take(Entry& entry, RecordingFacts facts) {
  entry.isForeign = facts.kind == RecordingFacts::Kind::kForeign && !entry.isInProgress;
  if (facts.kind != RecordingFacts::Kind::kRecording) return;
  entry.bytes = facts.bytes;
  entry.isProtected = facts.isProtected;
  // Its recorder writes file by file, so that a reader in between may see what does not fit together.
  if (entry.isInProgress && facts.state == RecordingState::kDamaged) return;
  entry.state = facts.state;
  entry.endMs = facts.endMs;
  entry.gaps = std::move(facts.gaps);
  entry.gaps.shrink_to_fit();
}

template <typename Change>
void StreamRecordings::change(const RecordingName& name, const Change& change) {
  const std::scoped_lock lock(mutex_);
  const auto found = entries_.find(name);
  if (found != entries_.end()) change(found->second);
}

void StreamRecordings::began(const RecordingName& name) {
  const std::scoped_lock lock(mutex_);
  ++events_;
  entries_[name] = Entry{.endMs = name.beginMs, .isInProgress = true};
}

void StreamRecordings::grew(const RecordingName& name) {
  change(name, [](Entry& entry) { ++entry.version; });
}

void StreamRecordings::finished(const RecordingName& name, bool isEmpty) {
  if (isEmpty) {
    removed(name);
    return;
  }
  const std::scoped_lock lock(mutex_);
  ++events_;
  const auto found = entries_.find(name);
  if (found == entries_.end()) return;
  found->second.isInProgress = false;
  found->second.sizedVersion = found->second.version;
  ++found->second.version;
}

void StreamRecordings::repaired(const RecordingName& name, bool isDamaged) {
  const std::scoped_lock lock(mutex_);
  // The scan may not have come to it yet.
  Entry& entry = entries_.try_emplace(name, Entry{.endMs = name.beginMs}).first->second;
  ++entry.version;
  entry.isRefused = isDamaged;
}

void StreamRecordings::removed(const RecordingName& name) {
  const std::scoped_lock lock(mutex_);
  ++events_;
  entries_.erase(name);
}

std::optional<std::int64_t> StreamRecordings::setLeaving(const RecordingName& name, bool isLeaving) {
  std::optional<std::int64_t> listedAtMs;
  change(name, [&](Entry& entry) {
    entry.isLeaving = isLeaving;
    listedAtMs = entry.listedAtMs;
  });
  return listedAtMs;
}

RecordingInfo StreamRecordings::infoOf(const RecordingName& name, const Entry& entry) {
  RecordingInfo info{.name = recordingNameText(name),
                     .state = entry.state,
                     .time = {.beginMs = name.beginMs, .endMs = entry.endMs},
                     .bytes = entry.bytes,
                     .gaps = entry.gaps,
                     .isProtected = entry.isProtected};
  if (entry.isRefused && info.state == RecordingState::kInterrupted) info.state = RecordingState::kDamaged;
  if (entry.isInProgress) info.state = RecordingState::kInProgress;
  return info;
}

std::vector<RecordingInfo> StreamRecordings::list(std::int64_t fromMs, std::int64_t toMs, std::int64_t nowMs) {
  readNames();
  retryDamaged(nowMs);
  readAll(toRead(fromMs, toMs));
  std::vector<RecordingInfo> found;
  const std::scoped_lock lock(mutex_);
  for (auto& [name, entry] : entries_) {
    if (name.beginMs >= toMs) break;
    // One without a fragment has no time, and is there at its begin all the same.
    const bool isIn = entry.endMs > fromMs || name.beginMs >= fromMs;
    if (!isIn || entry.isForeign || entry.isLeaving) continue;
    entry.listedAtMs = nowMs;
    found.push_back(infoOf(name, entry));
  }
  return found;
}

void StreamRecordings::retryDamaged(std::int64_t nowMs) {
  // A disk that failed for a moment and a process without a free descriptor look like damage. And a user may have
  // repaired the recording.
  constexpr std::int64_t kPauseMs = 600'000;
  const std::scoped_lock lock(mutex_);
  // A difference below 0 is a clock that was set back.
  const bool isSoon = retriedAtMs_ && nowMs >= *retriedAtMs_ && nowMs - *retriedAtMs_ < kPauseMs;
  if (isSoon) return;
  retriedAtMs_ = nowMs;
  for (auto& [name, entry] : entries_) {
    if (entry.state == RecordingState::kDamaged && !entry.isInProgress) ++entry.version;
  }
}

void StreamRecordings::readAll(const std::vector<RecordingName>& names) {
  // A cold disk is waited for most of the time, and serves a few at once as fast as one.
  constexpr std::size_t kThreads = 4;
  constexpr std::size_t kWorthAThread = 16;
  std::atomic<std::size_t> next = 0;
  const auto work = [&] {
    for (std::size_t i = next++; i < names.size(); i = next++) read(names[i]);
  };
  std::vector<std::future<void>> helpers;
  for (std::size_t i = 1; i < std::min(kThreads, names.size() / kWorthAThread); ++i) {
    helpers.push_back(std::async(std::launch::async, work));
  }
  work();
  for (auto& helper : helpers) helper.get();
}

std::vector<RecordingName> StreamRecordings::toRead(std::int64_t fromMs, std::int64_t toMs) const {
  std::vector<RecordingName> names;
  const std::scoped_lock lock(mutex_);
  for (auto item = entries_.begin(); item != entries_.end() && item->first.beginMs < toMs; ++item) {
    const Entry& entry = item->second;
    if (entry.readVersion == entry.version) continue;
    const auto next = std::next(item);
    // Until it is read it is taken to end before the next one begins.
    const bool mayBeIn = next == entries_.end() || next->first.beginMs > fromMs;
    if (mayBeIn || entry.isInProgress || entry.endMs > fromMs) names.push_back(item->first);
  }
  return names;
}

std::optional<RecordingInfo> StreamRecordings::find(const RecordingName& name) {
  readNames();
  read(name);
  const std::scoped_lock lock(mutex_);
  const auto found = entries_.find(name);
  if (found == entries_.end() || found->second.isForeign) return std::nullopt;
  return infoOf(name, found->second);
}

void StreamRecordings::readSizes() {
  std::vector<RecordingName> grown;
  std::vector<RecordingName> finished;
  {
    const std::scoped_lock lock(mutex_);
    for (const auto& [name, entry] : entries_) {
      if (entry.isInProgress && entry.sizedVersion != entry.version) grown.push_back(name);
      // Those that were never read are the scan's.
      const bool wasKnown = entry.sizedVersion != 0 && !entry.isInProgress;
      if (wasKnown && entry.readVersion != entry.version) finished.push_back(name);
    }
  }
  for (const RecordingName& name : grown) readSize(name);
  for (const RecordingName& name : finished) read(name);
}

void StreamRecordings::readSize(const RecordingName& name) {
  std::uint32_t version = 0;
  change(name, [&](Entry& entry) { version = entry.version; });
  std::error_code error;
  const std::string stem = recordingNameText(name);
  const auto directory = fileset::examineRecordingDirectory(folder_ + "/" + stem, stem, error);
  const std::uint64_t bytes = sizeOfFiles(directory);
  change(name, [&](Entry& entry) {
    if (error) return;
    entry.bytes = bytes;
    entry.sizedVersion = version;
  });
}

Catalog::Totals StreamRecordings::totals() {
  readSizes();
  Catalog::Totals totals;
  const std::scoped_lock lock(mutex_);
  for (const auto& [name, entry] : entries_) {
    if (entry.isForeign) continue;
    ++totals.recordings;
    totals.bytes += entry.bytes;
  }
  return totals;
}

std::vector<StoredRecording> StreamRecordings::stored() {
  readNames();
  readSizes();
  std::vector<StoredRecording> recordings;
  const std::scoped_lock lock(mutex_);
  recordings.reserve(entries_.size());
  for (const auto& [name, entry] : entries_) {
    if (entry.isForeign) continue;
    recordings.push_back({.name = name,
                          .endMs = entry.endMs,
                          .bytes = entry.bytes,
                          .isRead = entry.readVersion != 0,
                          .isInProgress = entry.isInProgress});
  }
  return recordings;
}

std::vector<RecordingName> StreamRecordings::unread() const {
  std::vector<RecordingName> names;
  const std::scoped_lock lock(mutex_);
  for (const auto& [name, entry] : entries_) {
    if (entry.readVersion != entry.version && !entry.isInProgress) names.push_back(name);
  }
  return names;
}

std::vector<RecordingName> StreamRecordings::interrupted() const {
  std::vector<RecordingName> names;
  const std::scoped_lock lock(mutex_);
  for (const auto& [name, entry] : entries_) {
    const bool isOurs = entry.isInProgress || entry.isForeign || entry.isRefused || entry.readVersion == 0;
    if (!isOurs && entry.state == RecordingState::kInterrupted) names.push_back(name);
  }
  return names;
}

}  // namespace host::serve
