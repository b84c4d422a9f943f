#include "server/NQCommandTable.h"

#include <algorithm>
#include <array>
#include <boost/algorithm/string/predicate.hpp>
#include <locale>

namespace {

/// A command's number is its place. In the order of `isLess`.
constexpr std::array<std::string_view, 23> kCommands = {
    "",           "@getStats",     "closeStream", "connect",       "createStream", "deleteStream",
    "initStream", "loadSegment",   "onMCastJoin", "onStatus",      "pause",        "pauseRaw",
    "play",       "play2",         "publish",     "receiveAudio",  "receiveVideo", "seek",
    "seekRaw",    "setFarAddress", "setPeerInfo", "startTransmit", "stopTransmit",
};

bool isLess(std::string_view left, std::string_view right) {
  return boost::algorithm::ilexicographical_compare(left, right, std::locale::classic());
}

}  // namespace

std::uint32_t commandIdOf(std::string_view name) {
  const auto* const found = std::lower_bound(kCommands.begin(), kCommands.end(), name, isLess);
  if (found == kCommands.end() || isLess(name, *found)) return 0;
  return static_cast<std::uint32_t>(found - kCommands.begin());
}
