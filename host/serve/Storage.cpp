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
      catalog_(systemSurroundings(), [this](const std::string& stream, const std::string& folder,
                                            const std::string& recording) { repair(stream, folder, recording); }),
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
  const Settings settings = settingsOf(stream.name);
  for (const std::string& name : repairStream(catalog_, stream.name, stream.root + "/" + stream.name, settings, log_)) {
    hooks_.add(stream.name, name);
  }
}

void Storage::repair(const std::string& stream, const std::string& folder, const std::string& recording) {
  if (repairInterrupted(catalog_, stream, folder, recording, settingsOf(stream), log_)) hooks_.add(stream, recording);
}

void Storage::requireRoot(const StreamConfig& stream) {
  const std::string reason = storageRoots_.claim(stream.root, log_);
  if (!reason.empty()) throw CommandError(reason);
}

void Storage::began(const std::string& stream, const std::string& recording) {
  catalog_.began(stream, recording);
  hooks_.begun(stream, recording);
  std::vector<std::string> interrupted;
  std::string folder;
  {
    const std::scoped_lock lock(mutex_);
    const auto found = interrupted_.find(stream);
    if (found == interrupted_.end() || !roots_.contains(stream)) return;
    interrupted = std::move(found->second);
    interrupted_.erase(found);
    folder = roots_.at(stream) + "/" + stream;
  }
  repairLater(stream, folder, interrupted);
}

void Storage::repairLater(const std::string& stream, const std::string& folder,
                          const std::vector<std::string>& recordings) {
  // On a thread of its own: a repair reads the recording through, and the stream must not wait for that.
  const std::scoped_lock lock(mutex_);
  std::erase_if(repairs_, [](const auto& repair) {
    return repair.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  });
  try {
    repairs_.push_back(std::async(std::launch::async, [this, stream, folder, recordings] {
      for (const std::string& recording : recordings) repair(stream, folder, recording);
    }));
  } catch (const std::system_error& error) {
    log_.warning(fmt::format("{}: interrupted recordings are repaired at the next start: {}", stream, error.what()));
  }
}

void Storage::interrupted(const std::string& stream, const std::string& recording) {
  // Without its hook, which must get it complete: the repair adds that.
  catalog_.interrupted(stream, recording);
  log_.warning(fmt::format("{}: recording {} could not be finished; that is done once the stream records again", stream,
                           recording));
  const std::scoped_lock lock(mutex_);
  interrupted_[stream].push_back(recording);
}

void Storage::grew(const std::string& stream, const std::string& recording) {
  catalog_.grew(stream, recording);
}

void Storage::finished(const std::string& stream, const std::string& recording, bool isEmpty) {
  // Before the catalog knows that it is finished: the retention must not remove it before its hook has run.
  isEmpty ? hooks_.dropped(stream, recording) : hooks_.add(stream, recording);
  catalog_.finished(stream, recording, isEmpty);
  makeRoom(stream);
}

void Storage::makeRoom(const std::string& stream) {
  std::string root;
  {
    const std::scoped_lock lock(mutex_);
    const auto found = roots_.find(stream);
    if (found != roots_.end()) root = found->second;
  }
  if (!root.empty()) retention_.makeRoom(root);
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
