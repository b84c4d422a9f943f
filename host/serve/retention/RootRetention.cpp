#include "host/serve/retention/RootRetention.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/serve/catalog/Surroundings.h"
#include "host/serve/catalog/removal.h"
#include "platform/os/Directory.h"

namespace host::serve {
namespace {

/// The time for which a recording stays after it was in a list, so that a client can open it.
constexpr std::int64_t kListedMs = 60'000;
/// The pause before the next attempt to remove a recording that could not be removed.
constexpr std::int64_t kRetryMs = 600'000;

bool isLimited(const KeepLimits& limits) {
  return limits.age || limits.bytes;
}

const KeepLimits& limitsOf(const RootLimits& limits, const std::string& stream, const KeepLimits& ofOthers) {
  const auto own = limits.streams.find(stream);
  return own == limits.streams.end() ? ofOthers : own->second;
}

/// The least age at which a recording of any stream is removed; nothing if none is removed for its age.
std::optional<std::chrono::milliseconds> shortestAge(const RootLimits& limits) {
  std::optional<std::chrono::milliseconds> shortest = limits.all.age;
  for (const auto& [name, own] : limits.streams) {
    if (own.age) shortest = shortest ? std::min(*shortest, *own.age) : *own.age;
  }
  return shortest;
}

bool hasByteLimit(const RootLimits& limits) {
  return limits.all.bytes ||
         std::ranges::any_of(limits.streams, [](const auto& stream) { return stream.second.bytes.has_value(); });
}

}  // namespace

bool RootLimits::isAny() const {
  return isLimited(all) || keepFree != 0 ||
         std::ranges::any_of(streams, [](const auto& stream) { return isLimited(stream.second); });
}

std::uint64_t RootRetention::bytesToFree(const RootLimits& limits) const {
  if (limits.keepFree == 0) return 0;
  const auto free = surroundings_.freeBytes(root_);
  return free && *free < limits.keepFree ? limits.keepFree - *free : 0;
}

void RootRetention::pass(const RootLimits& limits) {
  forgetOverdue();
  // Stored only at the end: after an exception the marked recordings must still be known.
  Leaving leaving;
  if (limits.isAny()) removeSurplus(limits, leaving);
  for (const auto& [key, folder] : leaving_) {
    if (!leaving.contains(key)) folder->setLeaving(key.second, false);
  }
  leaving_ = std::move(leaving);
}

void RootRetention::removeSurplus(const RootLimits& limits, Leaving& leaving) {
  const Folders folders = catalog_.foldersIn(root_);
  KeepPlan plan{.streams = {}, .bytes = limits.all.bytes, .bytesToFree = bytesToFree(limits)};
  // These streams have no limit in bytes but that of all together.
  const KeepLimits ofOthers{.age = limits.all.age};
  for (const auto& folder : folders) plan.streams.push_back(limitsOf(limits, folder->stream(), ofOthers));
  const std::vector<Item> items = collect(folders, limits, plan.bytesToFree);
  const auto isHeld = [&](const KeptRecording& recording) {
    return mustKeep_ && mustKeep_(folders[recording.stream]->stream(), recordingNameText(recording.name));
  };
  for (const auto& removal : planRemovals(keptOf(items, folders), plan, surroundings_.nowMs(), isHeld)) {
    remove(items[removal.recording], removal, leaving);
  }
}

std::vector<KeptRecording> RootRetention::keptOf(const std::vector<Item>& items, const Folders& folders) const {
  std::map<const StreamRecordings*, std::size_t> places;
  for (const auto& folder : folders) places.emplace(folder.get(), places.size());
  std::vector<KeptRecording> kept;
  kept.reserve(items.size());
  for (const auto& [folder, stored, isElsewhere] : items) {
    kept.push_back({.stream = places.at(folder.get()),
                    .name = stored.name,
                    .endMs = stored.endMs,
                    .bytes = stored.bytes,
                    .isFixed = stored.isInProgress || !stored.isRead || isStuck({folder->folder(), stored.name}),
                    .isElsewhere = isElsewhere});
  }
  return kept;
}

void RootRetention::forgetOverdue() {
  const std::int64_t nowMs = surroundings_.nowMs();
  std::erase_if(stuckUntilMs_, [nowMs](const auto& stuck) {
    const std::int64_t waitMs = stuck.second - nowMs;
    // A longer wait than any means that the clock was set back.
    return waitMs <= 0 || waitMs > kRetryMs;
  });
}

std::vector<RootRetention::Item> RootRetention::collect(const Folders& folders, const RootLimits& limits,
                                                        std::uint64_t bytesToFree) const {
  std::vector<Item> items;
  for (const auto& folder : folders) {
    // A folder may be a mount point or a link. Removals there would not free space here, and would not stop.
    const bool isElsewhere = bytesToFree != 0 && !surroundings_.isOneFileSystem(root_, folder->folder());
    for (const KnownRecording& stored : folder->stored()) items.push_back({folder, stored, isElsewhere});
  }
  std::ranges::sort(items, {}, [](const Item& item) { return item.stored.name; });
  // The scan comes to the oldest last, and they are the first to go.
  const auto shortest = shortestAge(limits);
  // After the scan nearly all are read, and those that came into the folder since must count, too.
  const bool mustReadAll = hasByteLimit(limits) && catalog_.isReady();
  const std::int64_t nowMs = surroundings_.nowMs();
  std::uint64_t freed = 0;
  for (Item& item : items) {
    const bool isOld = shortest && item.stored.name.beginMs <= nowMs - shortest->count();
    if (!isOld && freed >= bytesToFree && !mustReadAll) break;
    if (!item.stored.isRead) read(item);
    const bool mayGo =
        !item.stored.isInProgress && !item.isElsewhere && !isStuck({item.folder->folder(), item.stored.name});
    if (mayGo) freed += item.stored.bytes;
  }
  return items;
}

void RootRetention::read(Item& item) {
  item.folder->read(item.stored.name);
  const auto info = item.folder->find(item.stored.name);
  item.stored.isRead = info.has_value();
  if (info) item.stored.endMs = info->time.endMs;
  if (info) item.stored.bytes = info->bytes;
  // Its directory was listed before its recorder had reported that it begins.
  if (info) item.stored.isInProgress = info->state == RecordingState::kInProgress;
}

void RootRetention::remove(const Item& item, const PlannedRemoval& removal, Leaving& leaving) {
  StreamRecordings& folder = *item.folder;
  const RecordingName& name = item.stored.name;
  const std::string text = recordingNameText(name);
  // Before its time is checked: from here on no list contains it.
  const auto listedAtMs = folder.setLeaving(name, true);
  const std::int64_t nowMs = surroundings_.nowMs();
  if (listedAtMs && *listedAtMs <= nowMs && *listedAtMs > nowMs - kListedMs) {
    leaving.emplace(Key(folder.folder(), name), item.folder);
    leaving_.emplace(Key(folder.folder(), name), item.folder);
    return;
  }
  switch (removeRecordingOf(folder.folder(), text)) {
    case RemovalResult::kDone:
      noteRemoved(folder, name, removal);
      removeIfEmpty(folder);
      return;
    case RemovalResult::kInUse:
      log_.warning(fmt::format("{}: recording {} is due, and stays: another process uses it", folder.stream(), text));
      break;
    case RemovalResult::kRefused:
      log_.warning(fmt::format("{}: recording {} is due, and stays: it cannot be removed, or contains other files",
                               folder.stream(), text));
      break;
  }
  folder.setLeaving(name, false);
  // It is read again: if there is another file in it, it is foreign now.
  folder.grew(name);
  stuckUntilMs_[Key(folder.folder(), name)] = nowMs + kRetryMs;
}

void RootRetention::noteRemoved(StreamRecordings& folder, const RecordingName& name, const PlannedRemoval& removal) {
  folder.removed(name);
  counts_[static_cast<std::size_t>(removal.reason)].fetch_add(1, std::memory_order_relaxed);
  if (!removal.isHeld) return;
  const std::string text = recordingNameText(name);
  log_.warning(
      fmt::format("{}: recording {} was removed for keep_free before its hook had succeeded", folder.stream(), text));
  if (onHeldRemoved_) onHeldRemoved_(folder.stream(), text);
}

void RootRetention::removeIfEmpty(StreamRecordings& folder) {
  if (folder.totals().recordings != 0) return;
  // Fails if anything else is in it. A recorder that begins now makes it again.
  if (platform::os::removeDirectory(folder.folder(), platform::os::Durability::kProcess)) {
    catalog_.forget(folder.folder());
  }
}

}  // namespace host::serve
