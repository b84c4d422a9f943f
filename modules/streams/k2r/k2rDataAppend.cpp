// Continuing a recording: everything is rebuilt from its files, and what a crash left is put right.

#include <fstream>
#include <utility>

#include "fragmentation/BootstrapReader.h"
#include "modules/streams/k2r/HostLog.h"
#include "modules/streams/k2r/k2rData.h"
#include "platform/os/paths.h"

namespace qvs::k2r {
namespace {

using namespace ruvo::k2r;
using namespace ruvo::k2rpkgutil;
using namespace qvs::util;

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
  std::ifstream in(platform::os::toNative(paths_.bootstrap), std::ios::binary);
  readBootstrap(in, bootstrap);
  if (bootstrap.segmentRunTables.empty() || bootstrap.segmentRunTables.front().segmentRuns.empty()) {
    logError(*streamContext_, "Failed to load segment run entries.");
    return false;
  }
  segmentNumber_ = bootstrap.segmentRunTables.front().segmentRuns.back().firstSegment;
  PreparedPolicy prepared = prepareWriterPolicy();
  const std::uint64_t position = loadIndexes(bootstrap);
  checkStoredSegment(*prepared.policy, position);
  takeWriterPolicy(std::move(prepared));
  restoreBaseTime(position);
  bootstrapBuilder_ =
      std::make_unique<BootstrapBuilder>(fragmentationConfig_.durationPrecision, fragmentationConfig_.allowedDrift,
                                         std::move(bootstrap), lastIndexedFragment());
  bootstrapBuilder_->resume();
  writeBootstrapFile();
  makeSegmentStream(true);
  mediaWriter_ = std::make_unique<K2RMediaWriter>(*writerPolicy_, *segmentStream_, position, warningHandler_);
  fragmenter_.makeForAppend(fragmentationConfig_.fragmentDuration, takeStoredTracks());
  return true;
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
