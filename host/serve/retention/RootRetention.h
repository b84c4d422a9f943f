#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/Log.h"
#include "host/serve/catalog/Catalog.h"
#include "host/serve/catalog/StreamRecordings.h"
#include "host/serve/retention/planRemovals.h"

namespace host::serve {

/// Limits of the recordings below one root.
struct RootLimits {
  /// `bytes` is of all streams together, `age` of those that are not in `streams`.
  KeepLimits all = {};
  /// Bytes of the root's file system that stay free.
  std::uint64_t keepFree = 0;
  /// By stream.
  std::map<std::string, KeepLimits> streams = {};

  /// Whether anything ever has to go.
  bool isAny() const;
};

/// Removed recordings by RemovalReason, since the start of the process.
using RemovalCounts = std::array<std::atomic<std::uint64_t>, kRemovalReasons>;

/// Keeps the recordings below one root within their limits. Belongs to one thread. All references outlive it.
class RootRetention {
 public:
  /// Whether a recording has to stay, since its hook has not succeeded yet.
  using MustKeep = std::function<bool(const std::string& stream, const std::string& recording)>;

  /// Called for a recording that had to stay, once it was removed for the free space.
  using OnHeldRemoved = std::function<void(const std::string& stream, const std::string& recording)>;

  /// `root` is a native path. `mustKeep` and `onHeldRemoved` may be null.
  RootRetention(std::string root, Catalog& catalog, MustKeep mustKeep, OnHeldRemoved onHeldRemoved, Log& log,
                const Surroundings& surroundings, RemovalCounts& counts)
      : root_(std::move(root)),
        catalog_(catalog),
        mustKeep_(std::move(mustKeep)),
        onHeldRemoved_(std::move(onHeldRemoved)),
        log_(log),
        surroundings_(surroundings),
        counts_(counts) {}

  /// Removes what is over the limits now. What was in a list a moment ago is only marked as leaving; a later pass
  /// removes it.
  void pass(const RootLimits& limits);

 private:
  using Folders = std::vector<std::shared_ptr<StreamRecordings>>;
  /// Folder and name of a recording.
  using Key = std::pair<std::string, RecordingName>;
  using Leaving = std::map<Key, std::shared_ptr<StreamRecordings>>;
  /// A recording and its folder.
  struct Item {
    std::shared_ptr<StreamRecordings> folder;
    KnownRecording stored;
    /// On another file system than the root.
    bool isElsewhere = false;
  };

  std::uint64_t bytesToFree(const RootLimits& limits) const;
  /// Removes what is over the limits. Adds to `leaving` what has to wait.
  void removeSurplus(const RootLimits& limits, Leaving& leaving);
  /// The items as planRemovals() needs them; streams are numbered as in `folders`.
  std::vector<KeptRecording> keptOf(const std::vector<Item>& items, const Folders& folders) const;
  /// Reads the files of a recording that was not read yet.
  static void read(Item& item);
  /// All recordings, the oldest first. Those on which a decision may depend are read.
  std::vector<Item> collect(const Folders& folders, const RootLimits& limits, std::uint64_t bytesToFree) const;
  /// Adds to `leaving` what has to wait.
  void remove(const Item& item, const PlannedRemoval& removal, Leaving& leaving);
  /// Counts and reports a recording that is removed.
  void noteRemoved(StreamRecordings& folder, const RecordingName& name, const PlannedRemoval& removal);
  void removeIfEmpty(StreamRecordings& folder);
  bool isStuck(const Key& key) const { return stuckUntilMs_.contains(key); }
  /// Lets recordings that could not be removed be tried again.
  void forgetOverdue();

  const std::string root_;
  Catalog& catalog_;
  const MustKeep mustKeep_;
  const OnHeldRemoved onHeldRemoved_;
  Log& log_;
  const Surroundings& surroundings_;
  RemovalCounts& counts_;
  /// Recordings that the last pass wanted to remove and that wait, since they were in a list.
  Leaving leaving_;
  /// Recordings that could not be removed, and when they are tried again. They must not keep others from going.
  std::map<Key, std::int64_t> stuckUntilMs_;
};

}  // namespace host::serve
