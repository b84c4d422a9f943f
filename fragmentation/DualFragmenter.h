#pragma once

#include <cstdint>
#include <optional>

#include "fragmentation/AVFragmenter.h"
#include "fragmentation/AudioFragmenter.h"
#include "fragmentation/Fragmenter.h"

namespace ruvo::k2r {

/// For a new recording whose content is not yet known: runs both fragmenters side by side until the first video sample
/// makes it a video recording, or the first complete audio fragment an audio one. The choice is final: video that comes
/// later than the first audio fragment gets DropSample for the rest of the recording.
class DualFragmenter final : public Fragmenter {
 public:
  /// The arguments go to both fragmenters.
  DualFragmenter(std::uint32_t fragmentDuration, bool dropLeadIn)
      : av_(fragmentDuration, dropLeadIn), audio_(fragmentDuration, dropLeadIn) {}
  /// The copy continues by itself: its choice points into the copy.
  DualFragmenter(const DualFragmenter& other);
  DualFragmenter& operator=(const DualFragmenter&) = delete;
  ~DualFragmenter() = default;

  FragmentDecision addSample(const SampleInfo& sample) override;
  FragmentDecision endOfStream(const SampleInfo& sample) override;
  /// Number of the open fragment in the fragmenter that a sample of this kind would go to; nothing during its lead-in.
  std::optional<std::uint64_t> openNumber(SampleKind next) const;

 private:
  AVFragmenter av_;
  AudioFragmenter audio_;
  /// `av_` or `audio_`; null until the stream has shown what it is.
  Fragmenter* chosen_ = nullptr;
};

}  // namespace ruvo::k2r
