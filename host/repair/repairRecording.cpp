#include "host/repair/repairRecording.h"

#include <fmt/format.h>

#include <optional>

#include "host/FileContext.h"
#include "host/HeldPlace.h"
#include "host/Module.h"
#include "host/OpenContext.h"
#include "host/OutputDirectory.h"
#include "host/Recording.h"
#include "host/Settings.h"
#include "host/StreamContext.h"
#include "host/files/RecordingDirectory.h"
#include "host/repair/firstFragment.h"

namespace host {
namespace {

/// Lets the module take the recording up where it ends, and stop.
void openAndStop(const OutputDirectory& place, const Settings& settings, Log& log) {
  FileContext files(Durability::kDevice, log);
  StreamContext context(settings, log, files, place.modulePath());
  OpenContext openContext(settings);
  const Module module(findModule());
  const auto adaptor = module.createAdaptor(context);
  Recording recording(*adaptor, openContext, place.modulePath(), true);
  recording.stop();
}

void requireItsName(const OutputDirectory& place, const RecordingDirectory& directory) {
  if (!directory.renamed) return;
  throw CommandError(fmt::format("the files in '{}' are named after '{}': give the directory that name first",
                                 place.native(), directory.stem));
}

/// Makes of an interrupted recording a finished one, or removes what it began with.
Repair::Outcome finish(const OutputDirectory& place, bool hasFragments, const Settings& settings, Log& log) {
  const RecordingDirectory directory = readRecordingDirectory(place.native());
  requireItsName(place, directory);
  if (!hasFragments) {
    removeUnfinished(directory);
    return Repair::Outcome::kEmptied;
  }
  // The module begins anew where there is no bootstrap.
  if (!directory.hasBootstrap) restoreFirstBootstrap(directory);
  openAndStop(place, settings, log);
  return Repair::Outcome::kFinished;
}

bool holdsFragments(const OutputDirectory& place) {
  const RecordingDirectory directory = readRecordingDirectory(place.native());
  return directory.hasBootstrap || (!directory.empty() && verifyRecording(place.native()).fragments != 0);
}

}  // namespace

Repair repairRecording(const std::string& path, const Settings& settings, Log& log) {
  const OutputDirectory place(path);
  const bool interrupted = !interruptedOverwrite(place).empty();
  if (!interrupted) readRecordingDirectory(place.native());  // One that is missing is not made.
  const HeldPlace held(place, Durability::kDevice, log);
  place.requireRegular();
  std::optional<DirectoryLock> old;
  if (interrupted && !holdsFragments(place)) old = restoreInterrupted(place);
  if (interrupted && !old) tellInterruptedOverwrite(place.native(), log);
  if (old) log.note(fmt::format("'{}' is back from '{}'", place.native(), place.aside()));

  Repair repair{.outcome = Repair::Outcome::kUntouched, .verification = verifyRecording(place.native())};
  const Verification& found = repair.verification;
  const bool whole = found.status() == ExitStatus::kOk;
  if (found.status() == ExitStatus::kDamaged) repair.outcome = Repair::Outcome::kRefused;
  if (repair.outcome == Repair::Outcome::kRefused || (whole && (found.stopped || found.fragments == 0))) return repair;

  repair.outcome = finish(place, found.fragments != 0, settings, log);
  if (readRecordingDirectory(place.native()).empty()) {
    repair.verification = {};
    repair.verification.recording = place.stem();
  } else {
    repair.verification = verifyRecording(place.native());
  }
  return repair;
}

}  // namespace host
