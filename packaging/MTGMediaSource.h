#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "packaging/IMediaSource.h"
#include "packaging/IPackagerContext.h"
#include "packaging/MTGStream.h"
#include "wrappers/mtg/Reader.h"

namespace ruvo::k2rpkgutil {

/// A stored tag stream as the packager sees it: properties, tracks, and a message per tag of audio or video. Reads the
/// file where it is asked; memory does not follow the file's size. Belongs to one thread at a time.
class MTGMediaSource final : public IMediaSource {
 public:
  /// Opens the file and reads enough of it to know its tracks and its duration. `context` outlives the source and its
  /// messages. Throws mtg::Exception: 3 where it is no tag stream, 4 for a header that is not whole, 5 where it cannot
  /// be opened or read.
  MTGMediaSource(IPackagerContext& context, const std::string& path, std::uint32_t openFlags);

  DocumentProperties getDocumentProperties() override { return document_; }
  ITrackIterator* getTracks() override;
  /// All tags of the tracks in file order. The iterator goes before the source does.
  void getSamples(std::unique_ptr<ISampleIterator>& out) override;

 private:
  /// Pixels, as the stream's description has them.
  struct PictureSize {
    double width = 0;
    double height = 0;
  };

  PictureSize findPictureSize() const;
  std::uint32_t findDuration() const;
  void addVideo(const mtg::TagIterator& tags, const PictureSize& picture);
  void addAudio(const mtg::TagIterator& tags);

  IPackagerContext& context_;
  MTGStream stream_;
  mtg::Allocator allocator_;
  mtg::Reader reader_;
  mtg::TagFilter filter_;
  std::vector<std::shared_ptr<K2RTrack>> tracks_;
  DocumentProperties document_;
};

}  // namespace ruvo::k2rpkgutil
