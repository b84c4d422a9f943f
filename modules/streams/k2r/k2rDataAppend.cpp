// Continuing a recording: everything is rebuilt from its files, and what a crash left is put right.

#include <algorithm>
#include <fstream>
#include <utility>

#include "fragmentation/AfraBox.h"
#include "fragmentation/BootstrapReader.h"
#include "modules/streams/k2r/HostLog.h"
#include "modules/streams/k2r/k2rData.h"
#include "platform/os/paths.h"

namespace qvs::k2r {
namespace {

using namespace ruvo::k2r;
using namespace ruvo::k2rpkgutil;
using namespace qvs::util;

std::ifstream openForReading(const std::string& path) {
  return std::ifstream(platform::os::toNative(path), std::ios::binary);
}

/// A track of the file as one to be declared again in the next segment.
std::shared_ptr<K2RTrack> asNewTrack(const K2RTrack& stored) {
  auto track = std::make_shared<K2RTrack>(stored);
  const auto& descriptors = track->sampleDescriptors;
  track->entries = {1, 1000, descriptors.empty() ? 0 : descriptors.front()->info->codecHeaderLength};
  track->sampleCount = 0;
  return track;
}

}  // namespace

bool K2RData::initAppend() {
  try {
    return resumeRecording();
  } catch (const krvo::k2m::Exception& failure) {
    streamContext_->log(failure.what(), kIMOLogError, true);
  } catch (const rkx::RKXException& failure) {
    logError(*streamContext_, failure);
  } catch (const QVSException& failure) {
    logError(*streamContext_, failure.message());
  } catch (const std::exception&) {
    streamContext_->log("Unknown Error in initAppend()", kIMOLogError, true);
  }
  return false;
}

bool K2RData::resumeRecording() {
  writerStarted_ = true;
  BootstrapInfo bootstrap;
  auto in = openForReading(paths_.bootstrap);
  readBootstrap(in, bootstrap);
  if (bootstrap.segmentRunTables.empty() || bootstrap.segmentRunTables.front().segmentRuns.empty()) {
    logError(*streamContext_, "Failed to load segment run entries.");
    return false;
  }
  segmentNumber_ = bootstrap.segmentRunTables.front().segmentRuns.back().firstSegment;
  PreparedPolicy prepared = prepareWriterPolicy();
  const std::uint64_t position = loadIndex();
  checkStoredSegment(*prepared.policy, position);
  takeWriterPolicy(std::move(prepared));
  bootstrapBuilder_ =
      std::make_unique<BootstrapBuilder>(fragmentationConfig_.durationPrecision, fragmentationConfig_.allowedDrift,
                                         std::move(bootstrap), lastIndexedFragment());
  bootstrapBuilder_->resume();
  writeBootstrapFile();
  mediaWriter_ = std::make_unique<K2RMediaWriter>(*writerPolicy_, *segmentStream_, position, warningHandler_);
  fragmenter_.makeForAppend(fragmentationConfig_.fragmentDuration, takeStoredTracks());
  return true;
}

std::uint64_t K2RData::loadIndex() {
  auto in = openForReading(formatSegmentName(basePath_, segmentNumber_, ".k2i"));
  readAfra(in, fragmentIndex_);
  // Trailing entries may have no fragment of their own: writing goes on behind the last one that has.
  const auto& entries = fragmentIndex_.globalEntries;
  const auto last =
      std::find_if(entries.rbegin(), entries.rend(), [](const AfraEntry& entry) { return entry.isWritten(); });
  return last == entries.rend() ? 0 : last->afraOffset;
}

std::uint32_t K2RData::lastIndexedFragment() const {
  const auto& entries = fragmentIndex_.globalEntries;
  return entries.empty() ? 0 : entries.back().fragment;
}

bool K2RData::takeStoredTracks() {
  bool hasVideo = false;
  const std::unique_ptr<ITrackIterator> tracks(mediaWriter_->getTracks());
  std::shared_ptr<K2RTrack> track;
  while (tracks->hasNext()) {
    tracks->next(track);
    hasVideo = hasVideo || track->handlerType == "vide"_4cc;
    mediaProperties_.addTrack(asNewTrack(*track));
  }
  return hasVideo;
}

}  // namespace qvs::k2r
