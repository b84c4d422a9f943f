#include "host/input/Interleaver.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace host {
namespace {

/// Estimated bytes that a frame takes beside its payload. Without it, many tiny frames would go past the limit.
constexpr std::size_t kFrameOverhead = 256;

std::size_t weightOf(const QueuedFrame& frame) {
  return kFrameOverhead + payloadOf(*frame.packet).size();
}

}  // namespace

void Interleaver::push(QueuedFrame frame) {
  bytes_ += weightOf(frame);
  tracks_[frame.track].push_back(std::move(frame));
}

std::optional<QueuedFrame> Interleaver::pop(bool atEnd) {
  const auto isEmpty = [](const auto& track) { return track.empty(); };
  // A track without a frame may still give one that is older than all others.
  if (!atEnd && !full() && std::any_of(tracks_.begin(), tracks_.end(), isEmpty)) return std::nullopt;
  std::deque<QueuedFrame>* oldest = nullptr;
  for (auto& track : tracks_) {
    if (track.empty()) continue;
    // "Less", so that of two frames with the same time the one of the lower track number comes first.
    if (oldest == nullptr || track.front().times.dtsMs < oldest->front().times.dtsMs) oldest = &track;
  }
  if (oldest == nullptr) return std::nullopt;
  QueuedFrame frame = std::move(oldest->front());
  oldest->pop_front();
  bytes_ -= weightOf(frame);
  return frame;
}

bool Interleaver::full() const {
  std::int64_t first = std::numeric_limits<std::int64_t>::max();
  std::int64_t last = std::numeric_limits<std::int64_t>::min();
  for (const auto& track : tracks_) {
    if (track.empty()) continue;
    first = std::min(first, track.front().times.dtsMs);
    last = std::max(last, track.back().times.dtsMs);
  }
  return bytes_ > kMaxBytes || (last > first && last - first > kMaxSpreadMs);
}

}  // namespace host
