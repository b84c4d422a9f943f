#include "host/keys/NewFiles.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "host/errors.h"
#include "platform/os/Descriptor.h"
#include "platform/os/fileCalls.h"

namespace host {
namespace {

namespace fs = std::filesystem;

}  // namespace

NewFiles::NewFiles(const std::string& directory) {
  std::error_code error;
  made_ = fs::create_directories(directory, error);
  if (error) throw CommandError(fmt::format("'{}' cannot be made: {}", directory, error.message()));
  const bool empty = fs::is_empty(directory, error);
  if (error) throw CommandError(fmt::format("'{}' cannot be read: {}", directory, error.message()));
  if (!empty) throw CommandError(fmt::format("'{}' is not empty; nothing was changed", directory));
  directory_ = fs::canonical(directory, error).string();
  if (error) throw CommandError(fmt::format("'{}' cannot be read: {}", directory, error.message()));
}

NewFiles::~NewFiles() {
  if (kept_) return;
  std::error_code ignored;
  for (const std::string& name : written_) fs::remove(pathOf(name), ignored);
  if (made_) fs::remove(directory_, ignored);
}

void NewFiles::write(const std::string& name, std::span<const std::byte> content, Access access) {
  constexpr mode_t kOwnerOnly = 0600;
  constexpr mode_t kAll = 0644;
  // With its final permissions from the start, since a secret must not be readable even for a moment. O_EXCL also
  // refuses a symbolic link at its place.
  const int flags = O_WRONLY | O_CREAT | O_EXCL;
  const platform::os::Descriptor file(pathOf(name), flags, access == Access::kOwner ? kOwnerOnly : kAll);
  // Also if the write fails: the part of the file has to be removed.
  if (file) written_.push_back(name);
  if (!file || !platform::os::writeAll(file.get(), content) || !file.flush()) {
    throw CommandError(fmt::format("'{}' cannot be written: {}", pathOf(name), std::strerror(errno)));
  }
}

}  // namespace host
