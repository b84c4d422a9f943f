#include "host/record/RecordSummary.h"

#include <fmt/format.h>

#include <algorithm>

namespace host {
namespace {

constexpr double kMsPerSecond = 1000.0;

std::uint64_t difference(std::uint64_t from, std::uint64_t what) {
  return from - std::min(from, what);
}

std::string text(std::uint32_t timeMs, const Tally& tally) {
  return fmt::format("{:.3f} s, {} messages, {} bytes", timeMs / kMsPerSecond, tally.messages, tally.bytes);
}

Json json(std::uint32_t timeMs, const Tally& tally) {
  return {{"seconds", timeMs / kMsPerSecond}, {"messages", tally.messages}, {"bytes", tally.bytes}};
}

}  // namespace

RecordSummary& RecordSummary::operator+=(const RecordSummary& next) {
  account += next.account;
  stored += next.stored;
  errors += next.errors;
  if (firstError.empty()) firstError = next.firstError;
  if (!inputFailure) inputFailure = next.inputFailure;
  return *this;
}

Tally RecordSummary::lost() const {
  const Tally& received = account.received;
  Tally missing{.messages = difference(received.messages, stored.messages.messages + account.leftOut.messages),
                .bytes = difference(received.bytes, stored.messages.bytes + account.leftOut.bytes)};
  // Cipher text has another length, so that the session's word has to do.
  if (stored.isProtected || missing.messages == 0) missing.bytes = missing.messages == 0 ? 0 : account.lost.bytes;
  return missing;
}

std::uint32_t RecordSummary::lostMs() const {
  // Without a lost message a difference of the spans is rounding.
  if (lost().messages == 0) return 0;
  // What was left out as asked is in no file either.
  if (account.leftOut.messages != 0) return account.lostMs;
  return static_cast<std::uint32_t>(difference(account.spanMs, difference(stored.spanMs, account.gapMs)));
}

std::string RecordSummary::reason() const {
  if (!stored.unread.empty()) return "what is stored could not be read back: " + stored.unread;
  if (lost().messages != 0)
    return account.reason.empty() ? "the module took it, and the files lack it" : account.reason;
  if (!stored.hasFragments && account.leftOut.messages == 0) return "nothing came that could be recorded";
  return stored.unfinished;
}

ExitStatus RecordSummary::status() const {
  // First: a supervisor restarts the command by this status, whatever is missing.
  if (inputFailure) return ExitStatus::kFailed;
  if (!stored.unread.empty()) return ExitStatus::kIncomplete;
  const std::uint64_t missing = lost().messages;
  // Refused messages have another status, since the rest of the recording is as it should be.
  const bool onlyRefused = missing != 0 && missing == account.refused.messages && stored.unfinished.empty();
  if (!reason().empty() && !(onlyRefused && stored.hasFragments)) return ExitStatus::kIncomplete;
  return missing != 0 || errors != 0 ? ExitStatus::kFlawed : ExitStatus::kOk;
}

std::string summaryLine(const RecordSummary& summary) {
  const RecordAccount& account = summary.account;
  std::string line = fmt::format("received {}; ", text(account.spanMs, account.received));
  if (!summary.stored.unread.empty()) return line + summary.reason();
  line += fmt::format("stored {}; ", text(summary.stored.spanMs, summary.stored.messages));
  if (account.leftOut.messages != 0) line += fmt::format("left out {} messages as asked; ", account.leftOut.messages);
  const Tally lost = summary.lost();
  line += lost.messages == 0 ? "nothing lost" : "lost " + text(summary.lostMs(), lost);
  const std::string reason = summary.reason();
  return reason.empty() ? line : line + ": " + reason;
}

Json summaryJson(const RecordSummary& summary) {
  const RecordAccount& account = summary.account;
  Json document;
  document["received"] = json(account.spanMs, account.received);
  document["stored"] = nullptr;
  document["lost"] = nullptr;
  if (summary.stored.unread.empty()) {
    document["stored"] = json(summary.stored.spanMs, summary.stored.messages);
    document["stored"]["fragments"] = summary.stored.fragments;
    document["lost"] = json(summary.lostMs(), summary.lost());
  }
  document["refused"] = {{"messages", account.refused.messages}, {"bytes", account.refused.bytes}};
  document["leftOut"] = {{"messages", account.leftOut.messages}, {"bytes", account.leftOut.bytes}};
  document["reason"] = summary.reason().empty() ? Json() : Json(summary.reason());
  document["errors"] = summary.errors;
  return document;
}

}  // namespace host
