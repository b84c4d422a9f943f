#pragma once

#include <cstdint>
#include <string>

#include "host/serve/play/PlayedRecording.h"

namespace host::serve {

/// A fragment in a playlist. Once it was in one that grows, it stays as it is.
struct PlaylistEntry {
  /// Relative to the folder of its stream.
  std::string address;
  HeaderPointer header;
  std::int64_t wallMs = 0;
  /// As EXTINF says it.
  std::uint64_t durationMs = 0;
  /// Whether it needs another header than the entry before.
  bool isDiscontinuous = false;

  /// EXT-X-DISCONTINUITY and EXT-X-MAP if it is discontinuous, EXT-X-PROGRAM-DATE-TIME if `dated`, EXTINF and address.
  std::string text(bool dated) const;
};

/// The entry of a fragment that starts at `placeMs` of the view. `next` is the fragment after it in the view, null if
/// it is not known: last samples then keep their stored durations, except that none is 0, and EXTINF is an estimate.
PlaylistEntry makeEntry(const PlayedFragment& fragment, std::uint64_t placeMs, const PlayedFragment* next);

/// The line that sets a header.
std::string mapLine(const StoredHeader& header);

/// A media sequence number for a list that begins at that time: it rises with the time and fits in 31 bits until 2043,
/// which is as much as some players read.
std::uint64_t sequenceAt(std::int64_t wallMs);

}  // namespace host::serve
