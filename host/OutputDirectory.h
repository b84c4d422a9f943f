#pragma once

#include <string>

#include "host/Log.h"

namespace host {

/// What to do with a recording that is already in the directory. Chosen by `--append` and `--overwrite`.
enum class OpenMode {
  /// Refuse it: the directory must be empty or missing.
  kNew,
  /// Continue it.
  kAppend,
  /// Replace it.
  kOverwrite,
};

/// The directory of a recording, as an absolute path. Its name is the stem of the names of its files.
class OutputDirectory {
 public:
  /// Takes the path that the user gave, and follows the links in the part that exists. Throws UsageError if it cannot
  /// be the directory of a recording: the root; a path with a backslash, which the module takes for a separator; a name
  /// so long that the names of the files would be too long; CommandError if the path cannot be followed.
  explicit OutputDirectory(const std::string& given);

  const std::string& native() const { return native_; }
  const std::string& stem() const { return stem_; }
  /// The path in the form of the module, with backslashes.
  std::string modulePath() const;

  /// Where `--overwrite` keeps the old recording until the new one has its first fragment.
  std::string aside() const { return native_ + ".replaced"; }

  /// Throws CommandError if `mode` does not allow what is in the directory. Changes nothing. Call it again once the
  /// directory is locked: another process may have changed it.
  void require(OpenMode mode) const;
  /// Throws CommandError if a link, a pipe or the like has the name of a file of the recording: writing to it would
  /// write somewhere else.
  void requireRegular() const;

 private:
  std::string native_;
  std::string stem_;
};

/// Describes what an interrupted `--overwrite` has left next to `place`, and what to do about it, for the user. Empty
/// if there is nothing, or if that command is still running.
std::string interruptedOverwrite(const OutputDirectory& place);
/// Throws CommandError with that text. For a command that would make the old recording harder to find.
void requireNothingAside(const OutputDirectory& place);
/// Logs that text as a warning. For a command that reads the recording in `path`. Does not throw.
void warnOfInterruptedOverwrite(const std::string& path, Log& log);

}  // namespace host
