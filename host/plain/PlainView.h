#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "host/files/RecordingDirectory.h"
#include "host/plain/PlainFragment.h"
#include "host/plain/RecordedTimeline.h"

namespace host {

/// A recording as standard fragmented MP4 with a playlist (RFC 8216), for players that cannot handle the hint track of
/// the segment files. Sample data are not copied; headers and `moof` boxes are made new. Its time line has no gaps:
/// EXT-X-PROGRAM-DATE-TIME says where some time is missing. A name of a header or fragment always means the same bytes,
/// so that players and proxies may keep them for ever.
class PlainView {
 public:
  /// Receives a file in pieces, in order. A piece is valid during the call.
  using Take = std::function<void(std::span<const std::byte>)>;

  /// Reads the recording as it is now; it may still be running. Throws CommandError as readRecordedTimeline() does.
  /// Keeps the state of that moment: later fragments need a new object. Belongs to one thread.
  explicit PlainView(RecordingDirectory directory);

  /// The headers to which the playlist refers, by file name.
  const std::map<std::string, std::vector<std::byte>>& headers() const { return headers_; }
  /// Fragments are counted from 0. All `fragment` arguments are below this number, or std::out_of_range is thrown.
  std::size_t fragmentCount() const { return timeline_.fragments.size(); }
  /// `<number>-<start in ms>.m4s`, with the fragment's number and its start on the time line of the view.
  std::string fragmentName(std::size_t fragment) const;
  /// Passes the bytes of a fragment to `take`. The last fragment of a running recording has no successor yet, so its
  /// last samples keep their stored durations. Throws CommandError if the segment can no longer be read.
  void readFragment(std::size_t fragment, const Take& take) const;
  /// The media playlist. Its names are relative to its own location.
  std::string playlist() const;

 private:
  /// Position and header of one fragment.
  struct Place {
    /// In ms from the beginning of the view, without gaps.
    std::uint64_t startMs = 0;
    /// Name of the header that it needs.
    std::string header;
  };

  /// Computes the time line without gaps.
  void placeFragments();
  /// Reads the headers of all segments. Equal ones become one.
  void makeHeaders();
  /// Where a fragment is in the view, from its neighbours in the time line.
  PlainPlace plainPlace(std::size_t fragment) const;
  /// The sum of the gaps before the fragment, in ms.
  std::int64_t shiftMs(std::size_t fragment) const;
  /// Time of day at which the fragment starts, in the form of EXT-X-PROGRAM-DATE-TIME (ISO 8601, UTC).
  std::string wallTime(std::size_t fragment) const;

  RecordingDirectory directory_;
  RecordedTimeline timeline_;
  /// By file name; one for each different header of the segments.
  std::map<std::string, std::vector<std::byte>> headers_;
  /// One for each fragment of `timeline_`.
  std::vector<Place> places_;
};

}  // namespace host
