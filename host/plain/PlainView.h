#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "host/files/RecordedSegments.h"
#include "host/files/RecordingDirectory.h"
#include "host/plain/PlainFragment.h"
#include "host/plain/RecordedTimeline.h"

namespace host {

/// A recording as standard fragmented MP4 and a playlist over it (RFC 8216): for players that stumble over the hint
/// track of the segment files. No stored sample is copied or moved; headers and `moof` boxes are made anew. Its time
/// line has no gaps: EXT-X-PROGRAM-DATE-TIME tells where some time is missing. Names of headers and fragments tell what
/// is in them, so that the same name always means the same bytes, and players and proxies may keep them for ever.
class PlainView {
 public:
  /// What is to be sent, piece by piece; a piece is valid during the call.
  using Take = std::function<void(std::span<const std::byte>)>;

  /// Reads the recording as it is now, while it runs, too. Throws CommandError as readRecordedTimeline() does.
  explicit PlainView(RecordingDirectory directory);

  /// By name, the headers that the playlist refers to.
  const std::map<std::string, std::vector<std::byte>>& headers() const { return headers_; }
  std::size_t fragmentCount() const { return timeline_.fragments.size(); }
  /// `<number>-<milliseconds on the time line>.m4s`. `fragment` counts from 0.
  std::string fragmentName(std::size_t fragment) const;
  /// Gives `take` the bytes of a fragment. The last one of a recording that still runs has no successor yet and ends as
  /// it is stored. Throws CommandError if its segment can no longer be read.
  void readFragment(std::size_t fragment, const Take& take) const;
  /// The media playlist, with names relative to its own place.
  std::string playlist() const;

 private:
  /// A fragment's place in the view.
  struct Place {
    /// Milliseconds from the beginning of the view, without gaps.
    std::uint64_t startMs = 0;
    std::string header;
  };

  void placeFragments();
  void makeHeaders();
  PlainPlace plainPlace(std::size_t fragment) const;
  std::int64_t shiftMs(std::size_t fragment) const;
  std::string wallTime(std::size_t fragment) const;

  RecordingDirectory directory_;
  RecordedTimeline timeline_;
  std::map<std::string, std::vector<std::byte>> headers_;
  /// One for each fragment of the time line.
  std::vector<Place> places_;
};

}  // namespace host
