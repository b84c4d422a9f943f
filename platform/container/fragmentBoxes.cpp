#include "platform/container/fragmentBoxes.h"

#include "platform/container/reading/fragmentFlags.h"
#include "util/box.h"
#include "util/narrow.h"

namespace krvo::container {
namespace {

using qvs::util::BoxScope;
using qvs::util::ByteWriter;
using qvs::util::narrow;

/// `firstTag` is the offset of the first tag from the start of the `afra`, from which its entries count.
void writeAfra(ByteWriter& out, std::span<const AccessPoint> points, std::uint64_t firstTag) {
  BoxScope afra(out, "afra"_4cc, 0, 0);
  out.u8(kAfraLongIdsAndOffsets);
  out.u32(kAfraTimescale);
  out.u32(narrow<std::uint32_t>(points.size()));
  for (const AccessPoint& point : points) {
    out.u64(point.time);
    out.u64(firstTag + point.offset);
  }
}

void writeTfhd(ByteWriter& out, const TrafPlan& traf) {
  BoxScope tfhd(out, "tfhd"_4cc, 0, traf.tfhdFlags);
  out.u32(traf.track->id);
  if ((traf.tfhdFlags & kTfhdDescriptionIndex) != 0) out.u32(traf.track->selectedDescription);
  if ((traf.tfhdFlags & kTfhdDefaultDuration) != 0) out.u32(traf.defaultDuration);
  if ((traf.tfhdFlags & kTfhdDefaultSize) != 0) out.u32(traf.defaultSize);
  // Most video samples are no sync samples, and all others are: a `trun` of video overrides the flags of its first one.
  out.u32(traf.track->isVideo() ? kNonSyncSampleFlags : kSyncSampleFlags);
}

void writeTfdt(ByteWriter& out, const TrafPlan& traf) {
  // Always with 64 bits, so that the size of the box does not depend on the time.
  BoxScope tfdt(out, "tfdt"_4cc, 1, 0);
  out.u64(traf.samples.front().time);
}

/// `firstTag` is the offset of the first tag from the start of the `moof`.
void writeTrun(ByteWriter& out, const TrafPlan& traf, const RunPlan& run, std::uint64_t firstTag) {
  // Version 1: composition offsets are signed.
  const std::uint8_t version = (run.flags & kTrunCompositionOffsets) != 0 ? 1 : 0;
  BoxScope trun(out, "trun"_4cc, version, run.flags);
  out.u32(narrow<std::uint32_t>(run.count));
  out.i32(narrow<std::int32_t>(firstTag + traf.samples[run.first].offset));
  if ((run.flags & kTrunFirstSampleFlags) != 0) out.u32(kSyncSampleFlags);
  for (std::size_t i = run.first; i < run.first + run.count; ++i) {
    if ((run.flags & kTrunDurations) != 0) out.u32(traf.duration(i));
    if ((run.flags & kTrunSizes) != 0) out.u32(traf.samples[i].size);
    if ((run.flags & kTrunCompositionOffsets) != 0) out.i32(traf.samples[i].compositionOffset);
  }
}

void writeMoof(ByteWriter& out, const FragmentPlan& plan, std::uint32_t sequenceNumber) {
  const std::uint64_t firstTag = plan.boxesSize() - plan.moofOffset();
  BoxScope moof(out, "moof"_4cc);
  {
    BoxScope mfhd(out, "mfhd"_4cc, 0, 0);
    out.u32(sequenceNumber);
  }
  for (const TrafPlan& traf : plan.trafs()) {
    BoxScope box(out, "traf"_4cc);
    writeTfhd(out, traf);
    writeTfdt(out, traf);
    for (const RunPlan& run : traf.runs) writeTrun(out, traf, run, firstTag);
  }
}

}  // namespace

void writeFragmentBoxes(ByteWriter& out, const FragmentPlan& plan, const OpenFragment& fragment,
                        std::uint32_t sequenceNumber) {
  writeAfra(out, fragment.accessPoints(), plan.boxesSize());
  {
    BoxScope abst(out, "abst"_4cc, 0, 0);
    out.bytes(fragment.abst());
  }
  writeMoof(out, plan, sequenceNumber);
  writeSizeAndType(out, "mdat"_4cc, plan.mdatSize());
}

}  // namespace krvo::container
