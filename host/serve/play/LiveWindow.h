#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "host/serve/play/PlaylistEntry.h"

namespace host::serve {

/// The live playlist of a stream: a window over its newest fragments that only moves forward. An entry never changes.
/// Sequence numbers begin from the clock, so that they rise over restarts without a file that keeps them. Belongs to
/// one thread at a time.
class LiveWindow {
 public:
  /// The window has at least so many fragments, and so much time, if there are any.
  static constexpr std::size_t kLeastFragments = 6;
  static constexpr std::uint64_t kLeastMs = 60000;

  bool empty() const { return entries_.empty(); }
  /// The newest fragment, as it was when it was added, alone. Not if the window is empty.
  const PlayedFragment& newest() const { return *newest_; }

  /// Begins again with these fragments, as after a restart of the process: with numbers above all of before. There is
  /// at least one. `fragmentMs` is what a fragment should last.
  void restart(const std::vector<PlayedFragment>& fragments, std::int64_t nowMs, std::uint64_t fragmentMs);
  /// Adds the fragments that come after newest(), and drops old ones.
  void append(const std::vector<PlayedFragment>& fragments);
  const std::string& playlist() const { return text_; }

 private:
  void add(const PlayedFragment& fragment, const PlayedFragment* next);
  void dropOld();
  std::string makeText() const;

  std::deque<PlaylistEntry> entries_;
  /// Sum of their durations.
  std::uint64_t lengthMs_ = 0;
  std::optional<PlayedFragment> newest_;
  /// Of newest().
  std::uint64_t placeMs_ = 0;
  /// Of the first entry.
  std::uint64_t mediaSequence_ = 0;
  std::uint64_t discontinuitySequence_ = 0;
  /// Seconds; never falls.
  std::uint64_t targetDuration_ = 1;
  std::string text_;
};

}  // namespace host::serve
