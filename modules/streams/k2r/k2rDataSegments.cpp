// The segment file and its writer: the first one, and the roll-over to the next.

#include <utility>

#include "modules/streams/k2r/k2rData.h"
#include "packaging/MetadataMessage.h"
#include "platform/os/durableFiles.h"
#include "util/fourcc.h"

namespace qvs::k2r {

using util::operator""_4cc;

void K2RData::startWriter() {
  if (writerStarted_) return;
  writerStarted_ = true;
  metaPending_ = true;
  setPictureSize();
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
  if (!writerPolicy_) makeWriterPolicy();  // Else it was the file that could not be begun.
  mediaWriter_ = std::make_unique<ruvo::k2rpkgutil::K2RMediaWriter>(*writerPolicy_, mediaProperties_, *segmentStream_);
  if (metaPending_) writeMetaFile();
}

void K2RData::writeMetaFile() {
  const auto message = ruvo::k2rpkgutil::buildMetadataMessage(mediaProperties_, absoluteOffsetSet_, 0.0);
  metaPending_ = !writeSmallFile(names_.metaName(), message.bytes());
}

void K2RData::removeStaleIndex() {
  // An interrupted recorder may have left one, of a segment whose file is about to be begun anew.
  const std::string path = names_.indexName(segmentNumber_);
  IMOFileStatus status;
  if (fileContext_->pathStatus(path.c_str(), &status, 0) == 0) platform::os::removeFile(path);
}

void K2RData::addDuration(std::uint32_t milliseconds) {
  segmentElapsed_ += milliseconds;
  // An index that is left behind by a roll-over would stay so: the next fragment writes it, and rolls over then.
  if (segmentDuration_ == 0 || segmentElapsed_ <= segmentDuration_ || indexBehind_) return;
  auto next = std::make_unique<K2RIOStream>(fileContext_, names_.segmentName(segmentNumber_ + 1),
                                            /*append=*/false);
  mediaWriter_.reset();  // Ends the old file.
  // Before anything that can fail: a later attempt begins the new file, and never the old one anew.
  segmentStream_ = std::move(next);
  ++segmentNumber_;
  segmentElapsed_ = 0;
  // The old segment's index file stays as its last fragment left it.
  fragmentIndex_.globalEntries.clear();
  removeStaleIndex();
  openSegment();
}

}  // namespace qvs::k2r
