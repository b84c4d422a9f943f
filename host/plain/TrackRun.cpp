#include "host/plain/TrackRun.h"

#include <bit>

#include "platform/container/reading/fragmentFlags.h"
#include "util/box.h"
#include "util/narrow.h"

namespace host {

using namespace krvo::container;
using qvs::util::ByteReader;
using qvs::util::ByteWriter;
using qvs::util::operator""_4cc;

TrackRun::TrackRun(ByteReader payload, const SampleDefaults& defaults) {
  const auto word = qvs::util::readVersionAndFlags(payload);
  version_ = word.version;
  flags_ = word.flags;
  const std::uint32_t count = payload.u32();
  if ((flags_ & kTrunDataOffset) != 0) dataOffset_ = payload.i32();
  if ((flags_ & kTrunFirstSampleFlags) != 0) firstSampleFlags_ = payload.u32();
  // Before memory is reserved for a count that the file claims.
  payload.need(4ULL * count * static_cast<unsigned>(std::popcount(flags_ & kTrunSampleFields)));
  samples_.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    Sample sample{.duration = defaults.duration, .size = defaults.size};
    if ((flags_ & kTrunDurations) != 0) sample.duration = payload.u32();
    if ((flags_ & kTrunSizes) != 0) sample.size = payload.u32();
    if ((flags_ & kTrunSampleFlags) != 0) sample.flags = payload.u32();
    if ((flags_ & kTrunCompositionOffsets) != 0) sample.compositionOffset = payload.u32();
    samples_.push_back(sample);
  }
}

void TrackRun::setDuration(std::size_t sample, std::uint32_t duration) {
  if (samples_[sample].duration == duration) return;
  // One sample with a duration of its own needs the field in all of them; the others keep the default there.
  flags_ |= kTrunDurations;
  samples_[sample].duration = duration;
}

void TrackRun::setSize(std::size_t sample, std::uint32_t size) {
  if (samples_[sample].size == size) return;
  flags_ |= kTrunSizes;
  samples_[sample].size = size;
}

void TrackRun::write(ByteWriter& out) const {
  // Always with a data offset: without it the run would begin where the one before it ends.
  qvs::util::BoxScope trun(out, "trun"_4cc, version_, flags_ | kTrunDataOffset);
  out.u32(qvs::util::narrow<std::uint32_t>(samples_.size()));
  out.i32(qvs::util::narrow<std::int32_t>(dataOffset_));
  if ((flags_ & kTrunFirstSampleFlags) != 0) out.u32(firstSampleFlags_);
  for (const Sample& sample : samples_) {
    if ((flags_ & kTrunDurations) != 0) out.u32(sample.duration);
    if ((flags_ & kTrunSizes) != 0) out.u32(sample.size);
    if ((flags_ & kTrunSampleFlags) != 0) out.u32(sample.flags);
    if ((flags_ & kTrunCompositionOffsets) != 0) out.u32(sample.compositionOffset);
  }
}

}  // namespace host
