#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/errors.h"
#include "host/output.h"

namespace host {

/// The result of a command that prints a document.
struct CommandOutcome {
  ExitStatus status = ExitStatus::kOk;
  /// The text of the failure; nothing for a command that succeeded.
  std::optional<std::string> error;
  /// The members after those that every document has.
  Json members = Json::object();
};

/// Prints the one document of a command: `schema`, `command`, the members of `request`, `exitStatus` and `error`, then
/// those that `run` returns. docs/json.md describes all of them, and a test compares it with what is printed. If `run`
/// throws, the document ends with the error, and the caller gets the exception, and writes its text to standard error.
ExitStatus printOutcome(const std::string& command, const Json& request, const std::function<CommandOutcome()>& run);

/// Prints the document of a call that was refused before a command ran, if the words of the call ask for one: they name
/// a command that prints documents, and `--json`. So a script gets one document for each call.
void printRefusal(const std::vector<std::string>& words, const std::string& error);

}  // namespace host
