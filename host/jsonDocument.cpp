#include "host/jsonDocument.h"

#include <algorithm>

namespace host {
namespace {

/// Rises if a field goes or changes its meaning; docs/json.md promises that.
constexpr int kSchema = 1;

void print(const std::string& command, const Json& request, const CommandOutcome& outcome) {
  Json document = {{"schema", kSchema}, {"command", command}};
  document.update(request);
  document["exitStatus"] = static_cast<int>(outcome.status);
  document["error"] = outcome.error ? Json(*outcome.error) : Json();
  document.update(outcome.members);
  printJson(document);
}

}  // namespace

ExitStatus printOutcome(const std::string& command, const Json& request, const std::function<CommandOutcome()>& run) {
  CommandOutcome outcome;
  try {
    outcome = run();
  } catch (const UsageError& error) {
    print(command, request, {.status = ExitStatus::kBadUsage, .error = error.what(), .members = Json::object()});
    throw;
  } catch (const std::exception& error) {
    print(command, request, {.status = ExitStatus::kFailed, .error = error.what(), .members = Json::object()});
    throw;
  }
  // Not above: a document that cannot be printed must not be followed by a second one.
  print(command, request, outcome);
  return outcome.status;
}

void printRefusal(const std::vector<std::string>& words, const std::string& error) {
  const auto end = std::ranges::find(words, "--");
  if (words.empty() || std::find(words.begin(), end, "--json") == end) return;
  const std::string& command = words.front();
  if (command != "record" && command != "inspect" && command != "verify") return;
  print(command, Json::object(), {.status = ExitStatus::kBadUsage, .error = error, .members = Json::object()});
}

}  // namespace host
