// Continuing a recording: everything is rebuilt from its files, and what a crash left is put right.

#include <utility>

#include "modules/streams/k2r/HostLog.h"
#include "modules/streams/k2r/k2rData.h"
#include "modules/streams/k2r/storedFiles.h"

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
  constexpr const char* kUnknownError = "Unknown Error in initAppend()";
  try {
    return resumeRecording();
  } catch (const krvo::k2m::Exception& failure) {
    logAppendFailure(failure);
  } catch (const rkx::RKXException& failure) {
    logError(*streamContext_, failure);
  } catch (const UnreadableFile& failure) {
    // The first line is for people, the second one is what hosts know this by.
    logError(*streamContext_, failure.message());
    logError(*streamContext_, kUnknownError);
  } catch (const QVSException& failure) {
    logError(*streamContext_, failure.message());
  } catch (const std::exception&) {
    logError(*streamContext_, kUnknownError);
  }
  return false;
}

void K2RData::logAppendFailure(const krvo::k2m::Exception& failure) {
  // It has no text of its own, so an empty line would be all that the host hears.
  logError(*streamContext_, "Failed to continue file '" + names_.segmentName(segmentNumber_) + "': K2M error " +
                                std::to_string(failure.status()));
}

bool K2RData::resumeRecording() {
  writerStarted_ = true;
  BootstrapInfo bootstrap = readBootstrapFile(names_.bootstrapName());
  if (bootstrap.segmentRunTables.empty() || bootstrap.segmentRunTables.front().segmentRuns.empty()) {
    logError(*streamContext_, "Failed to load segment run entries.");
    return false;
  }
  segmentNumber_ = bootstrap.segmentRunTables.front().segmentRuns.back().firstSegment;
  PreparedPolicy prepared = prepareWriterPolicy();
  const RecordingEnd end = loadIndexes(bootstrap);
  checkStoredSegment(*prepared.policy, end.position);
  takeWriterPolicy(std::move(prepared));
  restoreBaseTime(end.baseTime);
  bootstrapBuilder_ =
      std::make_unique<BootstrapBuilder>(fragmentationConfig_.durationPrecision, fragmentationConfig_.allowedDrift,
                                         std::move(bootstrap), lastIndexedFragment());
  bootstrapBuilder_->resume();
  writeBootstrapFile();
  makeSegmentStream(true);
  mediaWriter_ = std::make_unique<K2RMediaWriter>(*writerPolicy_, *segmentStream_, end.position, warningHandler_);
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
