#include "host/serve/catalog/Catalog.h"

#include <algorithm>

#include "host/serve/catalog/RootScan.h"
#include "host/serve/catalog/StreamRecordings.h"
#include "platform/os/paths.h"

namespace host::serve {

std::string_view recordingStateText(RecordingState state) {
  switch (state) {
    case RecordingState::kInProgress:
      return "recording";
    case RecordingState::kFinished:
      return "finished";
    case RecordingState::kInterrupted:
      return "interrupted";
    case RecordingState::kDamaged:
      return "damaged";
  }
  return "";
}

Catalog::Catalog(const Surroundings& surroundings, OnInterrupted onInterrupted)
    : surroundings_(surroundings), onInterrupted_(std::move(onInterrupted)) {}

Catalog::~Catalog() = default;

RootScan& Catalog::scanOf(const std::string& root) {
  const std::scoped_lock lock(mutex_);
  auto& scan = scans_[root];
  if (!scan) scan = std::make_unique<RootScan>(*this, root, surroundings_.nowMs());
  return *scan;
}

void Catalog::addRoot(const std::string& root) {
  scanOf(root).request();
}

void Catalog::addStream(const std::string& stream, const std::string& folder) {
  {
    const std::scoped_lock lock(mutex_);
    std::string& path = paths_[stream];
    // The folder into which it was recorded before stays in the catalog, so that the retention still sees it.
    if (path != folder && !path.empty()) folders_[path].isConfigured = false;
    path = folder;
    Folder& own = folders_[folder];
    own.isConfigured = true;
    if (!own.recordings) own.recordings = std::make_shared<StreamRecordings>(stream, folder);
  }
  scanOf(platform::os::directoryOf(folder)).request();
}

std::shared_ptr<StreamRecordings> Catalog::found(const std::string& stream, const std::string& folder) {
  const std::scoped_lock lock(mutex_);
  Folder& own = folders_[folder];
  if (!own.recordings) own.recordings = std::make_shared<StreamRecordings>(stream, folder);
  paths_.try_emplace(stream, folder);
  return own.recordings;
}

void Catalog::forget(const std::string& folder) {
  const std::scoped_lock lock(mutex_);
  const auto found = folders_.find(folder);
  if (found == folders_.end() || found->second.isConfigured) return;
  const std::string stream = found->second.recordings->stream();
  folders_.erase(found);
  const auto path = paths_.find(stream);
  if (path != paths_.end() && path->second == folder) paths_.erase(path);
}

bool Catalog::isReady() const {
  const std::scoped_lock lock(mutex_);
  return std::ranges::all_of(scans_, [](const auto& scan) { return scan.second->isDone(); });
}

std::vector<std::string> Catalog::streams() const {
  const std::scoped_lock lock(mutex_);
  std::vector<std::string> names;
  for (const auto& [stream, path] : paths_) names.push_back(stream);
  return names;
}

std::optional<std::string> Catalog::folderOf(const std::string& stream) const {
  const auto recordings = recordingsOf(stream);
  return recordings ? std::optional(recordings->folder()) : std::nullopt;
}

std::shared_ptr<StreamRecordings> Catalog::recordingsOf(const std::string& stream) const {
  const std::scoped_lock lock(mutex_);
  const auto path = paths_.find(stream);
  return path == paths_.end() ? nullptr : folders_.at(path->second).recordings;
}

std::vector<std::shared_ptr<StreamRecordings>> Catalog::foldersIn(const std::string& root) const {
  const std::scoped_lock lock(mutex_);
  std::vector<std::shared_ptr<StreamRecordings>> found;
  for (const auto& [path, folder] : folders_) {
    if (platform::os::directoryOf(path) == root) found.push_back(folder.recordings);
  }
  return found;
}

std::vector<RecordingInfo> Catalog::list(const std::string& stream, std::int64_t fromMs, std::int64_t toMs) const {
  const auto recordings = recordingsOf(stream);
  return recordings ? recordings->list(fromMs, toMs, surroundings_.nowMs()) : std::vector<RecordingInfo>();
}

std::optional<RecordingInfo> Catalog::find(const std::string& stream, const std::string& recording) const {
  const auto recordings = recordingsOf(stream);
  const auto name = parseRecordingName(recording);
  return recordings && name ? recordings->find(*name) : std::nullopt;
}

Catalog::Totals Catalog::totals(const std::string& stream) const {
  const auto recordings = recordingsOf(stream);
  return recordings ? recordings->totals() : Totals();
}

Catalog::Totals Catalog::knownTotals(const std::string& stream) const {
  const auto recordings = recordingsOf(stream);
  return recordings ? recordings->knownTotals() : Totals();
}

template <typename Report>
void Catalog::inFolder(const RecordingPlace& recording, const Report& report) {
  std::shared_ptr<StreamRecordings> recordings;
  {
    const std::scoped_lock lock(mutex_);
    // By the root of the recording: a reload may have given the stream another root meanwhile.
    const auto folder = folders_.find(recording.folder());
    if (folder != folders_.end()) recordings = folder->second.recordings;
  }
  const auto name = parseRecordingName(recording.name);
  if (recordings && name) report(*recordings, *name);
}

void Catalog::began(const RecordingPlace& recording) {
  inFolder(recording, [](StreamRecordings& folder, const RecordingName& name) { folder.began(name); });
}

void Catalog::grew(const RecordingPlace& recording) {
  inFolder(recording, [](StreamRecordings& folder, const RecordingName& name) { folder.grew(name); });
}

void Catalog::finished(const RecordingPlace& recording, bool isEmpty) {
  inFolder(recording, [&](StreamRecordings& folder, const RecordingName& name) { folder.finished(name, isEmpty); });
}

void Catalog::repaired(const RecordingPlace& recording, bool isDamaged) {
  inFolder(recording, [&](StreamRecordings& folder, const RecordingName& name) { folder.repaired(name, isDamaged); });
}

}  // namespace host::serve
