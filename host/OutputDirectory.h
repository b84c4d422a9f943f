#pragma once

#include <string>

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
  /// recording: the root, or one with a backslash in its path, which to the module is a separator.
  explicit OutputDirectory(const std::string& given);

  const std::string& native() const { return native_; }
  const std::string& stem() const { return stem_; }
  /// The path in the module's form.
  std::string modulePath() const;

  /// Throws CommandError where `mode` does not allow what is there. Changes nothing.
  void require(OpenMode mode) const;

 private:
  std::string native_;
  std::string stem_;
};

/// A recording that a new one is about to replace. It is put aside at construction, under its path with `.replaced`
/// behind it, and comes back in the destructor unless discard() was called: a recording that cannot be opened costs no
/// other one.
class ReplacedRecording {
 public:
  /// Does nothing where there is no such directory. Throws CommandError where it cannot be put aside.
  explicit ReplacedRecording(const OutputDirectory& place);
  ~ReplacedRecording();
  ReplacedRecording(const ReplacedRecording&) = delete;
  ReplacedRecording& operator=(const ReplacedRecording&) = delete;

  /// Removes the old recording for good. False where it stays aside, since something foreign has got into it.
  bool discard();
  const std::string& aside() const { return aside_; }

 private:
  std::string native_;
  std::string stem_;
  std::string aside_;
  bool held_ = false;
};

}  // namespace host
