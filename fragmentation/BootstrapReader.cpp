#include "fragmentation/BootstrapReader.h"

#include <cstdint>
#include <string>
#include <vector>

#include "fragmentation/BoxHeader.h"
#include "util/StreamReader.h"
#include "util/fourcc.h"

namespace ruvo::k2r {
namespace {

using namespace qvs::util;

constexpr std::uint32_t kUpdateFlag = 1;

// The version is the caller's to judge: that of `abst` is checked, those of the tables inside are not, as foreign files
// have others.
BoxHeader openBox(StreamReader& in, FourCC type) {
  BoxHeader header = readBoxHeader(in);
  if (header.type != type) throw InvalidBootstrapFormat();
  return header;
}

void readTexts(StreamReader& in, std::vector<std::string>& texts) {
  for (int left = in.u8(); left > 0; --left) texts.push_back(in.zeroTerminated());
}

void readSegmentRunTable(StreamReader& in, SegmentRunTable& table) {
  table.update = (openBox(in, "asrt"_4cc).flags & kUpdateFlag) != 0;
  readTexts(in, table.qualityEntries);
  // Entry by entry, without reserve(): the count comes from the file, and a stream does not show how much is left.
  for (std::uint32_t left = in.u32(); left > 0; --left) {
    SegmentRunEntry entry;
    entry.firstSegment = in.u32();
    entry.fragmentsPerSegment = in.u32();
    table.segmentRuns.push_back(entry);
  }
}

FragmentRunEntry readFragmentRun(StreamReader& in) {
  FragmentRunEntry entry;
  entry.firstFragment = in.u32();
  entry.firstTimestamp = in.u64();
  entry.duration = in.u32();
  // The byte exists for duration 0 only; a run is 16 bytes, a marker 17.
  if (entry.isDiscontinuity()) entry.discontinuity = in.u8();
  return entry;
}

void readFragmentRunTable(StreamReader& in, FragmentRunTable& table) {
  table.update = (openBox(in, "afrt"_4cc).flags & kUpdateFlag) != 0;
  table.timescale = in.u32();
  readTexts(in, table.qualityEntries);
  for (std::uint32_t left = in.u32(); left > 0; --left) table.fragmentRuns.push_back(readFragmentRun(in));
}

void readFixedFields(StreamReader& in, BootstrapInfo& info) {
  info.bootstrapVersion = in.u32();
  const std::uint8_t bits = in.u8();
  info.profile = bits >> 6;
  info.live = (bits & 0x20) != 0;
  info.update = (bits & 0x10) != 0;
  info.timescale = in.u32();
  info.currentMediaTime = in.u64();
  info.smpteOffset = in.u64();
}

}  // namespace

void readBootstrap(std::istream& stream, BootstrapInfo& info) {
  StreamReader in(stream);
  if (openBox(in, "abst"_4cc).version != 0) throw InvalidBootstrapFormat();
  readFixedFields(in, info);
  info.movieIdentifier = in.zeroTerminated();
  readTexts(in, info.serverEntries);
  readTexts(in, info.qualityEntries);
  info.drmData = in.zeroTerminated();
  info.metadata = in.zeroTerminated();
  for (int left = in.u8(); left > 0; --left) readSegmentRunTable(in, info.segmentRunTables.emplace_back());
  for (int left = in.u8(); left > 0; --left) readFragmentRunTable(in, info.fragmentRunTables.emplace_back());
}

}  // namespace ruvo::k2r
