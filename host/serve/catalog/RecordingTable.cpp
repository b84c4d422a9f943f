#include "host/serve/catalog/RecordingTable.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace host::serve {

template <typename Change>
void RecordingTable::change(const RecordingName& name, const Change& change) {
  const std::scoped_lock lock(mutex_);
  const auto found = entries_.find(name);
  if (found != entries_.end()) change(found->second);
}

void RecordingTable::began(const RecordingName& name) {
  const std::scoped_lock lock(mutex_);
  ++events_;
  entries_[name] = Entry{.endMs = name.beginMs, .isInProgress = true};
}

void RecordingTable::grew(const RecordingName& name) {
  change(name, [](Entry& entry) { ++entry.version; });
}

void RecordingTable::finished(const RecordingName& name, bool isEmpty) {
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

void RecordingTable::repaired(const RecordingName& name, bool isDamaged) {
  const std::scoped_lock lock(mutex_);
  // The scan may not have reached the recording yet.
  Entry& entry = entries_.try_emplace(name, Entry{.endMs = name.beginMs}).first->second;
  ++entry.version;
  entry.isRefused = isDamaged;
}

void RecordingTable::removed(const RecordingName& name) {
  const std::scoped_lock lock(mutex_);
  ++events_;
  entries_.erase(name);
}

std::optional<std::int64_t> RecordingTable::setLeaving(const RecordingName& name, bool isLeaving) {
  std::optional<std::int64_t> listedAtMs;
  change(name, [&](Entry& entry) {
    entry.isLeaving = isLeaving;
    listedAtMs = entry.listedAtMs;
  });
  return listedAtMs;
}

std::uint64_t RecordingTable::events() const {
  const std::scoped_lock lock(mutex_);
  return events_;
}

bool RecordingTable::reconcile(const std::vector<RecordingName>& names, std::uint64_t eventsBefore) {
  const std::scoped_lock lock(mutex_);
  for (const RecordingName& name : names) entries_.try_emplace(name, Entry{.endMs = name.beginMs});
  // A recording that began and finished while the folder was read may be missing from the list, and must stay.
  if (events_ != eventsBefore) return false;
  std::erase_if(entries_, [&](const auto& item) {
    return !item.second.isInProgress && !std::ranges::binary_search(names, item.first);
  });
  return true;
}

std::optional<std::uint32_t> RecordingTable::unreadVersion(const RecordingName& name) const {
  const std::scoped_lock lock(mutex_);
  const auto found = entries_.find(name);
  if (found == entries_.end() || !found->second.isUnread()) return std::nullopt;
  return found->second.version;
}

bool RecordingTable::take(const RecordingName& name, std::uint32_t version, RecordingFacts facts) {
  const std::scoped_lock lock(mutex_);
  const auto found = entries_.find(name);
  if (found == entries_.end()) return false;
  Entry& entry = found->second;
  if (facts.kind == RecordingFacts::Kind::kUnread) {
    // Treated as foreign until it can be read.
    entry.isForeign = !entry.isInProgress;
    return false;
  }
  entry.readVersion = version;
  entry.sizedVersion = version;
  if (facts.kind == RecordingFacts::Kind::kMissing && !entry.isInProgress) {
    entries_.erase(found);
    return false;
  }
  entry.take(std::move(facts));
  return true;
}

void RecordingTable::Entry::take(RecordingFacts facts) {
  isForeign = facts.kind == RecordingFacts::Kind::kForeign && !isInProgress;
  if (facts.kind != RecordingFacts::Kind::kRecording) return;
  bytes = facts.bytes;
  isProtected = facts.isProtected;
  // Its recorder writes one file after another. A reader in between may see files that contradict each other.
  if (isInProgress && facts.state == RecordingState::kDamaged) return;
  state = facts.state;
  endMs = facts.endMs;
  gaps = std::move(facts.gaps);
  gaps.shrink_to_fit();
}

std::uint32_t RecordingTable::version(const RecordingName& name) const {
  const std::scoped_lock lock(mutex_);
  const auto found = entries_.find(name);
  return found == entries_.end() ? 0 : found->second.version;
}

void RecordingTable::takeSize(const RecordingName& name, std::uint32_t version, std::uint64_t bytes) {
  change(name, [&](Entry& entry) {
    entry.bytes = bytes;
    entry.sizedVersion = version;
  });
}

void RecordingTable::retryDamaged(std::int64_t nowMs) {
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

std::vector<RecordingName> RecordingTable::toRead(std::int64_t fromMs, std::int64_t toMs) const {
  std::vector<RecordingName> names;
  const std::scoped_lock lock(mutex_);
  for (auto item = entries_.begin(); item != entries_.end() && item->first.beginMs < toMs; ++item) {
    const Entry& entry = item->second;
    if (!entry.isUnread()) continue;
    const auto next = std::next(item);
    // Until a recording is read, it is assumed to end before the next one begins.
    const bool mayBeIn = next == entries_.end() || next->first.beginMs > fromMs;
    if (mayBeIn || entry.isInProgress || entry.endMs > fromMs) names.push_back(item->first);
  }
  return names;
}

RecordingTable::OutOfDate RecordingTable::outOfDate() const {
  OutOfDate result;
  const std::scoped_lock lock(mutex_);
  for (const auto& [name, entry] : entries_) {
    if (entry.isInProgress && entry.sizedVersion != entry.version) result.grown.push_back(name);
    // The scan reads those that were never read.
    const bool wasKnown = entry.sizedVersion != 0 && !entry.isInProgress;
    if (wasKnown && entry.isUnread()) result.finished.push_back(name);
  }
  return result;
}

RecordingInfo RecordingTable::infoOf(const RecordingName& name, const Entry& entry) {
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

std::vector<RecordingInfo> RecordingTable::list(std::int64_t fromMs, std::int64_t toMs, std::int64_t nowMs) {
  std::vector<RecordingInfo> found;
  const std::scoped_lock lock(mutex_);
  for (auto& [name, entry] : entries_) {
    if (name.beginMs >= toMs) break;
    // One without a fragment has no length; it is listed if its begin is in the span.
    const bool isIn = entry.endMs > fromMs || name.beginMs >= fromMs;
    if (!isIn || entry.isForeign || entry.isLeaving) continue;
    entry.listedAtMs = nowMs;
    found.push_back(infoOf(name, entry));
  }
  return found;
}

std::optional<RecordingInfo> RecordingTable::find(const RecordingName& name) const {
  const std::scoped_lock lock(mutex_);
  const auto found = entries_.find(name);
  if (found == entries_.end() || found->second.isForeign) return std::nullopt;
  return infoOf(name, found->second);
}

Catalog::Totals RecordingTable::totals() const {
  Catalog::Totals totals;
  const std::scoped_lock lock(mutex_);
  for (const auto& [name, entry] : entries_) {
    if (entry.isForeign) continue;
    ++totals.recordings;
    totals.bytes += entry.bytes;
  }
  return totals;
}

std::vector<KnownRecording> RecordingTable::stored() const {
  std::vector<KnownRecording> recordings;
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

std::vector<RecordingName> RecordingTable::unread() const {
  std::vector<RecordingName> names;
  const std::scoped_lock lock(mutex_);
  for (const auto& [name, entry] : entries_) {
    if (entry.isUnread() && !entry.isInProgress) names.push_back(name);
  }
  return names;
}

std::vector<RecordingName> RecordingTable::interrupted() const {
  std::vector<RecordingName> names;
  const std::scoped_lock lock(mutex_);
  for (const auto& [name, entry] : entries_) {
    const bool isSettled = entry.isInProgress || entry.isForeign || entry.isRefused || entry.readVersion == 0;
    if (!isSettled && entry.state == RecordingState::kInterrupted) names.push_back(name);
  }
  return names;
}

}  // namespace host::serve
