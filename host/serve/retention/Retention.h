#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "host/Log.h"
#include "host/serve/ServeConfig.h"
#include "host/serve/retention/RootRetention.h"

namespace host::serve {

/// Removes finished recordings by the limits of the configuration: whole ones, the oldest of all streams of a root
/// first. Never one in progress, one that another process uses, or a file that is not a recording's.
///
/// Each root has its own thread, so that a disk which does not respond delays no other. It looks every few seconds
/// and when it is woken; without a limit it sleeps. Any thread may call the operations; none waits for a disk but the
/// destructor, for the removal that is under way.
class Retention {
 public:
  /// All outlive it. The functions are called on the threads of the roots; both may be null.
  Retention(Catalog& catalog, RootRetention::MustKeep mustKeep, RootRetention::OnHeldRemoved onHeldRemoved, Log& log,
            const Surroundings& surroundings = systemSurroundings());
  ~Retention();
  Retention(const Retention&) = delete;
  Retention& operator=(const Retention&) = delete;

  /// Whether this process may remove recordings in a root, asked before each look at it, on the root's thread: not in
  /// the root of another process, nor at the mount point of a disk that is away. To be set before apply(); without it
  /// all roots are ours.
  using MayRemove = std::function<bool(const std::string& root)>;
  void setMayRemove(MayRemove mayRemove) { mayRemove_ = std::move(mayRemove); }

  /// Follows these limits from now on.
  void apply(const ServeConfig& config);
  /// Looks at a root now, not only in some seconds: a recording was finished, or the disk is full. Does nothing for a
  /// root that is not configured.
  void makeRoom(const std::string& root);
  std::uint64_t removed(RemovalReason reason) const {
    return counts_[static_cast<std::size_t>(reason)].load(std::memory_order_relaxed);
  }

 private:
  class RootThread;

  Catalog& catalog_;
  const RootRetention::MustKeep mustKeep_;
  const RootRetention::OnHeldRemoved onHeldRemoved_;
  MayRemove mayRemove_;
  Log& log_;
  const Surroundings& surroundings_;
  RemovalCounts counts_{};
  /// Guards the map.
  std::mutex mutex_;
  /// By root. Last, so that the threads end first.
  std::map<std::string, std::unique_ptr<RootThread>> roots_;
};

/// The limits of each root in a configuration.
std::map<std::string, RootLimits> limitsByRoot(const ServeConfig& config);

}  // namespace host::serve
