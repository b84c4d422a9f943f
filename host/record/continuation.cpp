#include "host/record/continuation.h"

#include <algorithm>

#include "fragmentation/FragmentationConfig.h"
#include "host/files/RecordingDirectory.h"
#include "host/files/smallFiles.h"

namespace host {
namespace {

/// The number of the last fragment in the index of the last segment; 0 where there is none. The index is written ahead
/// of the bootstrap, and may know one more.
std::uint64_t lastIndexedFragment(const RecordingDirectory& directory) {
  if (directory.indexes.empty()) return 0;
  const auto name = directory.indexName(*directory.indexes.rbegin());
  const auto index = parseAfra(readSmallFile(directory.pathOf(name)));
  return index.globalEntries.empty() ? 0 : index.globalEntries.back().fragment;
}

}  // namespace

std::optional<std::uint32_t> continuationTime(const OutputDirectory& place, IMOStreamOpenContext& settings) {
  const RecordingDirectory directory = readRecordingDirectory(place.native());
  if (!directory.hasBootstrap) return std::nullopt;
  const auto bootstrap = parseBootstrap(readSmallFile(directory.pathOf(directory.bootstrapName())));
  const std::uint64_t gridMs = ruvo::k2r::readFragmentationConfig(settings).fragmentDuration;
  const std::uint64_t endMs = std::max(bootstrap.currentMediaTime, lastIndexedFragment(directory) * gridMs);
  return static_cast<std::uint32_t>((endMs + gridMs - 1) / gridMs * gridMs);  // Timestamps run over 32 bits.
}

}  // namespace host
