// Continuing a recording: the state is restored from its files, and what a crash left incomplete is completed.

#include <utility>

#include "modules/streams/k2r/HostLog.h"
#include "modules/streams/k2r/StoredRecording.h"
#include "modules/streams/k2r/k2rData.h"
#include "modules/streams/k2r/storedFiles.h"

namespace qvs::k2r {
namespace {

using namespace ruvo::k2r;
using namespace ruvo::k2rpkgutil;
using namespace qvs::util;

/// The same track without samples, as the header of the next segment declares it.
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
    resumeRecording();
    return true;
  } catch (const krvo::k2m::Exception& failure) {
    logAppendFailure(failure);
  } catch (const rkx::RKXException& failure) {
    logError(*streamContext_, failure);
  } catch (const UnreadableFile& failure) {
    // The first line is for people. Hosts may look for the second one.
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
  // The exception has no text, only a status.
  logError(*streamContext_, "Failed to continue file '" + names_.segmentName(segmentNumber_) + "': K2M error " +
                                std::to_string(failure.status()));
}

void K2RData::resumeRecording() {
  writerStarted_ = true;
  StoredRecording stored(*fileContext_, names_);
  PreparedPolicy prepared = prepareWriterPolicy();
  using enum StoredRecording::BaseTime;
  StoredRecording::End end = stored.findEnd(filesToWrite_.needBaseTime() ? kSearched : kIfAtHand);
  segmentNumber_ = end.segment;
  fragmentIndex_.take(std::move(end.index));
  // Before the first write, so that a refused append leaves all files as they are.
  checkStoredSegment(*prepared.policy, end.position);
  takeWriterPolicy(std::move(prepared));
  if (filesToWrite_.needBaseTime() && end.baseTime) takeBaseTime(*end.baseTime);
  bootstrapBuilder_ =
      std::make_unique<BootstrapBuilder>(fragmentationConfig_.durationPrecision, fragmentationConfig_.allowedDrift,
                                         std::move(end.bootstrap), lastIndexedFragment());
  bootstrapBuilder_->resume();
  writeBootstrapFile();
  makeSegmentStream(true);
  mediaWriter_ = std::make_unique<K2RMediaWriter>(*writerPolicy_, *segmentStream_, end.position, warningHandler_);
  fragmenter_.makeForAppend(fragmentationConfig_.fragmentDuration, takeStoredTracks());
}

std::uint32_t K2RData::lastIndexedFragment() const {
  const auto& entries = fragmentIndex_.entries();
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
