// What the fragmenter's decisions do to bootstrap, index, queue and segment.

#include <algorithm>

#include "fragmentation/BootstrapWriter.h"
#include "modules/streams/k2r/HostLog.h"
#include "modules/streams/k2r/k2rData.h"
#include "util/QVSException.h"
#include "util/tagHeader.h"

namespace qvs::k2r {

using ruvo::k2r::FragmentAction;
using ruvo::k2rpkgutil::NQMessage;

K2RData::Outcome K2RData::act(const FragmentDecision& decision) {
  using enum FragmentAction;
  switch (decision.action) {
    case None:
      return {};
    case WriteFragment:
      return {.writtenMs = writeFragment(decision.range)};
    case HoldFragment:
      holdFragment(decision);
      return {};
    case SkipFragment:
      skipFragment(decision.range);
      return {};
    case FlushHeldFragment:
      return {.writtenMs = flushHeldFragment(decision.range)};
    case StartRecording:
      startRecording(decision.range);
      return {};
    case DropSample:
      return {.queue = false};
  }
  return {};
}

std::uint32_t K2RData::writeFragment(const FragmentRange& range) {
  startWriter();
  requireKeyFrame();
  announce(range);
  writeAnnounced(range.fragmentNumber, static_cast<std::uint32_t>(range.endTime));
  return static_cast<std::uint32_t>(range.endTime - range.startTime);
}

void K2RData::holdFragment(const FragmentDecision& decision) {
  heldDecision_ = decision;
  announce(decision.range);
  // Last: if the segment cannot be begun, the flush tries again and has to find the fragment announced.
  startWriter();
}

std::uint32_t K2RData::flushHeldFragment(const FragmentRange& range) {
  skipFragment(range);
  writeAnnounced(heldDecision_.range.fragmentNumber, static_cast<std::uint32_t>(range.endTime));
  // From the end of the held fragment to the start of this one, modulo 2^32: 0 if the flush follows the hold directly.
  return static_cast<std::uint32_t>(heldDecision_.range.endTime - range.startTime);
}

void K2RData::startRecording(const FragmentRange& range) {
  const std::uint32_t lastSkipped = range.fragmentNumber - 1;
  bootstrapBuilder_->addTimestampGap(segmentNumber_, lastSkipped, static_cast<std::uint32_t>(range.startTime));
  markSkippedUpTo(lastSkipped, range.startTime);
  pendingMessages_.clear();
}

void K2RData::announce(const FragmentRange& range) {
  beforeAnnounced_.emplace(BeforeAnnounced{*bootstrapBuilder_, fragmentIndex_.entries().size()});
  addToBootstrap(range);
  insertSafetyGap(range.fragmentNumber);
  addIndexEntry(range.startTime, range.fragmentNumber, ruvo::k2r::kHeldFragmentOffset);
}

void K2RData::takeBackAnnounced() {
  if (!beforeAnnounced_) return;
  *bootstrapBuilder_ = std::move(beforeAnnounced_->bootstrap);
  // Its own entry, and those of the numbers skipped before and after it.
  fragmentIndex_.cutTo(beforeAnnounced_->entries);
  beforeAnnounced_.reset();
}

void K2RData::addToBootstrap(const FragmentRange& range) {
  bootstrapBuilder_->addFragment(segmentNumber_, range.fragmentNumber, static_cast<std::uint32_t>(range.startTime),
                                 static_cast<std::uint32_t>(range.endTime - range.startTime));
  auto& info = bootstrapBuilder_->info();
  info.currentMediaTime = range.endTime;
  info.smpteOffset = 0;
  info.live = true;
  info.update = false;
  info.profile = 0;
}

void K2RData::writeAnnounced(std::uint32_t fragment, std::uint32_t limit) {
  std::uint64_t position = 0;
  try {
    if (!mediaWriter_) openSegment();  // It could not be begun when it was due, so this fragment tries again.
    util::ByteWriter box;
    ruvo::k2r::appendBootstrap(box, bootstrapBuilder_->info(), true);
    position = mediaWriter_->writeFragment(pendingMessages_, limit, box.bytes()).position;
  } catch (...) {
    // The messages stay queued for the next fragment, and the number becomes one without data.
    takeBackAnnounced();
    throw;
  }
  // The fragment is in the segment now: whatever fails later, its messages must not be written again.
  beforeAnnounced_.reset();
  dropWritten(limit);
  fragmentIndex_.setPosition(fragment, position);
}

void K2RData::finishFragment(std::uint32_t writtenMs) {
  flushSmallFiles();
  // A failed roll-over must not fail the message: it is queued, and the next fragment tries to begin the segment again.
  guardedStep(*streamContext_, "Unknown Error in record()", [&] { addDuration(writtenMs); });
}

void K2RData::skipFragment(const FragmentRange& range) {
  bootstrapBuilder_->addEmptyFragment(segmentNumber_, range.fragmentNumber,
                                      static_cast<std::uint32_t>(range.startTime));
  insertSafetyGap(range.fragmentNumber);
  addIndexEntry(range.startTime, range.fragmentNumber, ruvo::k2r::kNoFragmentOffset);
}

void K2RData::insertSafetyGap(std::uint32_t fragment) {
  const auto& entries = fragmentIndex_.entries();
  if (entries.empty()) return;
  const std::uint64_t time = entries.back().time;
  std::uint32_t next = entries.back().fragment + 1;
  if (next >= fragment) return;
  logWarning(*streamContext_,
             "Inserting safety gap before fragment " + std::to_string(fragment) + " in stream " + names_.stem);
  for (; next < fragment; ++next) addIndexEntry(time, next, ruvo::k2r::kNoFragmentOffset);
}

void K2RData::markSkippedUpTo(std::uint32_t fragment, std::uint64_t start) {
  const auto& entries = fragmentIndex_.entries();
  // If the time of a new recording wraps in its lead-in, all entries are larger numbers without a fragment. Smaller
  // ones cannot follow them, and every fragment would be refused.
  if (!entries.empty() && entries.back().fragment > fragment && bootstrapBuilder_->fragmentRuns().empty())
    fragmentIndex_.cutTo(0);
  if (entries.empty()) {
    addIndexEntry(0, fragment, ruvo::k2r::kNoFragmentOffset);
    return;
  }
  for (std::uint32_t next = entries.back().fragment + 1; next <= fragment; ++next) {
    addIndexEntry(start, next, ruvo::k2r::kNoFragmentOffset);
  }
}

void K2RData::addIndexEntry(std::uint64_t time, std::uint32_t fragment, std::uint64_t afraOffset) {
  fragmentIndex_.add({time, segmentNumber_, fragment, afraOffset, 0});
}

void K2RData::requireKeyFrame() const {
  const auto video = std::find_if(pendingMessages_.begin(), pendingMessages_.end(),
                                  [](const NQMessage& message) { return message.isVideo(); });
  if (video != pendingMessages_.end() && !video->isKeyFrame()) {
    // A player could not begin there.
    throw QVSException("Tried to record fragment w/ no keyframe");
  }
}

void K2RData::dropWritten(std::uint32_t limit) {
  const auto rest = std::find_if(pendingMessages_.begin(), pendingMessages_.end(), [limit](const NQMessage& message) {
    return util::tagTimestamp(message.header()) >= limit;
  });
  pendingMessages_.erase(pendingMessages_.begin(), rest);
  // A server has thousands of queues, and each of them has just been at its fullest.
  pendingMessages_.shrink_to_fit();
}

}  // namespace qvs::k2r
