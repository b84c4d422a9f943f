#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace host {

/// New files in a directory that was empty or missing. Unless keep() is called, the destructor removes all of them, and
/// the directory if the constructor made it: half a key set is of no use and has secrets in it.
class NewFiles {
 public:
  /// Who may read a file.
  enum class Access { kEveryone, kOwner };

  /// Makes the directory if it is missing. Throws CommandError if it is not empty or cannot be made.
  explicit NewFiles(const std::string& directory);
  ~NewFiles();
  NewFiles(const NewFiles&) = delete;
  NewFiles& operator=(const NewFiles&) = delete;

  /// Makes the file `name` and flushes it to the device. Throws CommandError if that fails, or the file exists.
  void write(const std::string& name, std::span<const std::byte> content, Access access);
  /// Keeps the files. Call it after the last one.
  void keep() { kept_ = true; }

  /// The absolute path of the directory, without symbolic links: settings that name files in it stay valid.
  const std::string& directory() const { return directory_; }
  /// Where the file of that name is, in the directory of this object.
  std::string pathOf(const std::string& name) const { return directory_ + "/" + name; }

 private:
  std::string directory_;
  /// Whether the constructor made the directory.
  bool made_ = false;
  /// Names of the files to remove.
  std::vector<std::string> written_;
  bool kept_ = false;
};

}  // namespace host
