#include "host/verify/FragmentCheck.h"

#include "host/files/Malformed.h"
#include "host/files/imageFields.h"
#include "host/files/smallFiles.h"
#include "host/verify/accessCheck.h"
#include "host/verify/bootstrapForm.h"
#include "host/verify/moofForm.h"
#include "host/verify/sampleCheck.h"
#include "host/verify/tagCheck.h"
#include "platform/container/reading/SegmentError.h"
#include "platform/container/reading/fragmentReader.h"
#include "platform/container/reading/moofReader.h"

namespace host {

using krvo::container::BoxSpan;
using krvo::container::FragmentBoxes;
using krvo::container::SegmentError;
using krvo::container::StoredSample;

namespace {

/// Calls `read`. If a box is malformed, reports that and returns nothing.
template <typename Read>
auto tryRead(const FileFindings& out, Read read) -> std::optional<decltype(read())> {
  try {
    return read();
  } catch (const Malformed& error) {
    out.damage(error.offset(), error.what());
  } catch (const SegmentError& error) {
    out.damage(error.offset(), error.fault());
  }
  return std::nullopt;
}

std::optional<ruvo::k2r::BootstrapInfo> takeBootstrap(const SegmentContext& segment, const BoxSpan& box) {
  const auto bytes = loadBox(segment.file, box);
  auto info = parseBootstrap(bytes, box.offset);
  if (!checkBootstrapForm(bytes, info, box.offset, segment.out)) return std::nullopt;
  return info;
}

ruvo::k2r::AfraIndex takeAfra(const SegmentContext& segment, const BoxSpan& box) {
  const auto bytes = loadBox(segment.file, box);
  auto afra = parseAfra(bytes, box.offset);
  if (const auto place = firstDifference(imageOf(afra), bytes)) {
    throw Malformed(box.offset + *place, fieldNameAt(afra, *place) + ": not as a recorder writes it");
  }
  // The image can be consistent and still not be a recorder's: other widths, or entries that only index files have.
  const ruvo::k2r::AfraIndex fresh;
  if (afra.longIds != fresh.longIds || afra.longOffsets != fresh.longOffsets || afra.timescale != fresh.timescale ||
      !afra.globalEntries.empty()) {
    throw Malformed(box.offset + kSizesByte, "sizes byte or timescale: not as a recorder writes it");
  }
  return afra;
}

}  // namespace

FragmentContent checkFragment(SegmentContext& segment, const FragmentBoxes& boxes) {
  const FileFindings& out = segment.out;
  FragmentContent content;
  content.boxes = boxes;
  const auto afra = tryRead(out, [&] { return takeAfra(segment, boxes.afra); });
  if (auto bootstrap = tryRead(out, [&] { return takeBootstrap(segment, boxes.abst); })) {
    content.bootstrap = *std::move(bootstrap);
  }
  content.sequenceNumber = tryRead(out, [&] { return readSequenceNumber(segment.file, boxes.moof); });
  content.tracks = tryRead(out, [&] {
    checkMoofForm(segment, boxes.moof);
    return readTrackFragments(segment.file, boxes, segment.movie);
  });
  // Before the tags, since the sizes of the hint samples decide where a tag ends if its header is wrong.
  const std::vector<StoredSample> hints = hintSamples(segment, content);
  content.tags = checkTags(segment, boxes.mdat, hints);
  checkTagContents(segment, content.tags);
  if (content.tracks) {
    correctTagTimes(segment, hints, content.tags);
    checkSamples(segment, content);
  } else {
    segment.lastTimes.reset();
  }
  checkTagOrder(segment, content.tags);
  if (afra) checkAccessEntries(segment, content, *afra);
  return content;
}

}  // namespace host
