// The path of a message: it is checked, its time is computed, the fragmenter decides, and it is queued.

#include "modules/streams/k2r/k2rData.h"

#include <algorithm>

#include "fragmentation/RecordingSettings.h"
#include "modules/streams/k2r/HostLog.h"
#include "util/QVSException.h"

namespace qvs::k2r {

using ruvo::k2rpkgutil::NQMessage;

K2RData::K2RData(const char* path, const K2RConfig& config, IMOStreamContext* streamContext,
                 IMOStreamOpenContext* openContext, IMOFileContext* fileContext)
    : streamContext_(streamContext),
      openContext_(openContext),
      fileContext_(fileContext),
      config_(config),
      streamPath_(path),
      names_(fileset::namesOfStream(streamPath_)),
      segmentDuration_(ruvo::k2r::RecordingSettings(*openContext).readUnsigned("Recording/SegmentDuration", 0)) {}

K2RData::~K2RData() {
  // Closed before its writer is destroyed, so that what the writer does at the end of a file has no effect: without a
  // stop the segment stays as the last fragment left it.
  guardedStep(*streamContext_, "Unknown Error in close()", [this] {
    if (segmentStream_) segmentStream_->close();
  });
}

bool K2RData::record(std::uint8_t type, const std::byte* data, std::uint32_t size, std::uint32_t time) {
  return guarded(*streamContext_, "Unknown Error in record()", false, [&] {
    RefMessage message(type, data, size, time);
    switch (check(message)) {
      case Check::kRefuse:
        return false;
      case Check::kSkip:
        return true;
      case Check::kAccept:
        break;
    }
    return recordMessage(message, type, time);
  });
}

bool K2RData::recordMessage(RefMessage& message, std::uint8_t type, std::uint32_t time) {
  const RecordTimes times = liftBackward(computeTimes(time));
  const auto sample = ruvo::k2r::SampleInfo::ofMessage(type, {message.data(), message.dataSize()}, times.absolute);
  // Before base time, last time or fragmenter change: after a refused jump the stream continues from before it.
  requireRoomForJump(sample);
  if (filesToWrite_.needBaseTime()) takeBaseTime(times.absolute);
  lastTimes_ = times;
  message.setTimestamp(times.absolute);
  const Outcome outcome = act(fragmenter_.get()->addSample(sample));
  if (!outcome.queue) return true;
  // Queued only now: what a decision writes must not contain the message that caused it. If act() throws, the message
  // is not queued at all, because the host may send it again (docs/decisions.md, "False means lost").
  pendingMessages_.emplace_back(messageArena_, times.relative, type, times.absolute, message.data(),
                                message.dataSize());
  if (outcome.writtenMs) finishFragment(*outcome.writtenMs);
  return true;
}

void K2RData::requireRoomForJump(const ruvo::k2r::SampleInfo& sample) const {
  // Each skipped number gets an entry in the index, which is kept in memory and written again for each fragment.
  constexpr std::uint64_t kMaxIndexSize = std::uint64_t{64} << 20;
  constexpr std::uint64_t kEntrySize = 32;
  // The header of the box, and the number before the first one of a recording, need less space than two entries.
  constexpr std::uint64_t kMaxEntries = kMaxIndexSize / kEntrySize - 2;
  const std::uint32_t grid = fragmentationConfig_.fragmentDuration;
  const auto& entries = fragmentIndex_.entries();
  const std::uint64_t number = ruvo::k2r::fragmentNumberAt(sample.time, grid);
  std::uint64_t reached = ruvo::k2r::fragmentNumberAt(lastTimes_.absolute, grid);
  if (!entries.empty()) reached = std::max<std::uint64_t>(reached, entries.back().fragment);
  if (number <= reached + 1) return;
  // Without entries the index will begin with the open fragment, or after the jump if no fragment is open.
  const std::uint64_t first =
      entries.empty() ? fragmenter_.openNumber(sample.kind).value_or(number) : entries.front().fragment;
  if (number < first + kMaxEntries) return;
  throw QVSException("A jump to " + std::to_string(sample.time) + " ms would take the index of segment " +
                     std::to_string(segmentNumber_) + " beyond 64 MiB; the message is refused.");
}

K2RData::Check K2RData::check(const RefMessage& message) {
  // The writer no longer exists after a stop.
  if (stopped_) {
    logError(*streamContext_, "The recording is stopped.");
    return Check::kRefuse;
  }
  if (!message.isAudio() && !message.isVideo() && !message.isData()) {
    logError(*streamContext_, "Invalid message type.");
    return Check::kRefuse;
  }
  if (message.dataSize() == 0 || message.data() == nullptr) {
    if (message.isAudio()) return Check::kSkip;  // Nothing to record, so nothing is lost.
    logError(*streamContext_, "No message payload.");
    return Check::kRefuse;
  }
  if (const std::uint32_t most = mostDataFor(message); message.dataSize() > most) {
    logError(*streamContext_, "Message of " + std::to_string(message.dataSize()) + " bytes, at most " +
                                  std::to_string(most) + " can be stored.");
    return Check::kRefuse;
  }
  const Check metadata = checkMetadata(message);
  return metadata == Check::kAccept ? checkTrack(message) : metadata;
}

RecordTimes K2RData::computeTimes(std::uint32_t time) const {
  if (absoluteOffsetSet_) time += absoluteOffset_;
  // Modulo 2^32, as the clock of the host.
  return {.relative = filesToWrite_.needBaseTime() ? 0 : time - baseTime_, .absolute = time};
}

void K2RData::takeBaseTime(std::uint32_t absolute) {
  writeControlFile(absolute);
  baseTime_ = absolute;
}

RecordTimes K2RData::liftBackward(RecordTimes times) {
  if (times.relative >= lastTimes_.relative) return times;
  logWarning(*streamContext_, "Found backward timestamp while recording stream, adjusting time");
  return lastTimes_;
}

std::uint32_t K2RData::getDuration() const {
  if (!bootstrapBuilder_) return 0;
  const std::uint64_t end = bootstrapBuilder_->info().currentMediaTime;
  return end == 0 || end < baseTime_ ? 0 : static_cast<std::uint32_t>(end - baseTime_);
}

}  // namespace qvs::k2r
