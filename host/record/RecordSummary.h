#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/errors.h"
#include "host/output.h"
#include "host/record/RecordAccount.h"
#include "host/record/StoredPart.h"

namespace host {

/// The result of a recording: what was received, how much of it the files contain, and what is lost. The files decide
/// how much is stored. The session's account gives the reasons, and the counts that no file has.
struct RecordSummary {
  RecordAccount account;
  StoredPart stored;
  /// Number of lines that the module logged as errors, including those after which nothing is missing.
  std::uint64_t errors = 0;
  std::string firstError;
  /// Why the input could not be read to its end.
  std::optional<std::string> inputFailure;

  /// Adds the summary of the next recording that was made from the same input.
  RecordSummary& operator+=(const RecordSummary& next);

  /// Received, and neither stored nor left out at the user's request.
  Tally lost() const;
  /// Media time without any stored message, in ms.
  std::uint32_t lostMs() const;
  /// Why something is missing; empty if nothing is.
  std::string reason() const;
  /// kOk only if all that was received is in the files and they are finished.
  ExitStatus status() const;
};

/// For the user, in one line. Without a line end. Scripts read the same numbers from summaryJson().
std::string summaryLine(const RecordSummary& summary);
/// The members of the document that the command prints. docs/json.md describes them.
Json summaryJson(const RecordSummary& summary);

}  // namespace host
