#include "fragmentation/BootstrapWriter.h"

#include <optional>
#include <string>
#include <vector>

#include "fragmentation/writeBytes.h"
#include "util/box.h"
#include "util/fourcc.h"
#include "util/narrow.h"

namespace ruvo::k2r {
namespace {

using namespace qvs::util;

void appendText(ByteWriter& out, const std::string& text) {
  // By c_str(): a zero byte inside would end the text for the reader, and shift all that follows.
  out.text(text.c_str());
  out.u8(0);
}

void appendTexts(ByteWriter& out, const std::vector<std::string>& texts) {
  out.u8(narrow<std::uint8_t>(texts.size()));
  for (const std::string& text : texts) appendText(out, text);
}

void appendSegmentRunTable(ByteWriter& out, const SegmentRunTable& table) {
  const BoxScope box(out, "asrt"_4cc, 0, table.update ? 1 : 0);
  appendTexts(out, table.qualityEntries);
  out.u32(narrow<std::uint32_t>(table.segmentRuns.size()));
  for (const SegmentRunEntry& entry : table.segmentRuns) {
    out.u32(entry.firstSegment);
    out.u32(entry.fragmentsPerSegment);
  }
}

void appendFragmentRunTable(ByteWriter& out, const FragmentRunTable& table) {
  const BoxScope box(out, "afrt"_4cc, 0, table.update ? 1 : 0);
  out.u32(table.timescale);
  appendTexts(out, table.qualityEntries);
  out.u32(narrow<std::uint32_t>(table.fragmentRuns.size()));
  for (const FragmentRunEntry& entry : table.fragmentRuns) {
    out.u32(entry.firstFragment);
    out.u64(entry.firstTimestamp);
    out.u32(entry.duration);
    // Only a marker has the byte; a run with one would shift all entries after it.
    if (entry.isDiscontinuity()) out.u8(static_cast<std::uint8_t>(entry.discontinuity));
  }
}

}  // namespace

void appendBootstrap(ByteWriter& out, const BootstrapInfo& info, bool bodyOnly) {
  std::optional<BoxScope> box;
  if (!bodyOnly) box.emplace(out, "abst"_4cc, std::uint8_t{0}, 0U);
  out.u32(info.bootstrapVersion);
  out.u8(static_cast<std::uint8_t>(info.profile * 64 + (info.live ? 32 : 0) + (info.update ? 16 : 0)));
  out.u32(info.timescale);
  out.u64(info.currentMediaTime);
  out.u64(info.smpteOffset);
  appendText(out, info.movieIdentifier);
  appendTexts(out, info.serverEntries);
  appendTexts(out, info.qualityEntries);
  appendText(out, info.drmData);
  appendText(out, info.metadata);
  out.u8(narrow<std::uint8_t>(info.segmentRunTables.size()));
  for (const SegmentRunTable& table : info.segmentRunTables) appendSegmentRunTable(out, table);
  out.u8(narrow<std::uint8_t>(info.fragmentRunTables.size()));
  for (const FragmentRunTable& table : info.fragmentRunTables) appendFragmentRunTable(out, table);
}

std::uint64_t writeBootstrap(std::ostream& out, const BootstrapInfo& info, bool bodyOnly) {
  ByteWriter image;
  appendBootstrap(image, info, bodyOnly);
  writeBytes(out, image.bytes());
  return image.size();
}

}  // namespace ruvo::k2r
