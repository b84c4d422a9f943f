#include "platform/container/OpenFragment.h"

#include <algorithm>
#include <utility>

#include "platform/container/retention.h"

namespace krvo::container {

void OpenFragment::begin(OwnedData abst, std::uint32_t abstLength) {
  clear();  // an attempt that broke off may have added tags, which its caller adds again
  abst_ = std::move(abst);
  abstLength_ = abstLength;
  begun_ = true;
}

void OpenFragment::add(Tag tag, const Samples& samples) {
  const std::size_t lastTrack = samples.media ? std::max(samples.hint.track, samples.media->track) : samples.hint.track;
  // Room in all lists first, so that a tag is in all of them or in none.
  if (samples_.size() <= lastTrack) samples_.resize(lastTrack + 1);
  auto& hintSamples = samples_[samples.hint.track];
  growForOne(hintSamples);
  if (samples.media) growForOne(samples_[samples.media->track]);
  growForOne(accessPoints_);
  growForOne(tags_);
  // From here on nothing throws.
  const auto moved = [this](auto part) {
    part.offset += bytes_;
    return part;
  };
  hintSamples.push_back(moved(samples.hint.sample));
  if (samples.media) samples_[samples.media->track].push_back(moved(samples.media->sample));
  if (samples.accessPoint) accessPoints_.push_back(moved(*samples.accessPoint));
  bytes_ += tag.length;
  tags_.push_back(std::move(tag));
}

void OpenFragment::clear() noexcept {
  begun_ = false;
  abst_ = {};
  abstLength_ = 0;
  releaseMemory(tags_);
  bytes_ = 0;
  for (auto& samples : samples_) releaseMemory(samples);
  releaseMemory(accessPoints_);
}

std::span<const Sample> OpenFragment::samplesOf(std::size_t track) const {
  if (track >= samples_.size()) return {};
  return samples_[track];
}

}  // namespace krvo::container
