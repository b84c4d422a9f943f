#include "host/serve/catalog/repairStream.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <system_error>
#include <vector>

#include "host/files/RecordingDirectory.h"
#include "host/repair/repairRecording.h"
#include "host/serve/catalog/RecordingFacts.h"
#include "host/serve/catalog/removal.h"
#include "platform/os/Directory.h"

namespace host::serve {
namespace {

class Repairer {
 public:
  Repairer(Catalog& catalog, const RecordingPlace& recording, Log& log)
      : catalog_(catalog), recording_(recording), log_(log) {}

  /// Whether the recording is whole and finished now.
  bool run(const Settings& settings) {
    const std::string path = recording_.folder() + "/" + recording_.name;
    // The stream has removed it since the scan found it.
    if (std::error_code error; !std::filesystem::exists(path, error) && !error) return false;
    // The process was killed after it made the directory and before the first file.
    if (readRecordingDirectory(path).empty()) return removeRest();
    const Repair repair = repairRecording(path, settings, log_);
    if (repair.outcome == Repair::Outcome::kRefused) return reportDamage(repair.verification);
    if (repair.verification.fragments == 0) return removeRest();
    catalog_.repaired(recording_, false);
    // Nothing was changed: only the first look at its files had failed, on a disk that was away for a moment.
    if (repair.outcome == Repair::Outcome::kUntouched) return true;
    log_.note(fmt::format("{}: recording {} was interrupted, and is finished now", recording_.stream, recording_.name));
    return true;
  }

 private:
  bool removeRest() {
    if (removeRecordingOf(recording_.folder(), recording_.name) != RemovalResult::kDone) {
      log_.warning(
          fmt::format("{}: what was begun of recording {} cannot be removed", recording_.stream, recording_.name));
      return false;
    }
    catalog_.finished(recording_, true);
    log_.note(fmt::format("{}: recording {} was interrupted before its first fragment, and is removed",
                          recording_.stream, recording_.name));
    return false;
  }

  bool reportDamage(const Verification& found) {
    catalog_.repaired(recording_, true);
    const auto& findings = found.findings.kept();
    const auto worst = std::ranges::find(findings, Severity::kDamage, &Finding::severity);
    log_.warning(fmt::format("{}: recording {} is damaged, and stays as it is: {}", recording_.stream, recording_.name,
                             worst == findings.end() ? "" : worst->file + ": " + worst->text));
    return false;
  }

  Catalog& catalog_;
  const RecordingPlace& recording_;
  Log& log_;
};

/// Names of the recordings in a folder, the newest first.
std::vector<RecordingName> newestFirst(const std::string& folder) {
  std::vector<RecordingName> names;
  for (const auto& entry : platform::os::listDirectory(folder).entries) {
    if (const auto name = parseRecordingName(entry.name)) names.push_back(*name);
  }
  std::ranges::sort(names, std::ranges::greater());
  return names;
}

}  // namespace

bool repairInterrupted(Catalog& catalog, const RecordingPlace& recording, const Settings& settings, Log& log) try {
  return Repairer(catalog, recording, log).run(settings);
} catch (const std::exception& error) {
  log.warning(fmt::format("{}: recording {} is not finished, and cannot be: {}", recording.stream, recording.name,
                          error.what()));
  return false;
}

void repairStream(const std::string& root, const std::string& stream,
                  const std::function<void(const RecordingPlace&)>& repair, Log& log) try {
  // A process writes one recording of a stream, or two at a rotation, so few can be interrupted. The stream must begin
  // soon, however many there are.
  constexpr int kEnough = 2;
  constexpr int kMost = 8;
  RecordingPlace place{.root = root, .stream = stream, .name = {}};
  int whole = 0;
  int looked = 0;
  for (const RecordingName& name : newestFirst(place.folder())) {
    const RecordingFacts facts = readFacts(place.folder(), name);
    if (facts.kind != RecordingFacts::Kind::kRecording) continue;
    if (facts.state == RecordingState::kFinished) ++whole;
    place.name = recordingNameText(name);
    // Damaged ones, too: the check within the repair decides.
    if (facts.state != RecordingState::kFinished) repair(place);
    if (whole == kEnough || ++looked == kMost) break;
  }
} catch (const std::exception& error) {
  log.warning(fmt::format("{}: cannot look for interrupted recordings: {}", stream, error.what()));
}

}  // namespace host::serve
