#include "host/inspect/describeSmallFiles.h"

#include <fmt/format.h>

namespace host {
namespace {

using ruvo::k2r::AfraEntry;
using ruvo::k2r::BootstrapInfo;
using ruvo::k2r::FragmentRunEntry;

/// A run without a duration is a marker; its `discontinuity` says of what.
std::string meaningOf(const FragmentRunEntry& run) {
  if (!run.isDiscontinuity()) return fmt::format("fragments from {} on", run.firstFragment);
  if (run.isEndOfPresentation()) return "end of the presentation";
  if (run.isFragmentGap() && run.isTimestampGap()) return "no fragments, and a gap in time";
  if (run.isFragmentGap()) return "numbers without a fragment of their own";
  if (run.isTimestampGap()) return "a gap in time";
  return "unknown discontinuity";
}

const char* meaningOf(const AfraEntry& entry) {
  if (entry.afraOffset == ruvo::k2r::kHeldFragmentOffset) return "announced, not written yet";
  return entry.isWritten() ? "fragment" : "no fragment of its own";
}

Json describeTable(const ruvo::k2r::SegmentRunTable& table) {
  Json runs = Json::array();
  for (const auto& run : table.segmentRuns) {
    runs.push_back({{"firstSegment", run.firstSegment}, {"fragmentsPerSegment", run.fragmentsPerSegment}});
  }
  return {{"update", table.update}, {"qualityEntries", table.qualityEntries}, {"segmentRuns", std::move(runs)}};
}

Json describeTable(const ruvo::k2r::FragmentRunTable& table) {
  Json runs = Json::array();
  for (const FragmentRunEntry& run : table.fragmentRuns) {
    runs.push_back({{"firstFragment", run.firstFragment},
                    {"firstTimestamp", run.firstTimestamp},
                    {"duration", run.duration},
                    // The field exists in the box only for runs of duration 0.
                    {"discontinuity", run.isDiscontinuity() ? Json(run.discontinuity) : Json()},
                    {"meaning", meaningOf(run)}});
  }
  return {{"update", table.update},
          {"timescale", table.timescale},
          {"qualityEntries", table.qualityEntries},
          {"fragmentRuns", std::move(runs)}};
}

template <typename Table>
/// The boxes may have several tables of each kind, for qualities; a recorder writes one.
Json describeTables(const std::vector<Table>& tables) {
  Json list = Json::array();
  for (const Table& table : tables) list.push_back(describeTable(table));
  return list;
}

}  // namespace

Json describeBootstrap(const BootstrapInfo& info) {
  return {{"bootstrapVersion", info.bootstrapVersion},
          {"profile", info.profile},
          {"live", info.live},
          {"update", info.update},
          {"timescale", info.timescale},
          {"currentMediaTime", info.currentMediaTime},
          {"smpteOffset", info.smpteOffset},
          {"movieIdentifier", info.movieIdentifier},
          {"serverEntries", info.serverEntries},
          {"qualityEntries", info.qualityEntries},
          {"drmData", info.drmData},
          {"metadata", info.metadata},
          {"segmentRunTables", describeTables(info.segmentRunTables)},
          {"fragmentRunTables", describeTables(info.fragmentRunTables)}};
}

Json describeAccessEntries(const ruvo::k2r::AfraIndex& index) {
  Json entries = Json::array();
  for (const AfraEntry& entry : index.localEntries) entries.push_back({{"time", entry.time}, {"offset", entry.offset}});
  return entries;
}

Json describeIndex(const ruvo::k2r::AfraIndex& index) {
  Json entries = Json::array();
  for (const AfraEntry& entry : index.globalEntries) {
    entries.push_back({{"fragment", entry.fragment},
                       {"segment", entry.segment},
                       {"time", entry.time},
                       {"position", entry.afraOffset},
                       {"offsetInside", entry.offsetFromAfra},
                       {"meaning", meaningOf(entry)}});
  }
  return {{"longIds", index.longIds},
          {"longOffsets", index.longOffsets},
          {"timescale", index.timescale},
          {"localEntries", describeAccessEntries(index)},
          {"globalEntries", std::move(entries)}};
}

}  // namespace host
