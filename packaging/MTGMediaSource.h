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

/// A stored tag stream as the packager sees it: properties, tracks, and one message a tag of audio or video. The tags
/// are read when they are asked for, so memory does not grow with the file. Belongs to one thread at a time. No
/// recording uses it; it is for tools that turn stored streams into messages.
class MTGMediaSource final : public IMediaSource {
 public:
  /// Opens the file and reads enough of it to know its tracks and its duration, which may be all of it: kinds of tags
  /// that do not occur are searched to the end. `openFlags` as for FileStream. `context` outlives the source and its
  /// messages. Throws mtg::Exception with status 3 for a file that is no tag stream, 4 for an incomplete header, and 5
  /// if it cannot be opened or read. A file without audio and video gives a source without tracks.
  MTGMediaSource(IPackagerContext& context, const std::string& path, std::uint32_t openFlags);

  DocumentProperties getDocumentProperties() override { return document_; }
  /// At most one video track, then at most one audio track. A track whose kind has tags but none with data has no
  /// sample description.
  ITrackIterator* getTracks() override;
  /// Sets `out` to an iterator over the tags of all tracks in file order. It must be destroyed before the source. Two
  /// of them may be used in turn, each at its own position.
  void getSamples(std::unique_ptr<ISampleIterator>& out) override;

 private:
  /// Pixels, as the stream's description has them: doubles of any value, 0 if it has none.
  struct PictureSize {
    double width = 0;
    double height = 0;
  };

  PictureSize findPictureSize() const;
  /// The last tag's timestamp, in milliseconds; 0 for a file without tags.
  std::uint32_t findDuration() const;
  /// Moves `tags` past the first video tag with data, so that addAudio() finds only audio after that one.
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
