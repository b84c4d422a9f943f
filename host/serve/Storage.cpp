#include "host/serve/Storage.h"

#include <fmt/format.h>

#include <chrono>
#include <set>
#include <system_error>

#include "host/errors.h"
#include "host/serve/catalog/repairStream.h"

namespace host::serve {

Storage::Storage(Log& log)
    : log_(log),
      storageRoots_(stateFolder()),
      hooks_(log),
      catalog_(systemSurroundings(), [this](const RecordingPlace& recording) { repair(recording); }),
      retention_(
          catalog_,
          [this](const std::string& stream, const std::string& recording) {
            return hooks_.mustKeep(stream, recording);
          },
          [this](const std::string& stream, const std::string& recording) { hooks_.forget(stream, recording); }, log) {
  // A second process with this root, by mistake and perhaps with other limits, must not remove what the first records.
  retention_.setMayRemove([this](const std::string& root) { return storageRoots_.claim(root, log_).empty(); });
  hooks_.start();
}

Storage::~Storage() {
  stop();
}

void Storage::apply(const ServeConfig& config) {
  {
    const std::scoped_lock lock(mutex_);
    settings_.clear();
    roots_.clear();
    for (const StreamConfig& stream : config.streams) {
      settings_.emplace(stream.name, stream.settings);
      roots_.emplace(stream.name, stream.root);
    }
  }
  // Before the retention: it must know which recordings a hook still needs.
  hooks_.configure(config);
  catalog_.addRoot(config.root);
  for (const StreamConfig& stream : config.streams) catalog_.addStream(stream.name, stream.root + "/" + stream.name);
  retention_.apply(config);
}

void Storage::prepare(const StreamConfig& stream) {
  repairStream(
      stream.root, stream.name, [this](const RecordingPlace& recording) { repair(recording); }, log_);
}

void Storage::repair(const RecordingPlace& recording) {
  const auto repairIt = [&] { return repairInterrupted(catalog_, recording, settingsOf(recording.stream), log_); };
  if (repairTurns_.repairOnce(recording, repairIt)) hooks_.add(recording);
}

void Storage::requireRoot(const StreamConfig& stream) {
  const std::string reason = storageRoots_.claim(stream.root, log_);
  if (!reason.empty()) throw CommandError(reason);
}

void Storage::began(const RecordingPlace& recording) {
  catalog_.began(recording);
  hooks_.begun(recording);
  std::vector<RecordingPlace> interrupted;
  {
    const std::scoped_lock lock(mutex_);
    const auto found = interrupted_.find(recording.stream);
    if (found == interrupted_.end()) return;
    interrupted = std::move(found->second);
    interrupted_.erase(found);
  }
  repairLater(interrupted);
}

void Storage::repairLater(const std::vector<RecordingPlace>& recordings) {
  // On another thread: a repair reads the whole recording, and the stream must not wait for that.
  const std::scoped_lock lock(mutex_);
  std::erase_if(repairs_, [](const auto& repair) {
    return repair.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  });
  try {
    repairs_.push_back(std::async(std::launch::async, [this, recordings] {
      for (const RecordingPlace& recording : recordings) repair(recording);
    }));
  } catch (const std::system_error& error) {
    log_.warning(fmt::format("{}: interrupted recordings are repaired at the next start: {}", recordings.front().stream,
                             error.what()));
  }
}

void Storage::interrupted(const RecordingPlace& recording) {
  // Its hook is not queued yet, because it must get a complete recording. The repair queues it.
  catalog_.interrupted(recording);
  log_.warning(fmt::format("{}: recording {} could not be finished; that is done once the stream records again",
                           recording.stream, recording.name));
  const std::scoped_lock lock(mutex_);
  interrupted_[recording.stream].push_back(recording);
}

void Storage::finished(const RecordingPlace& recording, bool isEmpty) {
  // Before the catalog knows that it is finished: the retention must not remove it before its hook has run.
  isEmpty ? hooks_.dropped(recording) : hooks_.add(recording);
  catalog_.finished(recording, isEmpty);
  makeRoom(recording.root);
}

std::vector<std::string> Storage::roots() const {
  const std::scoped_lock lock(mutex_);
  std::set<std::string> roots;
  for (const auto& [stream, root] : roots_) roots.insert(root);
  return {roots.begin(), roots.end()};
}

Settings Storage::settingsOf(const std::string& stream) const {
  const std::scoped_lock lock(mutex_);
  Settings settings;
  const auto found = settings_.find(stream);
  if (found == settings_.end()) return settings;
  for (const std::string& assignment : found->second) settings.assign(assignment);
  return settings;
}

}  // namespace host::serve
