#include "host/serve/media/SampleTable.h"

#include <algorithm>

#include "util/box.h"
#include "util/narrow.h"

namespace host::serve {

using qvs::util::BoxScope;
using qvs::util::ByteWriter;
using qvs::util::narrow;
using qvs::util::operator""_4cc;

void SampleTable::append(std::vector<Run>& runs, std::uint32_t value) {
  if (runs.empty() || runs.back().value != value) runs.push_back({.count = 0, .value = value});
  ++runs.back().count;
}

void SampleTable::add(const Sample& sample) {
  if (!sizes_.empty()) {
    append(durations_, static_cast<std::uint32_t>(narrow<std::int32_t>(sample.decodeTime - end_)));
  }
  end_ = sample.decodeTime;
  append(offsets_, static_cast<std::uint32_t>(sample.compositionOffset));
  negativeOffsets_ = negativeOffsets_ || sample.compositionOffset < 0;
  append(descriptions_, sample.description);
  sizes_.push_back(sample.size);
  positions_.push_back(sample.position);
  if (sample.sync) syncSamples_.push_back(narrow<std::uint32_t>(sizes_.size()));
}

void SampleTable::finish(std::uint32_t lastDuration) {
  append(durations_, lastDuration);
  end_ += lastDuration;
}

void SampleTable::writeRuns(ByteWriter& out, const std::vector<Run>& runs) {
  out.u32(narrow<std::uint32_t>(runs.size()));
  for (const Run& run : runs) {
    out.u32(run.count);
    out.u32(run.value);
  }
}

void SampleTable::writeCompositionOffsets(ByteWriter& out) const {
  const bool allZero = std::all_of(offsets_.begin(), offsets_.end(), [](const Run& run) { return run.value == 0; });
  if (allZero) return;
  // Version 0 unless an offset has a sign, since some players read nothing else.
  const BoxScope ctts(out, "ctts"_4cc, negativeOffsets_ ? 1 : 0, 0);
  writeRuns(out, offsets_);
}

void SampleTable::writeSyncSamples(ByteWriter& out) const {
  if (syncSamples_.size() == sizes_.size()) return;
  const BoxScope stss(out, "stss"_4cc, 0, 0);
  out.u32(narrow<std::uint32_t>(syncSamples_.size()));
  for (const std::uint32_t number : syncSamples_) out.u32(number);
}

void SampleTable::writeChunks(ByteWriter& out) const {
  const BoxScope stsc(out, "stsc"_4cc, 0, 0);
  out.u32(narrow<std::uint32_t>(descriptions_.size()));
  std::uint32_t chunk = 1;
  for (const Run& run : descriptions_) {
    out.u32(chunk);
    out.u32(1);  // samples in each chunk
    out.u32(run.value);
    chunk += run.count;
  }
}

void SampleTable::writeSizes(ByteWriter& out) const {
  const BoxScope stsz(out, "stsz"_4cc, 0, 0);
  out.u32(0);  // the size that all samples share
  out.u32(narrow<std::uint32_t>(sizes_.size()));
  for (const std::uint32_t size : sizes_) out.u32(size);
}

void SampleTable::write(ByteWriter& out, std::uint64_t mediaOffset, bool longOffsets) const {
  {
    const BoxScope stts(out, "stts"_4cc, 0, 0);
    writeRuns(out, durations_);
  }
  writeCompositionOffsets(out);
  writeSyncSamples(out);
  writeChunks(out);
  writeSizes(out);
  const BoxScope offsets(out, longOffsets ? "co64"_4cc : "stco"_4cc, 0, 0);
  out.u32(narrow<std::uint32_t>(positions_.size()));
  for (const std::uint64_t position : positions_) {
    if (longOffsets) {
      out.u64(mediaOffset + position);
    } else {
      out.u32(narrow<std::uint32_t>(mediaOffset + position));
    }
  }
}

}  // namespace host::serve
