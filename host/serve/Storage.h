#pragma once

#include <future>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "host/Log.h"
#include "host/Settings.h"
#include "host/serve/ServeConfig.h"
#include "host/serve/catalog/Catalog.h"
#include "host/serve/catalog/RepairTurns.h"
#include "host/serve/catalog/StorageRoots.h"
#include "host/serve/hooks/HookRunner.h"
#include "host/serve/retention/Retention.h"
#include "host/serve/streams/RecordingEvents.h"

namespace host::serve {

/// What becomes of recordings: they are listed, repaired, handed to their hooks and removed. Connects the parts that do
/// so with each other and with the streams, which report here. Any thread may call it.
class Storage final : public RecordingEvents {
 public:
  /// `log` outlives it.
  explicit Storage(Log& log);
  ~Storage();
  Storage(const Storage&) = delete;
  Storage& operator=(const Storage&) = delete;

  /// Follows a configuration from now on. To be called before its streams begin.
  void apply(const ServeConfig& config);
  /// Ends the hooks that run; they run again in the next process.
  void stop() { hooks_.stop(); }

  /// Completes what was interrupted of a stream; see StreamServices::prepare.
  void prepare(const StreamConfig& stream);
  /// Throws CommandError if nothing may be recorded in the root of the stream.
  void requireRoot(const StreamConfig& stream);

  void began(const RecordingPlace& recording) override;
  void grew(const RecordingPlace& recording) override { catalog_.grew(recording); }
  void finished(const RecordingPlace& recording, bool isEmpty) override;
  void interrupted(const RecordingPlace& recording) override;

  /// Lets the retention look at the root now. Does not wait.
  void makeRoom(const std::string& root) { retention_.makeRoom(root); }

  const Catalog& catalog() const { return catalog_; }
  const HookRunner& hooks() const { return hooks_; }
  const Retention& retention() const { return retention_; }
  /// The folders above those of the streams, each once.
  std::vector<std::string> roots() const;

 private:
  /// A recording of an earlier process, or of this one, that was interrupted; it gets its hook.
  void repair(const RecordingPlace& recording);
  /// Repairs recordings of this process, which it could not finish, on a thread.
  void repairLater(const std::vector<RecordingPlace>& recordings);
  /// The module's settings of a stream; empty for one that is not configured any more.
  Settings settingsOf(const std::string& stream) const;

  Log& log_;
  /// Guards the three maps and `repairs_`.
  mutable std::mutex mutex_;
  /// By stream.
  std::map<std::string, std::vector<std::string>> settings_;
  std::map<std::string, std::string> roots_;
  std::map<std::string, std::vector<RecordingPlace>> interrupted_;
  RepairTurns repairTurns_;
  StorageRoots storageRoots_;
  HookRunner hooks_;
  /// Its threads call repair().
  Catalog catalog_;
  Retention retention_;
  /// Last: they use all of the above.
  std::vector<std::future<void>> repairs_;
};

}  // namespace host::serve
