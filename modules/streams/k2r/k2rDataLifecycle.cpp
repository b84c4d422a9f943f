// How a recording begins and ends.

#include "modules/streams/k2r/HostLog.h"
#include "modules/streams/k2r/k2rData.h"
#include "modules/streams/k2r/staleFiles.h"
#include "modules/streams/k2r/storedFiles.h"
#include "platform/os/sleep.h"

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
  controlPending_ = false;
  try {
    readControlFile();
  } catch (const UnreadableFile&) {
    // An append with another base would spoil every time behind it; a new recording can do with another one.
    if ((openFlags_ & kOpenAppend) != 0) throw;
    controlPending_ = true;
  }
  lastTimes_ = {};
  fragmentationConfig_ = ruvo::k2r::readFragmentationConfig(*openContext_);
}

void K2RData::readControlFile() {
  controlPending_ = !isThere(*fileContext_, names_.controlName());
  if (controlPending_) return;
  const auto image = loadStart(names_.controlName(), kControlFileSize);
  // A shorter file has no base: a fragment gives one, or the first message, as for a recording without the file.
  controlPending_ = image.size() < kControlFileSize;
  if (!controlPending_) baseTime_ = util::ByteReader(image).u32();
}

bool K2RData::initNew() {
  erase();
  if (fileContext_->createDirectory(streamPath_.c_str()) != 0) {
    logError(*streamContext_, "Couldn't create directory for new record");
    return false;
  }
  removeStaleFiles(names_);
  bootstrapBuilder_ = std::make_unique<ruvo::k2r::BootstrapBuilder>(fragmentationConfig_.durationPrecision,
                                                                    fragmentationConfig_.allowedDrift);
  fragmenter_.makeForNew(fragmentationConfig_.fragmentDuration);
  return true;
}

bool K2RData::erase() {
  // What the host is told: the whole directory, with all that is in it.
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
  writerPolicy_.reset();  // And with it the key of a protected recording.
  pendingMessages_.clear();
  messageArena_.reset();
  stopped_ = true;
  return true;
}

void K2RData::finishSmallFiles() noexcept {
  try {
    trimIndex();
    if (bootstrapBuilder_->fragmentRuns().empty()) return;
    bootstrapBuilder_->endPresentation();
    if (writeIndexFile() || isIndexOnDisk()) writeBootstrapFile();
  } catch (...) {
    logLine(*streamContext_, "Unable to write bootstrap.", kIMOLogError);
  }
}

bool K2RData::isIndexOnDisk() const {
  try {
    return readIndex(segmentNumber_) == fragmentIndex_;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace qvs::k2r
