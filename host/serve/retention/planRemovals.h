#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

#include "host/serve/ServeConfig.h"
#include "host/serve/recordingName.h"

namespace host::serve {

/// Which limit removes a recording. In the order in which they come.
enum class RemovalReason { kKeepFree, kKeepFor, kKeepBytes };
inline constexpr std::size_t kRemovalReasons = 3;
/// As in the label `reason` of the metrics: "keep_free", "keep_for", "keep_bytes".
std::string_view removalReasonText(RemovalReason reason);

/// A recording that may have to go.
struct KeptRecording {
  /// Place of its stream in KeepPlan::streams.
  std::size_t stream = 0;
  RecordingName name;
  /// First moment after its last sample, in ms since 1970-01-01 UTC.
  std::int64_t endMs = 0;
  std::uint64_t bytes = 0;
  /// It stays whatever happens, for example because it is being recorded.
  bool isFixed = false;
  /// It is not on the file system that is to have free space.
  bool isElsewhere = false;
};

/// The limits of a root.
struct KeepPlan {
  /// By stream; `bytes` is of that stream alone.
  std::vector<KeepLimits> streams;
  /// Of all streams together.
  std::optional<std::uint64_t> bytes = {};
  /// What is missing to the free space that is wanted.
  std::uint64_t bytesToFree = 0;
};

struct PlannedRemoval {
  /// Place in the list of recordings.
  std::size_t recording = 0;
  RemovalReason reason = RemovalReason::kKeepFree;
  /// It is removed although its hook still needs it.
  bool isHeld = false;
};

/// Which recordings are to go, as a function of what there is: nothing is changed. `oldestFirst` is sorted by begin.
///
/// First the oldest, until `bytesToFree` bytes are free. Then each recording that ended longer ago than its stream's
/// `age`. Then the oldest of each stream, and at last the oldest of all, until the rest is within the limits in bytes.
///
/// `isHeld` says whether somebody still needs a recording: such a one goes for `bytesToFree` only, and does not count
/// for the limits in bytes, so that it never drives others out. It is called only if that matters.
std::vector<PlannedRemoval> planRemovals(std::span<const KeptRecording> oldestFirst, const KeepPlan& plan,
                                         std::int64_t nowMs, const std::function<bool(const KeptRecording&)>& isHeld);

}  // namespace host::serve
