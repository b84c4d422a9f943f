#pragma once

#include <sys/types.h>

#include <cstddef>
#include <span>
#include <string>

namespace host {

/// Throws CommandError if a file at `place` would be among the files of a recording, or in a folder there. Commands
/// leave a directory with a foreign entry alone, so it would keep them from removing or replacing that recording. Lists
/// each folder on the way to the root: once for a command, not for each of many files.
void requireOutsideRecordings(const std::string& place);

/// A file that is written under a temporary name next to its place, and gets its name when it is complete. What is at
/// its place is not opened, and links are not followed. Unless keepAsNew() or keepInstead() is called, the destructor
/// removes the file. Belongs to one thread.
class FreshFile {
 public:
  /// Makes the file with the permissions of `mode` that the umask allows. Throws CommandError if that fails. Whether
  /// the place is allowed, requireOutsideRecordings() has said before.
  FreshFile(const std::string& place, mode_t mode);
  ~FreshFile();
  FreshFile(const FreshFile&) = delete;
  FreshFile& operator=(const FreshFile&) = delete;

  /// The temporary path.
  const std::string& path() const { return path_; }
  /// Appends. Throws CommandError if that fails.
  void write(std::span<const std::byte> content) const;
  /// Sets the permissions, whatever the umask.
  void setMode(mode_t mode) const;
  /// Flushes the file and moves it to its place. Throws CommandError if that fails or something is there: then nothing
  /// is replaced.
  void keepAsNew();
  /// The same, and replaces a file that is there.
  void keepInstead();

 private:
  /// Throws CommandError with the text for errno.
  [[noreturn]] void fail() const;

  /// Where the file is in the end.
  std::string place_;
  /// Empty once it is at its place.
  std::string path_;
  int fd_ = -1;
};

}  // namespace host
