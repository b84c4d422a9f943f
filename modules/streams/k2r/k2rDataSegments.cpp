// The segment file and its writer, and the roll-over to the next segment.

#include <utility>

#include "modules/streams/k2r/k2rData.h"
#include "platform/os/durableFiles.h"
#include "util/fourcc.h"

namespace qvs::k2r {

using util::operator""_4cc;

void K2RData::startWriter() {
  if (writerStarted_) return;
  writerStarted_ = true;
  filesToWrite_.tracksComplete();
  setPictureSize();  // Before the first segment, so that all track headers have the same size.
  openSegment();
}

void K2RData::setPictureSize() {
  const auto video = mediaProperties_.findTrack("vide"_4cc);
  if (!video) return;
  video->width = static_cast<float>(videoWidth_);
  video->height = static_cast<float>(videoHeight_);
}

void K2RData::makeSegmentStream(bool append) {
  segmentStream_ = std::make_unique<K2RIOStream>(fileContext_, names_.segmentName(segmentNumber_), append);
}

void K2RData::openSegment() {
  // Here, so that the next fragment repeats a set-up that failed: a key file may come late, and the messages wait. The
  // policy exists if an earlier attempt failed only at the file.
  if (!writerPolicy_) makeWriterPolicy();
  mediaWriter_ = std::make_unique<ruvo::k2rpkgutil::K2RMediaWriter>(*writerPolicy_, mediaProperties_, *segmentStream_);
  if (filesToWrite_.needMeta()) writeMetaFile();
}

void K2RData::removeStaleIndex() {
  // An interrupted recorder may have left the index of a segment whose file is begun again now.
  const std::string path = names_.indexName(segmentNumber_);
  IMOFileStatus status;
  if (fileContext_->pathStatus(path.c_str(), &status, 0) == 0) platform::os::removeFile(path);
}

void K2RData::addDuration(std::uint32_t milliseconds) {
  segmentElapsed_ += milliseconds;
  // The index of an earlier segment is never written again, so an incomplete one delays the roll-over: the next
  // fragment writes it.
  if (segmentDuration_ == 0 || segmentElapsed_ <= segmentDuration_ || filesToWrite_.needIndex()) return;
  auto next = std::make_unique<K2RIOStream>(fileContext_, names_.segmentName(segmentNumber_ + 1),
                                            /*append=*/false);
  mediaWriter_.reset();  // Completes the old file.
  // All of this comes before anything that can fail: the next attempt must not begin the old file again.
  segmentStream_ = std::move(next);
  ++segmentNumber_;
  segmentElapsed_ = 0;
  fragmentIndex_.dropSpare(names_.temporaryIndexName());
  fragmentIndex_.cutTo(0);
  removeStaleIndex();
  openSegment();
}

}  // namespace qvs::k2r
