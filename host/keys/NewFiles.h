#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace host {

/// Files made one after another in a directory that held none. All of them go again, and the directory where it was
/// made, unless keep() is called.
class NewFiles {
 public:
  /// Who may read a file.
  enum class Access { kEveryone, kOwner };

  /// Throws CommandError where the directory holds anything or cannot be made.
  explicit NewFiles(const std::string& directory);
  ~NewFiles();
  NewFiles(const NewFiles&) = delete;
  NewFiles& operator=(const NewFiles&) = delete;

  /// Makes the file and flushes it. Throws CommandError where it cannot, or where there is one of that name.
  void write(const std::string& name, std::span<const std::byte> content, Access access);
  void keep() { kept_ = true; }

  /// The directory, absolute, without links in it.
  const std::string& directory() const { return directory_; }
  std::string pathOf(const std::string& name) const { return directory_ + "/" + name; }

 private:
  std::string directory_;
  bool made_ = false;
  std::vector<std::string> written_;
  bool kept_ = false;
};

}  // namespace host
