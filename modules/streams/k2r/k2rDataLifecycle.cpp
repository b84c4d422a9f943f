// Begin and end of a recording.

#include "modules/streams/k2r/HostLog.h"
#include "modules/streams/k2r/k2rData.h"
#include "modules/streams/k2r/staleFiles.h"
#include "modules/streams/k2r/storedFiles.h"
#include "platform/os/sleep.h"
#include "util/bytes.h"

namespace qvs::k2r {
namespace {

constexpr std::uint32_t kEraseDelayMs = 50;
constexpr std::size_t kControlFileSize = 4;

}  // namespace

bool K2RData::initialise(std::uint32_t flags) {
  openFlags_ = flags;
  if ((flags & kOpenRecord) == 0) return false;
  if (initialised_) return true;
  initialised_ = true;
  return guarded(*streamContext_, "Unknown Error in init()", false, [&] {
    prepareTimes();
    if ((flags & kOpenAppend) != 0 && isThere(*fileContext_, names_.bootstrapName())) return initAppend();
    return initNew();
  });
}

void K2RData::prepareTimes() {
  try {
    readControlFile();
  } catch (const UnreadableFile&) {
    // An append with another base time would shift all its times against the old ones. A new recording can have any.
    if ((openFlags_ & kOpenAppend) != 0) throw;
    filesToWrite_.baseTimeNotFound();
  }
  lastTimes_ = {};
  fragmentationConfig_ = ruvo::k2r::readFragmentationConfig(*openContext_);
}

void K2RData::readControlFile() {
  filesToWrite_.baseTimeNotFound();
  if (!isThere(*fileContext_, names_.controlName())) return;
  const auto image = loadStart(names_.controlName(), kControlFileSize);
  // A shorter file counts as missing: the base time then comes from a fragment or from the first message.
  if (image.size() < kControlFileSize) return;
  baseTime_ = util::ByteReader(image).u32();
  filesToWrite_.baseTimeRead();
}

bool K2RData::initNew() {
  erase();
  if (fileContext_->createDirectory(streamPath_.c_str()) != 0) {
    logError(*streamContext_, "Couldn't create directory for new record");
    return false;
  }
  removeStaleFiles(names_);  // erase() may have failed, or removed less than everything.
  bootstrapBuilder_ = std::make_unique<ruvo::k2r::BootstrapBuilder>(fragmentationConfig_.durationPrecision,
                                                                    fragmentationConfig_.allowedDrift);
  fragmenter_.makeForNew(fragmentationConfig_.fragmentDuration);
  return true;
}

bool K2RData::erase() {
  // They mean the directory with all that is in it.
  constexpr std::uint32_t kKind = 3;
  constexpr std::uint32_t kRecursive = 1;
  for (std::uint32_t retries = 0;; ++retries) {
    if (fileContext_->remove(streamPath_.c_str(), kKind, kRecursive) == 0) return true;
    if (retries == config_.maxEraseRetries) return false;
    platform::os::sleepMs(kEraseDelayMs);
  }
}

bool K2RData::stopRecord() {
  finishSmallFiles();
  mediaWriter_.reset();
  writerPolicy_.reset();  // It has the key of a protected recording, which must not stay in memory.
  pendingMessages_.clear();
  messageArena_.reset();
  stopped_ = true;
  return true;
}

void K2RData::finishSmallFiles() noexcept {
  try {
    fragmentIndex_.dropSpare(names_.temporaryIndexName());  // Flushed with the directory by what follows.
    trimIndex();
    if (bootstrapBuilder_->fragmentRuns().empty()) return;
    bootstrapBuilder_->endPresentation();
    // If the replacement fails, the old index is usually as good, since a stop adds nothing to it.
    if (writeIndexFile() || isIndexOnDisk()) writeBootstrapFile();
  } catch (...) {
    logLine(*streamContext_, "Unable to write bootstrap.", kIMOLogError);
  }
}

bool K2RData::isIndexOnDisk() const {
  try {
    return readIndexFile(names_.indexName(segmentNumber_)) == fragmentIndex_.index();
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace qvs::k2r
