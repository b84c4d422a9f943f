#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/DirectoryLock.h"
#include "host/Log.h"
#include "host/OutputDirectory.h"
#include "platform/os/Directory.h"

namespace host {

using platform::os::Durability;

/// The directory of a recording for as long as this process writes it: nobody else records into it or repairs it
/// meanwhile. Where the file system has no locks, a warning says so and the work goes on.
class HeldPlace {
 public:
  /// Makes the directory, and those above it, where it is missing. Throws CommandError where another process holds it,
  /// with its name, and where it cannot be made or opened. `place` and `log` outlive it.
  HeldPlace(const OutputDirectory& place, Durability durability, Log& log);
  /// Removes again the directories that it made, unless something has come into them.
  ~HeldPlace();
  HeldPlace(const HeldPlace&) = delete;
  HeldPlace& operator=(const HeldPlace&) = delete;

 private:
  void makeMissing(Durability durability);
  /// False where the directory has moved away since it was opened.
  bool tryLock(Log& log);

  const OutputDirectory& place_;
  std::optional<DirectoryLock> lock_;
  /// The directories made, the deepest first.
  std::vector<std::string> made_;
};

/// A recording that a new one is about to replace. It stands aside, under its path with `.replaced` behind it, until
/// the new one has its first fragment in the bootstrap, and comes back where that never happens. A kill at any moment
/// leaves both where they are; see interruptedOverwrite().
class ReplacedRecording {
 public:
  /// Exchanges the recording in `place`, which is held and not empty, with a new empty directory, which is locked, too.
  /// Throws CommandError where it cannot be put aside; nothing has changed then. `place` and `log` outlive it.
  ReplacedRecording(const OutputDirectory& place, Durability durability, Log& log);
  /// Judges a last time. Whoever recorded has closed the recording.
  ~ReplacedRecording();
  ReplacedRecording(const ReplacedRecording&) = delete;
  ReplacedRecording& operator=(const ReplacedRecording&) = delete;

  /// Removes the old recording once the new one has its bootstrap. Costs a look at one file until then.
  void settle();

 private:
  void putAside();
  /// The same where the file system cannot exchange two directories.
  void putAsideInSteps();
  const OutputDirectory& place_;
  Durability durability_;
  Log& log_;
  std::string aside_;
  /// Of the new directory.
  std::optional<DirectoryLock> lock_;
  bool held_ = false;
};

/// Puts the recording that an interrupted `--overwrite` left aside back into `place`, which holds no fragment; what it
/// holds is removed. Answers a lock of the recording, which nobody has written since; nothing where there is none.
/// Throws CommandError where it stays aside.
std::optional<DirectoryLock> restoreInterrupted(const OutputDirectory& place);

}  // namespace host
