#pragma once

#include <cstdint>
#include <optional>
#include <variant>

#include "fragmentation/AVFragmenter.h"
#include "fragmentation/AudioFragmenter.h"
#include "fragmentation/DualFragmenter.h"

namespace ruvo::k2r {

/// Owns the fragmenter of one recording, of the class that the recording needs. A copy continues by itself from the
/// same state, so that a host can try out messages on it. Belongs to the thread that records the stream.
class FragmenterChoice {
 public:
  /// For a recording without prior content. `fragmentDuration` in milliseconds, not 0.
  void makeForNew(std::uint32_t fragmentDuration);
  /// For a reopened recording; `hasVideo` says whether any stored track has the handler type `vide`. Unlike a new
  /// recording it cannot change its kind. The fragmenter starts from nothing: the lead-in rules apply again.
  void makeForAppend(std::uint32_t fragmentDuration, bool hasVideo);

  /// Null before the first of the calls above; a view that the next of these calls invalidates.
  Fragmenter* get();
  /// Number of the fragment that is open when a sample of this kind comes: the lowest number that a later decision can
  /// name. Nothing before a sample has fixed one.
  std::optional<std::uint64_t> openNumber(SampleKind next) const;

 private:
  std::variant<std::monostate, DualFragmenter, AVFragmenter, AudioFragmenter> owned_;
};

}  // namespace ruvo::k2r
