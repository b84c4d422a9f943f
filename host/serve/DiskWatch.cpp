#include "host/serve/DiskWatch.h"

#include <system_error>
#include <thread>

namespace host::serve {

DiskWatch::Look DiskWatch::look(const std::string& root) {
  // A page of metrics looks once for each stream.
  constexpr std::chrono::seconds kFresh(1);
  std::shared_ptr<Disk> disk;
  {
    const std::scoped_lock lock(mutex_);
    auto& known = disks_[root];
    if (!known) known = std::make_shared<Disk>();
    disk = known;
  }
  std::unique_lock lock(disk->mutex);
  const bool isFresh = disk->askedAt && Clock::now() - *disk->askedAt < kFresh;
  if (!disk->isAsked && !isFresh) ask(disk, root);
  if (disk->isAsked) disk->responded.wait_until(lock, *disk->askedAt + patience_, [&] { return !disk->isAsked; });
  return {.freeBytes = disk->freeBytes, .hangs = disk->isAsked};
}

void DiskWatch::ask(const std::shared_ptr<Disk>& disk, const std::string& root) const {
  disk->askedAt = Clock::now();
  const auto work = [disk, root, freeBytes = freeBytes_] {
    const auto bytes = freeBytes(root);
    const std::scoped_lock lock(disk->mutex);
    disk->freeBytes = bytes;
    disk->isAsked = false;
    disk->responded.notify_all();
  };
  try {
    // Nobody waits for it at the end: that is what hangs.
    std::thread(work).detach();
    disk->isAsked = true;
  } catch (const std::system_error&) {
    // No thread is left. What is known has to do.
  }
}

}  // namespace host::serve
