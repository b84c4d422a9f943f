#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "packaging/MediaProperties.h"

namespace qvs::k2r {

/// The track table of a stream, in the form that the media writer takes. Tracks are added while the first messages of
/// the stream are checked, and never removed. No track is added after the writer has started. Order matters: the track
/// ids of a segment follow it.
class K2RMediaProperties : public ruvo::k2rpkgutil::IMediaProperties {
 public:
  ruvo::k2rpkgutil::DocumentProperties getDocumentProperties() override { return documentProperties_; }
  /// The caller owns the iterator.
  ruvo::k2rpkgutil::ITrackIterator* getTracks() override;

  void addTrack(std::shared_ptr<ruvo::k2rpkgutil::K2RTrack> track) { tracks_.push_back(std::move(track)); }
  /// The first track of that handler type, or null.
  std::shared_ptr<ruvo::k2rpkgutil::K2RTrack> findTrack(qvs::util::FourCC handlerType) const;

 private:
  std::vector<std::shared_ptr<ruvo::k2rpkgutil::K2RTrack>> tracks_;
  ruvo::k2rpkgutil::DocumentProperties documentProperties_;
};

}  // namespace qvs::k2r
