#include "fragmentation/DualFragmenter.h"

namespace ruvo::k2r {

// Not the default: `chosen_` points into the object, and a copied pointer would drive the original's fragmenter.
DualFragmenter::DualFragmenter(const DualFragmenter& other) : Fragmenter(other), av_(other.av_), audio_(other.audio_) {
  if (other.chosen_ == &other.av_) chosen_ = &av_;
  if (other.chosen_ == &other.audio_) chosen_ = &audio_;
}

FragmentDecision DualFragmenter::addSample(const SampleInfo& sample) {
  if (chosen_ == nullptr && sample.kind == SampleKind::Video) chosen_ = &av_;
  if (chosen_ != nullptr) return chosen_->addSample(sample);

  // The decision for video is dropped, but its state has to follow: if it is chosen later, its lead-in began here.
  av_.addSample(sample);
  const FragmentDecision decision = audio_.addSample(sample);
  if (decision.action == FragmentAction::WriteFragment) chosen_ = &audio_;
  return decision;
}

FragmentDecision DualFragmenter::endOfStream(const SampleInfo& sample) {
  if (chosen_ == nullptr) {
    chosen_ = sample.kind == SampleKind::Video ? static_cast<Fragmenter*>(&av_) : &audio_;
  }
  return chosen_->endOfStream(sample);
}

std::optional<std::uint64_t> DualFragmenter::openNumber(SampleKind next) const {
  const bool isVideo = chosen_ == nullptr ? next == SampleKind::Video : chosen_ == &av_;
  return isVideo ? av_.openNumber() : audio_.openNumber();
}

}  // namespace ruvo::k2r
