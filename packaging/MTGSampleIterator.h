#pragma once

#include "packaging/IMediaSource.h"
#include "packaging/IPackagerContext.h"
#include "wrappers/mtg/Reader.h"

namespace ruvo::k2rpkgutil {

/// Walks the tags of a stored stream as samples. `context` and the source must outlive it; it belongs to the thread of
/// the source. Every operation throws mtg::Exception if the file cannot be read.
class MTGSampleIterator final : public ISampleIterator {
 public:
  MTGSampleIterator(IPackagerContext& context, mtg::TagIterator tags) : context_(context), tags_(std::move(tags)) {}

  /// Reads ahead to the next tag of the tracks, so this may be where a failure of the file shows.
  bool hasNext() override { return tags_.hasMoreEntries(); }
  /// The time is the tag's timestamp, in milliseconds. A video tag without data is never a key frame.
  void nextInfo(ruvo::k2r::SampleInfo& out) override;
  /// Copies the whole tag into a block of the context's arena and writes a correct back pointer after it, whatever the
  /// file has there. Throws also std::bad_alloc.
  void currentMessage(NQMessage& out) override;

 private:
  IPackagerContext& context_;
  mtg::TagIterator tags_;
  mtg::Tag current_;
};

}  // namespace ruvo::k2rpkgutil
