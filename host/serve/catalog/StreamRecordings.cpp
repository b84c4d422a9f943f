#include "host/serve/catalog/StreamRecordings.h"

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <future>
#include <system_error>

#include "fileset/RecordingDirectory.h"
#include "host/files/RecordingDirectory.h"
#include "host/serve/catalog/RecordingFacts.h"
#include "platform/os/Directory.h"

namespace host::serve {
namespace {

using FolderTime = std::pair<std::time_t, long>;

/// When an entry was last added to the folder or removed; nothing if that was only just now, so that one more would not
/// change it, or if there is no folder.
std::optional<FolderTime> settledTime(const std::string& folder) {
  struct stat status {};
  if (::stat(folder.c_str(), &status) != 0) return std::nullopt;
  // Most file systems have a clock that ticks some hundred times a second, a few have one of two seconds.
  constexpr std::time_t kTick = 2;
  if (std::time(nullptr) <= status.st_mtim.tv_sec + kTick) return std::nullopt;
  return FolderTime(status.st_mtim.tv_sec, status.st_mtim.tv_nsec);
}

/// The recordings that a folder has, sorted; nothing if it cannot be read. A folder that is missing has none.
std::optional<std::vector<RecordingName>> namesIn(const std::string& folder) {
  using platform::os::DirectoryEntry;
  const auto listing = platform::os::listDirectory(folder);
  if (listing.error && listing.error != std::errc::no_such_file_or_directory) return std::nullopt;
  std::vector<RecordingName> names;
  for (const DirectoryEntry& entry : listing.entries) {
    const auto name = entry.type == DirectoryEntry::Type::kOther ? parseRecordingName(entry.name) : std::nullopt;
    if (name) names.push_back(*name);
  }
  std::ranges::sort(names);
  return names;
}

}  // namespace

bool StreamRecordings::isUpToDate(const std::optional<FolderTime>& time) const {
  const std::scoped_lock lock(mutex_);
  return time && namesOf_ == time;
}

void StreamRecordings::readNames() {
  const auto time = settledTime(folder_);
  // If recordings come and go all the time, the last listing is used.
  constexpr int kAttempts = 3;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (isUpToDate(time)) return;
    const std::uint64_t events = table_.events();
    const auto names = namesIn(folder_);
    // A folder that cannot be read may be on a disk that is away for a moment: its entries stay.
    if (!names) return;
    if (!table_.reconcile(*names, events)) continue;
    const std::scoped_lock lock(mutex_);
    namesOf_ = time;
    return;
  }
}

void StreamRecordings::read(const RecordingName& name) {
  // Repeated if it changed meanwhile: the files that were read may be those of a recording that is finished by now.
  constexpr int kAttempts = 3;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const auto version = table_.unreadVersion(name);
    if (!version || !table_.take(name, *version, readFacts(folder_, name))) return;
  }
}

void StreamRecordings::readAll(const std::vector<RecordingName>& names) {
  // Most of the time is spent waiting for a cold disk, which serves a few requests at once as fast as one.
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

void StreamRecordings::readSizes() {
  const auto [grown, finished] = table_.outOfDate();
  for (const RecordingName& name : grown) readSize(name);
  for (const RecordingName& name : finished) read(name);
}

void StreamRecordings::readSize(const RecordingName& name) {
  // The version is read before the files: what is written after it makes the size out of date.
  const std::uint32_t version = table_.version(name);
  std::error_code error;
  const std::string stem = recordingNameText(name);
  const auto directory = fileset::examineRecordingDirectory(folder_ + "/" + stem, stem, error);
  if (!error) table_.takeSize(name, version, sizeOfFiles(directory));
}

std::vector<RecordingInfo> StreamRecordings::list(std::int64_t fromMs, std::int64_t toMs, std::int64_t nowMs) {
  readNames();
  table_.retryDamaged(nowMs);
  readAll(table_.toRead(fromMs, toMs));
  return table_.list(fromMs, toMs, nowMs);
}

std::optional<RecordingInfo> StreamRecordings::find(const RecordingName& name) {
  readNames();
  read(name);
  return table_.find(name);
}

Catalog::Totals StreamRecordings::totals() {
  readSizes();
  return knownTotals();
}

Catalog::Totals StreamRecordings::knownTotals() const {
  return table_.totals();
}

std::vector<KnownRecording> StreamRecordings::stored() {
  readNames();
  readSizes();
  return table_.stored();
}

}  // namespace host::serve
