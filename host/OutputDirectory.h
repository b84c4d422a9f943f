#pragma once

#include <string>

#include "host/Log.h"

namespace host {

/// What to do with what is at the place of a new recording.
enum class OpenMode {
  /// Nothing may be there.
  kNew,
  kAppend,
  kOverwrite,
};

/// The directory of a recording, made absolute from what the user gave. Its name is the stem of the files in it.
class OutputDirectory {
 public:
  /// Follows the links in the part that exists. Throws UsageError where the path names no directory that can hold a
  /// recording: the root, one with a backslash in its path, which to the module is a separator, or one that is so long
  /// that the files' names would find no room.
  explicit OutputDirectory(const std::string& given);

  const std::string& native() const { return native_; }
  const std::string& stem() const { return stem_; }
  /// The path in the module's form.
  std::string modulePath() const;

  /// Where `--overwrite` keeps the old recording for as long as it may be wanted back.
  std::string aside() const { return native_ + ".replaced"; }

  /// Throws CommandError where `mode` does not allow what is there. Changes nothing.
  void require(OpenMode mode) const;
  /// Throws CommandError where a link, a pipe or the like is called like a file of the recording: writing there would
  /// write elsewhere.
  void requireRegular() const;

 private:
  std::string native_;
  std::string stem_;
};

/// What an interrupted `--overwrite` has left beside `place`, and what to do about it, in words for the user; empty
/// where there is nothing, or where that command is still at work.
std::string interruptedOverwrite(const OutputDirectory& place);
/// Throws CommandError with that, for a command that would leave the old recording behind.
void requireNothingAside(const OutputDirectory& place);
/// The same as a warning, for a command that reads the recording in `path`.
void tellInterruptedOverwrite(const std::string& path, Log& log);

}  // namespace host
