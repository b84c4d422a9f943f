#include "host/record/prepareAppend.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/errors.h"
#include "host/files/RecordingDirectory.h"
#include "host/repair/firstFragment.h"
#include "host/verify/quickLook.h"
#include "host/verify/verifyRecording.h"

namespace host {
namespace {

std::string wordsOf(const Finding& finding) {
  const std::string at = finding.offset ? fmt::format("offset {}: ", *finding.offset) : "";
  return fmt::format("{}: {}{}", finding.file, at, finding.text);
}

void requireUndamaged(const RecordingDirectory& directory, bool force, Log& log) {
  const auto found = quickLook(directory);
  if (!found) return;
  const std::string text = fmt::format("'{}' is damaged: {}", directory.path, wordsOf(*found));
  if (!force) throw CommandError(text + "; k2r verify shows everything, --append --force continues it nevertheless");
  log.warning(text);
}

/// Completes or removes a recording without a bootstrap. The module takes such a directory for empty and erases it, so
/// an indexed first fragment would be lost.
void takeUpBeginning(const OutputDirectory& place, const RecordingDirectory& directory) {
  const Verification found = verifyRecording(place.native());
  if (found.status() == ExitStatus::kDamaged) {
    const auto& kept = found.findings.kept();
    const auto first = std::find_if(kept.begin(), kept.end(),
                                    [](const Finding& finding) { return finding.severity == Severity::kDamage; });
    throw CommandError(fmt::format("'{}' is damaged and cannot be continued: {}; k2r verify shows everything",
                                   place.native(), first == kept.end() ? "" : wordsOf(*first)));
  }
  if (found.fragments != 0) {
    restoreFirstBootstrap(directory);
  } else if (!fileset::emptyRecording(place.native(), place.stem(), platform::os::Durability::kDevice)) {
    // The control file must go as well: the module would take its base time for that of the new recording.
    throw CommandError(fmt::format("the remains of a recording in '{}' cannot be removed", place.native()));
  }
}

}  // namespace

void prepareAppend(const OutputDirectory& place, bool force, Log& log) {
  const RecordingDirectory directory = readRecordingDirectory(place.native());
  if (directory.hasBootstrap) {
    warnOfInterruptedOverwrite(place.native(), log);
    requireUndamaged(directory, force, log);
    return;
  }
  // The recording may be the one that an interrupted --overwrite moved aside; a new one would hide it.
  requireNothingAside(place);
  if (!directory.empty()) takeUpBeginning(place, directory);
}

}  // namespace host
