#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

#include "host/record/Tally.h"

namespace host {

/// What a session knows of its stream: what came, and what of it cannot be in the recording.
struct RecordAccount {
  /// All but metadata and codec configurations.
  Tally received;
  /// By the module's check, before anything was done with them.
  Tally refused;
  /// These, and what else was lost on the way.
  Tally lost;
  /// What the user asked to be left out.
  Tally leftOut;
  /// The first and the last time that was received.
  std::optional<std::uint32_t> firstMs;
  std::uint32_t spanMs = 0;
  /// Stretches of which nothing is stored, as far as the session knows of them.
  std::uint32_t lostMs = 0;
  /// Those between messages that are stored.
  std::uint32_t gapMs = 0;
  /// Why the first message was lost.
  std::string reason;
  std::string refusal;

  /// Adds what came of the next recording of the same input.
  RecordAccount& operator+=(const RecordAccount& next) {
    received += next.received;
    refused += next.refused;
    lost += next.lost;
    leftOut += next.leftOut;
    spanMs += next.spanMs;
    lostMs += next.lostMs;
    gapMs += next.gapMs;
    if (reason.empty()) reason = next.reason;
    if (refusal.empty()) refusal = next.refusal;
    return *this;
  }

  void receive(std::uint64_t bytes) { received.add(bytes); }
  void seeTime(std::uint32_t timeMs) {
    if (!firstMs) firstMs = timeMs;
    const auto distance = static_cast<std::int32_t>(timeMs - *firstMs);
    spanMs = std::max(spanMs, static_cast<std::uint32_t>(std::max(distance, 0)));
  }
  void lose(const Tally& messages, const std::string& why) {
    lost += messages;
    if (reason.empty()) reason = why;
  }
  void refuse(const Tally& messages, const std::string& why) {
    refused += messages;
    if (refusal.empty()) refusal = why;
    lose(messages, why);
  }
};

}  // namespace host
