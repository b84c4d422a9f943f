// The small files: those that are written once, and those that follow each fragment, which are the index of the segment
// and the bootstrap of the recording.

#include <algorithm>

#include "fragmentation/BootstrapWriter.h"
#include "modules/streams/k2r/HostLog.h"
#include "modules/streams/k2r/k2rData.h"
#include "packaging/MetadataMessage.h"
#include "platform/os/durableFiles.h"
#include "platform/os/sleep.h"
#include "util/QVSException.h"

namespace qvs::k2r {
namespace {

using ruvo::k2r::AfraEntry;

/// A temporary file could not be written. The old file is in its place, and the next fragment writes the whole again.
class SmallFileFailure : public QVSException {
 public:
  using QVSException::QVSException;
};

}  // namespace

void K2RData::flushSmallFiles() {
  if (filesToWrite_.needControl()) writeControlFile(baseTime_);
  if (filesToWrite_.needMeta()) writeMetaFile();
  try {
    // The bootstrap must not name a fragment that the index on disk does not have.
    if (writeIndexFile()) writeBootstrapFile();
  } catch (const SmallFileFailure& failure) {
    // No reason to fail the message: its fragment is in the segment, and the next one writes these files again.
    logError(*streamContext_, failure.message());
  }
}

void K2RData::writeControlFile(std::uint32_t baseTime) {
  util::ByteWriter image;
  image.u32(baseTime);
  filesToWrite_.controlWritten(writeSmallFile(names_.controlName(), image.bytes()));
}

void K2RData::writeMetaFile() {
  const auto message = ruvo::k2rpkgutil::buildMetadataMessage(mediaProperties_, absoluteOffsetSet_, 0.0);
  filesToWrite_.metaWritten(writeSmallFile(names_.metaName(), message.bytes()));
}

bool K2RData::writeSmallFile(const std::string& path, std::span<const std::byte> content) {
  if (platform::os::writeFile(path, content) && platform::os::syncFile(path)) return true;
  logError(*streamContext_, "Failed to write file '" + path + "'");
  return false;
}

bool K2RData::writeIndexFile() {
  filesToWrite_.indexChanged();
  // Consecutive numbers are the promise of an index file. No later fragment can repair one that has none, so this does
  // fail the message.
  if (!fragmentIndex_.isConsecutive()) {
    throw QVSException("afra index is corrupt, failing the record");
  }
  const std::string path = names_.indexName(segmentNumber_);
  const std::string temporary = names_.temporaryIndexName();
  bool isWritten = fragmentIndex_.exchange(path, temporary);
  if (!isWritten && replaceFile(path, temporary, fragmentIndex_.image().bytes())) {
    fragmentIndex_.wasReplaced();
    isWritten = true;
  }
  filesToWrite_.indexWritten(isWritten);
  return isWritten;
}

void K2RData::writeBootstrapFile() {
  util::ByteWriter image;
  ruvo::k2r::appendBootstrap(image, bootstrapBuilder_->info(), false);
  replaceFile(names_.bootstrapName(), names_.temporaryBootstrapName(), image.bytes());
}

bool K2RData::replaceFile(const std::string& path, const std::string& temporary, std::span<const std::byte> content) {
  // An exchange may have given the old index the temporary name, and after a loss of power the old one again.
  if (!platform::os::writeNewFile(temporary, content)) {
    throw SmallFileFailure("Failed to write file '" + temporary + "'");
  }
  return swapInFile(temporary, path);
}

bool K2RData::swapInFile(const std::string& from, const std::string& to) {
  // On some file systems a reader that has the old file open makes the replacement fail for a moment.
  for (std::uint32_t attempt = 1;; ++attempt) {
    if (platform::os::replaceFile(from, to)) return true;
    if (attempt >= swapRetries_) break;
    platform::os::sleepMs(swapDelay_);
  }
  logError(*streamContext_, "Failed to swap in file '" + to + "'");
  return false;
}

void K2RData::trimIndex() {
  const auto& entries = fragmentIndex_.entries();
  auto& runs = bootstrapBuilder_->fragmentRuns();
  if (runs.empty() || entries.empty()) return;
  const auto held = std::find_if(entries.rbegin(), entries.rend(), [](const AfraEntry& entry) {
    return entry.afraOffset == ruvo::k2r::kHeldFragmentOffset;
  });
  std::uint32_t last = entries.back().fragment;
  if (held != entries.rend() && held->fragment != 0) {
    const bool clockRestarted =
        std::any_of(held + 1, entries.rend(), [&](const AfraEntry& entry) { return entry.fragment >= held->fragment; });
    // Removing by number would then remove written fragments, too.
    if (clockRestarted && beforeAnnounced_) return takeBackAnnounced();
    last = held->fragment - 1;
    std::size_t kept = entries.size();
    while (kept > 0 && entries[kept - 1].fragment > last) --kept;
    fragmentIndex_.cutTo(kept);
  }
  while (!runs.empty() && runs.back().firstFragment > last) runs.pop_back();
  forgetEmptySegment();
}

void K2RData::forgetEmptySegment() {
  // The fragment that was taken back may have been the only one of its segment. The recording then ends with the
  // previous segment.
  auto& segments = bootstrapBuilder_->segmentRuns();
  if (!fragmentIndex_.entries().empty() || segments.size() < 2 || !beforeAnnounced_) return;
  if (segments.back().firstSegment != segmentNumber_) return;
  segments = beforeAnnounced_->bootstrap.segmentRuns();
  // A jump in time before the fragment has its mark in the runs: after the last number of the previous segment, which
  // never counted it, the next append would subtract it.
  bootstrapBuilder_->fragmentRuns() = beforeAnnounced_->bootstrap.fragmentRuns();
}

}  // namespace qvs::k2r
