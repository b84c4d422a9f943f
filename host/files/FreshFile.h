#pragma once

#include <sys/types.h>

#include <cstddef>
#include <span>
#include <string>

namespace host {

/// Throws CommandError where something at `place` would lie among the files of a recording: whoever finds a foreign
/// entry there leaves the whole directory alone.
void requireOutsideRecordings(const std::string& place);

/// A file under a new name beside its place until it is whole. What is there already is neither opened nor followed;
/// the new file goes again unless one of the last two operations puts it in its place.
class FreshFile {
 public:
  /// Makes it, with the permissions that the umask leaves of `mode`. Throws CommandError where it cannot, and where the
  /// place lies among the files of a recording.
  FreshFile(const std::string& place, mode_t mode);
  ~FreshFile();
  FreshFile(const FreshFile&) = delete;
  FreshFile& operator=(const FreshFile&) = delete;

  /// Where it is until then.
  const std::string& path() const { return path_; }
  void write(std::span<const std::byte> content) const;
  void setMode(mode_t mode) const;
  /// Puts it into its place, flushed. Throws CommandError where it cannot, and where something has come there.
  void keepAsNew();
  /// The same in the place of what is there.
  void keepInstead();

 private:
  [[noreturn]] void fail() const;

  std::string place_;
  std::string path_;
  int fd_ = -1;
};

}  // namespace host
