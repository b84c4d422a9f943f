#pragma once

#include <cstdint>
#include <optional>
#include <variant>

#include "fragmentation/AVFragmenter.h"
#include "fragmentation/AudioFragmenter.h"
#include "fragmentation/DualFragmenter.h"

namespace ruvo::k2r {

/// Owns the fragmenter of one recording, of the class that the recording needs. A copy goes on by itself from the same
/// state.
class FragmenterChoice {
 public:
  /// For a recording without prior content. `fragmentDuration` in milliseconds, not 0.
  void makeForNew(std::uint32_t fragmentDuration);
  /// For a reopened recording; `hasVideo` tells whether any of its tracks has the handler type `vide`.
  void makeForAppend(std::uint32_t fragmentDuration, bool hasVideo);

  /// Null until one of the above; a view that the next of them ends.
  Fragmenter* get();
  /// Number of the fragment that is open when a sample of this kind comes, which is the lowest number that a later
  /// decision can name. Nothing while no sample has fixed one.
  std::optional<std::uint64_t> openNumber(SampleKind next) const;

 private:
  std::variant<std::monostate, DualFragmenter, AVFragmenter, AudioFragmenter> owned_;
};

}  // namespace ruvo::k2r
