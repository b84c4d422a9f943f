#include "host/serve/retention/planRemovals.h"

#include <utility>

namespace host::serve {
namespace {

class Planner {
 public:
  Planner(std::span<const KeptRecording> recordings, const KeepPlan& plan,
          const std::function<bool(const KeptRecording&)>& isHeld)
      : recordings_(recordings), plan_(plan), isHeld_(isHeld), isGone_(recordings.size()), held_(recordings.size()) {}

  std::vector<PlannedRemoval> run(std::int64_t nowMs) {
    makeFree();
    removeOld(nowMs);
    for (std::size_t stream = 0; stream < plan_.streams.size(); ++stream) {
      if (plan_.streams[stream].bytes) limitBytes(*plan_.streams[stream].bytes, stream);
    }
    if (plan_.bytes) limitBytes(*plan_.bytes, std::nullopt);
    return std::move(removals_);
  }

 private:
  enum class Held : char { kUnknown, kNo, kYes };

  void makeFree() {
    std::uint64_t freed = 0;
    for (std::size_t i = 0; i < recordings_.size() && freed < plan_.bytesToFree; ++i) {
      if (recordings_[i].isFixed || recordings_[i].isElsewhere) continue;
      freed += recordings_[i].bytes;
      remove(i, RemovalReason::kKeepFree, isHeld(i));
    }
  }

  void removeOld(std::int64_t nowMs) {
    for (std::size_t i = 0; i < recordings_.size(); ++i) {
      const auto age = plan_.streams[recordings_[i].stream].age;
      if (!age || recordings_[i].endMs > nowMs - age->count()) continue;
      if (!isGone_[i] && !recordings_[i].isFixed && !isHeld(i)) remove(i, RemovalReason::kKeepFor, false);
    }
  }

  /// Of one stream, or of all.
  void limitBytes(std::uint64_t limit, std::optional<std::size_t> stream) {
    const auto counts = [&](std::size_t i) { return !isGone_[i] && (!stream || recordings_[i].stream == *stream); };
    std::uint64_t bytes = 0;
    for (std::size_t i = 0; i < recordings_.size(); ++i) bytes += counts(i) ? recordings_[i].bytes : 0;
    if (bytes <= limit) return;
    for (std::size_t i = 0; i < recordings_.size(); ++i) {
      if (counts(i) && !recordings_[i].isFixed && isHeld(i)) bytes -= recordings_[i].bytes;
    }
    for (std::size_t i = 0; i < recordings_.size() && bytes > limit; ++i) {
      if (!counts(i) || recordings_[i].isFixed || isHeld(i)) continue;
      bytes -= recordings_[i].bytes;
      remove(i, RemovalReason::kKeepBytes, false);
    }
  }

  bool isHeld(std::size_t i) {
    if (held_[i] == Held::kUnknown) held_[i] = isHeld_(recordings_[i]) ? Held::kYes : Held::kNo;
    return held_[i] == Held::kYes;
  }

  void remove(std::size_t i, RemovalReason reason, bool isHeld) {
    isGone_[i] = true;
    removals_.push_back({.recording = i, .reason = reason, .isHeld = isHeld});
  }

  std::span<const KeptRecording> recordings_;
  const KeepPlan& plan_;
  const std::function<bool(const KeptRecording&)>& isHeld_;
  std::vector<bool> isGone_;
  std::vector<Held> held_;
  std::vector<PlannedRemoval> removals_;
};

}  // namespace

std::string_view removalReasonText(RemovalReason reason) {
  switch (reason) {
    case RemovalReason::kKeepFree:
      return "keep_free";
    case RemovalReason::kKeepFor:
      return "keep_for";
    case RemovalReason::kKeepBytes:
      return "keep_bytes";
  }
  return "";
}

std::vector<PlannedRemoval> planRemovals(std::span<const KeptRecording> oldestFirst, const KeepPlan& plan,
                                         std::int64_t nowMs, const std::function<bool(const KeptRecording&)>& isHeld) {
  return Planner(oldestFirst, plan, isHeld).run(nowMs);
}

}  // namespace host::serve
