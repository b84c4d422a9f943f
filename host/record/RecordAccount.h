#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "host/record/LossReason.h"
#include "host/record/Tally.h"

namespace host {

/// A session's counts of its stream: what was received, and what of it cannot be in the recording. The files have the
/// final word (RecordSummary); the account has the reasons.
struct RecordAccount {
  /// All messages except metadata and codec configurations.
  Tally received;
  /// Messages that the module's check refused.
  Tally refused;
  /// Those, and all other messages that were lost.
  Tally lost;
  /// The same, and their media time in ms where it is known, by LossReason.
  std::array<Tally, kLossReasons> lostBy;
  std::array<std::uint64_t, kLossReasons> lostMsBy{};
  /// Messages that the user asked to leave out (--tail drop).
  Tally leftOut;
  /// Time of the first message, and the distance from it to the last one, in ms.
  std::optional<std::uint32_t> firstMs;
  std::uint32_t spanMs = 0;
  /// Number of gaps that the queue limit made.
  std::uint64_t gaps = 0;
  /// Total time from which nothing is stored, as far as the session knows.
  std::uint32_t lostMs = 0;
  /// The part of it that is between stored messages.
  std::uint32_t gapMs = 0;
  /// Why the first message was lost, and why the first one was refused; empty if none was.
  std::string reason;
  std::string refusal;

  /// Adds the account of the next recording that was made from the same input.
  RecordAccount& operator+=(const RecordAccount& next) {
    received += next.received;
    refused += next.refused;
    lost += next.lost;
    for (std::size_t i = 0; i < kLossReasons; ++i) {
      lostBy[i] += next.lostBy[i];
      lostMsBy[i] += next.lostMsBy[i];
    }
    gaps += next.gaps;
    leftOut += next.leftOut;
    spanMs += next.spanMs;
    lostMs += next.lostMs;
    gapMs += next.gapMs;
    if (reason.empty()) reason = next.reason;
    if (refusal.empty()) refusal = next.refusal;
    return *this;
  }

  /// `bytes` of the message's data.
  void receive(std::uint64_t bytes) { received.add(bytes); }
  /// `timeMs` is that of a message on the time line of the recording; it may wrap round.
  void seeTime(std::uint32_t timeMs) {
    if (!firstMs) firstMs = timeMs;
    // Signed: a message older than the first one must not make the span 49 days long.
    const auto distance = static_cast<std::int32_t>(timeMs - *firstMs);
    spanMs = std::max(spanMs, static_cast<std::uint32_t>(std::max(distance, 0)));
  }
  /// Counts messages that cannot be in the recording. Only the first reason is kept.
  void lose(LossReason cause, const Tally& messages, const std::string& why) {
    lost += messages;
    lostBy[static_cast<std::size_t>(cause)] += messages;
    if (reason.empty()) reason = why;
  }
  /// A refused message is lost, too; the first reason is kept for the exit status and the summary.
  void refuse(const Tally& messages, const std::string& why) {
    refused += messages;
    if (refusal.empty()) refusal = why;
    lose(LossReason::kRefused, messages, why);
  }
  /// Counts media time of such messages, once for each stretch.
  void loseTime(LossReason cause, std::uint32_t ms) {
    lostMs += ms;
    lostMsBy[static_cast<std::size_t>(cause)] += ms;
  }
};

}  // namespace host
