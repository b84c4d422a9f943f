#include "host/serve/catalog/repairStream.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>

#include "host/files/RecordingDirectory.h"
#include "host/repair/repairRecording.h"
#include "host/serve/catalog/RecordingFacts.h"
#include "host/serve/catalog/removal.h"
#include "platform/os/Directory.h"

namespace host::serve {
namespace {

class Repairer {
 public:
  Repairer(Catalog& catalog, const std::string& stream, const std::string& folder, const std::string& recording,
           Log& log)
      : catalog_(catalog), stream_(stream), folder_(folder), recording_(recording), log_(log) {}

  /// Whether the recording is whole and finished now.
  bool run(const Settings& settings) {
    const std::string path = folder_ + "/" + recording_;
    // A kill between the making of the directory and the first file.
    if (readRecordingDirectory(path).empty()) return removeRest();
    const Repair repair = repairRecording(path, settings, log_);
    if (repair.outcome == Repair::Outcome::kRefused) return reportDamage(repair.verification);
    if (repair.verification.fragments == 0) return removeRest();
    catalog_.repaired(stream_, recording_, false);
    // Untouched: only the look at its files had failed, on a disk that was gone for a moment.
    if (repair.outcome == Repair::Outcome::kUntouched) return true;
    log_.note(fmt::format("{}: recording {} was interrupted, and is finished now", stream_, recording_));
    return true;
  }

 private:
  bool removeRest() {
    if (removeRecordingOf(folder_, recording_) != RemovalResult::kDone) {
      log_.warning(fmt::format("{}: what was begun of recording {} cannot be removed", stream_, recording_));
      return false;
    }
    catalog_.finished(stream_, recording_, true);
    log_.note(
        fmt::format("{}: recording {} was interrupted before its first fragment, and is removed", stream_, recording_));
    return false;
  }

  bool reportDamage(const Verification& found) {
    catalog_.repaired(stream_, recording_, true);
    const auto& findings = found.findings.kept();
    const auto worst = std::ranges::find(findings, Severity::kDamage, &Finding::severity);
    log_.warning(fmt::format("{}: recording {} is damaged, and stays as it is: {}", stream_, recording_,
                             worst == findings.end() ? "" : worst->file + ": " + worst->text));
    return false;
  }

  Catalog& catalog_;
  const std::string& stream_;
  const std::string& folder_;
  const std::string& recording_;
  Log& log_;
};

/// Names of the recordings in a folder, the newest first.
std::vector<RecordingName> namesIn(const std::string& folder) {
  std::vector<RecordingName> names;
  for (const auto& entry : platform::os::listDirectory(folder).entries) {
    if (const auto name = parseRecordingName(entry.name)) names.push_back(*name);
  }
  std::ranges::sort(names, std::ranges::greater());
  return names;
}

}  // namespace

bool repairInterrupted(Catalog& catalog, const std::string& stream, const std::string& folder,
                       const std::string& recording, const Settings& settings, Log& log) try {
  return Repairer(catalog, stream, folder, recording, log).run(settings);
} catch (const std::exception& error) {
  log.warning(fmt::format("{}: recording {} is not finished, and cannot be: {}", stream, recording, error.what()));
  return false;
}

std::vector<std::string> repairStream(Catalog& catalog, const std::string& stream, const std::string& folder,
                                      const Settings& settings, Log& log) try {
  // A process writes one recording of a stream, or two at a rotation. Whatever there is, the stream must begin soon.
  constexpr int kEnough = 2;
  constexpr int kMost = 8;
  std::vector<std::string> finished;
  int whole = 0;
  int looked = 0;
  for (const RecordingName& name : namesIn(folder)) {
    const RecordingFacts facts = readFacts(folder, name);
    if (facts.kind != RecordingFacts::Kind::kRecording) continue;
    if (facts.state == RecordingState::kFinished) ++whole;
    const std::string text = recordingNameText(name);
    // Also what looks damaged: the check of the repair decides.
    const bool isOpen = facts.state != RecordingState::kFinished;
    if (isOpen && repairInterrupted(catalog, stream, folder, text, settings, log)) finished.push_back(text);
    if (whole == kEnough || ++looked == kMost) break;
  }
  return finished;
} catch (const std::exception& error) {
  log.warning(fmt::format("{}: cannot look for interrupted recordings: {}", stream, error.what()));
  return {};
}

}  // namespace host::serve
