#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/errors.h"
#include "host/output.h"
#include "host/record/RecordAccount.h"
#include "host/record/StoredPart.h"

namespace host {

/// What has come of a recording: what was received, what of it the files hold, and what is lost. The files decide: the
/// session's own account gives reasons, and what no file tells.
struct RecordSummary {
  RecordAccount account;
  StoredPart stored;
  /// The module's errors, also those behind which nothing is missing.
  std::uint64_t errors = 0;
  std::string firstError;
  /// Why the input could not be read to its end.
  std::optional<std::string> inputFailure;

  /// Adds what came of the next recording of the same input.
  RecordSummary& operator+=(const RecordSummary& next);

  Tally lost() const;
  std::uint32_t lostMs() const;
  /// Why something is missing; empty where nothing is.
  std::string reason() const;
  ExitStatus status() const;
};

/// For the user, in one line.
std::string summaryLine(const RecordSummary& summary);
/// The members of the document that the command prints.
Json summaryJson(const RecordSummary& summary);

}  // namespace host
