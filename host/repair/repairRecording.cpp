#include "host/repair/repairRecording.h"

#include <fmt/format.h>

#include <optional>

#include "host/FileContext.h"
#include "host/HeldPlace.h"
#include "host/Module.h"
#include "host/OpenContext.h"
#include "host/OutputDirectory.h"
#include "host/Recording.h"
#include "host/StreamContext.h"
#include "host/files/RecordingDirectory.h"
#include "host/repair/firstFragment.h"

namespace host {
namespace {

/// Lets the module open the recording for an append, and stop at once. Opening completes what an interruption left.
void openAndStop(const OutputDirectory& place, const Settings& settings, Log& log) {
  FileContext files(Durability::kDevice, log);
  StreamContext context(settings, log, files, place.modulePath());
  OpenContext openContext(settings);
  const Module module(findModule());
  const auto adaptor = module.createAdaptor(context);
  Recording recording(*adaptor, openContext, place.modulePath(), true);
  recording.stop();
}

/// Throws CommandError if the directory was renamed. The module takes the files' names from the directory's, so it
/// would begin a new recording beside the files.
void requireItsName(const OutputDirectory& place, const RecordingDirectory& directory) {
  if (!directory.renamed) return;
  throw CommandError(fmt::format("the files in '{}' are named after '{}': give the directory that name first",
                                 place.native(), directory.stem));
}

/// Completes an interrupted recording, or removes its remains if it has no fragment.
Repair::Outcome finish(const OutputDirectory& place, bool withFragments, const Settings& settings, Log& log) {
  const RecordingDirectory directory = readRecordingDirectory(place.native());
  requireItsName(place, directory);
  if (!withFragments) {
    removeUnfinished(directory);
    return Repair::Outcome::kEmptied;
  }
  // Without a bootstrap the module would begin a new recording, and remove the fragment.
  if (!directory.hasBootstrap) restoreFirstBootstrap(directory);
  openAndStop(place, settings, log);
  return Repair::Outcome::kFinished;
}

/// Whether the recording has a fragment. A bootstrap file is only written with one.
bool hasFragments(const OutputDirectory& place) {
  const RecordingDirectory directory = readRecordingDirectory(place.native());
  return directory.hasBootstrap || (!directory.empty() && verifyRecording(place.native()).fragments != 0);
}

/// Verifies what a repair left. If that is nothing, because no fragment was complete, the result has only a name.
Verification verifyRemainder(const OutputDirectory& place) {
  if (!readRecordingDirectory(place.native()).empty()) return verifyRecording(place.native());
  Verification nothing;
  nothing.recording = place.stem();
  return nothing;
}

}  // namespace

Repair repairRecording(const std::string& path, const Settings& settings, Log& log) {
  const OutputDirectory place(path);
  const bool interrupted = !interruptedOverwrite(place).empty();
  if (!interrupted) readRecordingDirectory(place.native());  // throws if it is missing, instead of making it
  const HeldPlace held(place, Durability::kDevice, log);
  place.requireRegular();
  // Under the lock: the process that records there could be about to write its first fragment.
  std::optional<DirectoryLock> old;
  if (interrupted && !hasFragments(place)) old = restoreInterrupted(place);
  if (interrupted && !old) warnOfInterruptedOverwrite(place.native(), log);
  if (old) log.note(fmt::format("'{}' was moved back from '{}'", place.native(), place.aside()));

  // With the checks of `k2r verify`, so that a repair never touches what those call damaged.
  Repair repair{.outcome = Repair::Outcome::kUntouched, .verification = verifyRecording(place.native())};
  const Verification& found = repair.verification;
  const bool whole = found.status() == ExitStatus::kOk;
  if (found.status() == ExitStatus::kDamaged) repair.outcome = Repair::Outcome::kRefused;
  if (repair.outcome == Repair::Outcome::kRefused || (whole && (found.stopped || found.fragments == 0))) return repair;

  repair.outcome = finish(place, found.fragments != 0, settings, log);
  repair.verification = verifyRemainder(place);
  return repair;
}

}  // namespace host
