#pragma once

#include <cstdint>
#include <optional>

#include "fragmentation/AVFragmenter.h"
#include "fragmentation/AudioFragmenter.h"
#include "fragmentation/Fragmenter.h"

namespace ruvo::k2r {

/// For a new recording whose content is not yet known: runs both machines side by side until the first video sample
/// makes it a video recording, or the first complete audio fragment an audio one.
class DualFragmenter final : public Fragmenter {
 public:
  /// The arguments of both machines.
  DualFragmenter(std::uint32_t fragmentDuration, bool dropLeadIn)
      : av_(fragmentDuration, dropLeadIn), audio_(fragmentDuration, dropLeadIn) {}
  /// The copy goes on by itself: its choice points into the copy.
  DualFragmenter(const DualFragmenter& other);
  DualFragmenter& operator=(const DualFragmenter&) = delete;
  ~DualFragmenter() = default;

  FragmentDecision addSample(const SampleInfo& sample) override;
  FragmentDecision endOfStream(const SampleInfo& sample) override;
  /// The open fragment's number in the machine that a sample of this kind goes to.
  std::optional<std::uint64_t> openNumber(SampleKind next) const;

 private:
  AVFragmenter av_;
  AudioFragmenter audio_;
  /// `av_` or `audio_`; null until the stream has shown what it is.
  Fragmenter* chosen_ = nullptr;
};

}  // namespace ruvo::k2r
