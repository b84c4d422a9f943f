#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host::serve {

/// The last part of a fragment's address. Recording and address decide each byte of the fragment:
///
///     <number>-<place>.m4s                     its last samples last until the next fragment of the same recording
///     <number>-<place>-<duration>-....m4s      the last sample of each of its tracks lasts as said
///
/// The second form is for a fragment that has no successor in its recording: it is the last one, or was the newest when
/// it was listed. So no bytes depend on another recording, which may come later or go earlier ("An address of a played
/// fragment decides each of its bytes" in docs/decisions.md).
struct FragmentAddress {
  std::uint32_t number = 0;
  /// Start of the fragment on the time line of the view, in ms.
  std::uint64_t placeMs = 0;
  /// One for each track, in the order of the fragment, in the track's timescale; or none.
  std::vector<std::uint32_t> lastDurations = {};

  std::string text() const;
  /// Number of the `moof` (ISO/IEC 14496-12, 8.8.5). It rises over a view, and comes round after some two years.
  std::uint32_t sequenceNumber() const;

  bool operator==(const FragmentAddress&) const = default;
};

/// Nothing if the text is not exactly what FragmentAddress::text() makes.
std::optional<FragmentAddress> parseFragmentAddress(std::string_view text);

}  // namespace host::serve
