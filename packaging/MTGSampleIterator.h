#pragma once

#include "packaging/IMediaSource.h"
#include "packaging/IPackagerContext.h"
#include "wrappers/mtg/Reader.h"

namespace ruvo::k2rpkgutil {

/// Walks tags of a tag stream. `context` and the stream's source outlive it; it belongs to the source's thread. Every
/// operation throws mtg::Exception.
class MTGSampleIterator final : public ISampleIterator {
 public:
  MTGSampleIterator(IPackagerContext& context, mtg::TagIterator tags) : context_(context), tags_(std::move(tags)) {}

  bool hasNext() override { return tags_.hasMoreEntries(); }
  void nextInfo(ruvo::k2r::SampleInfo& out) override;
  /// The whole tag, with a back pointer that is right. Memory is the arena's of the context; throws std::bad_alloc.
  void currentMessage(NQMessage& out) override;

 private:
  IPackagerContext& context_;
  mtg::TagIterator tags_;
  mtg::Tag current_;
};

}  // namespace ruvo::k2rpkgutil
