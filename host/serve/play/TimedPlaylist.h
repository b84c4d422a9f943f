#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/serve/play/PlayedRecording.h"

namespace host::serve {

/// The playlist of a given time.
class TimedPlaylist {
 public:
  /// `fragments` in the order in which they play; `fragmentMs` is what one should last.
  TimedPlaylist(std::vector<PlayedFragment> fragments, std::uint64_t fragmentMs)
      : fragments_(std::move(fragments)), fragmentMs_(fragmentMs) {}

  /// Up to which time of day it goes, in ms since 1970-01-01 UTC; 0 if it is empty.
  std::int64_t endMs() const;
  /// While it grows, its lines from EXT-X-MAP on stay, and new ones come after them; the target duration may rise. It
  /// then lacks the last fragment if what follows it is not known yet, and has no end. Nothing if no fragment is left.
  std::optional<std::string> text(bool grows) const;

 private:
  std::vector<PlayedFragment> fragments_;
  std::uint64_t fragmentMs_;
};

}  // namespace host::serve
