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

/// The directory of a recording, locked while this process writes it: no other process records into it or repairs it
/// meanwhile. If the file system has no locks, the log gets a warning and there is no lock.
class HeldPlace {
 public:
  /// Locks the directory. Makes it, and those above it, if missing. Throws CommandError if another process has locked
  /// it, naming that process, and if it cannot be made or opened. `place` outlives it; `log` is used during the call
  /// only.
  HeldPlace(const OutputDirectory& place, Durability durability, Log& log);
  /// Removes the directories that it made, unless something was put into them.
  ~HeldPlace();
  HeldPlace(const HeldPlace&) = delete;
  HeldPlace& operator=(const HeldPlace&) = delete;

 private:
  /// Makes the directory if it is missing.
  void makeMissing(Durability durability);
  /// Returns false if the directory was moved away since it was opened. Throws CommandError if it is locked.
  bool tryLock(Log& log);

  const OutputDirectory& place_;
  /// Its state says whether there is a lock: some file systems have none.
  std::optional<DirectoryLock> lock_;
  /// The directories that were made, the deepest first.
  std::vector<std::string> made_;
};

/// A recording that a new one is about to replace. It is kept at its path with the suffix `.replaced` until the
/// bootstrap of the new recording exists, and is moved back if that never happens. A kill at any moment leaves both on
/// disk; see interruptedOverwrite().
class ReplacedRecording {
 public:
  /// Exchanges the recording in `place`, which must be locked and not empty, for a new empty directory, and locks that.
  /// Throws CommandError if the recording cannot be moved aside; nothing has changed then. `place` and `log` outlive
  /// it.
  ReplacedRecording(const OutputDirectory& place, Durability durability, Log& log);
  /// Calls settle(), and moves the old recording back if the new one still has no bootstrap. The new recording must be
  /// closed before.
  ~ReplacedRecording();
  ReplacedRecording(const ReplacedRecording&) = delete;
  ReplacedRecording& operator=(const ReplacedRecording&) = delete;

  /// Removes the old recording if the new one has its bootstrap. Cheap enough to call after each message: it looks at
  /// one file.
  void settle();

 private:
  /// Moves the old recording aside and puts a new directory in its place.
  void putAside();
  /// The same, for file systems that cannot exchange two directories in one step. A kill between the steps leaves the
  /// old recording aside and nothing in its place, which interruptedOverwrite() recognises.
  void putAsideInSteps();
  const OutputDirectory& place_;
  Durability durability_;
  Log& log_;
  /// Where the old recording is meanwhile.
  std::string aside_;
  /// Lock of the new directory. The HeldPlace still has that of the old one.
  std::optional<DirectoryLock> lock_;
  /// Whether the old recording is aside and not settled.
  bool isAside_ = false;
};

/// Moves the recording that an interrupted `--overwrite` left aside back to `place`, and removes what is there; call it
/// only if that has no fragment. Returns a lock of the recording; nothing if there is none aside. Throws CommandError
/// if it cannot be moved.
std::optional<DirectoryLock> restoreInterrupted(const OutputDirectory& place);

}  // namespace host
