#include "server/NQCommandTable.h"

#include <algorithm>
#include <array>

#include "util/asciiCase.h"

namespace {

/// The number of a command is its place. Sorted by `lessInAnyCase`, as the search is binary. The empty name has the
/// number 0, which all unknown names get as well.
constexpr std::array<std::string_view, 23> kCommands = {
    "",           "@getStats",     "closeStream", "connect",       "createStream", "deleteStream",
    "initStream", "loadSegment",   "onMCastJoin", "onStatus",      "pause",        "pauseRaw",
    "play",       "play2",         "publish",     "receiveAudio",  "receiveVideo", "seek",
    "seekRaw",    "setFarAddress", "setPeerInfo", "startTransmit", "stopTransmit",
};

}  // namespace

std::uint32_t commandIdOf(std::string_view name) {
  const auto* const found = std::lower_bound(kCommands.begin(), kCommands.end(), name, qvs::util::lessInAnyCase);
  if (found == kCommands.end() || qvs::util::lessInAnyCase(name, *found)) return 0;
  return static_cast<std::uint32_t>(found - kCommands.begin());
}
