#include "host/keys/NewFiles.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "host/errors.h"

namespace host {
namespace {

namespace fs = std::filesystem;

/// An open file, closed at the end.
class File {
 public:
  File(const std::string& path, mode_t mode)
      : descriptor_(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode)) {}
  ~File() {
    if (isOpen()) ::close(descriptor_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  bool isOpen() const { return descriptor_ != -1; }

  bool write(std::span<const std::byte> content) const {
    while (!content.empty()) {
      const auto written = ::write(descriptor_, content.data(), content.size());
      if (written == -1 && errno == EINTR) continue;
      if (written <= 0) return false;
      content = content.subspan(static_cast<std::size_t>(written));
    }
    return ::fsync(descriptor_) == 0;
  }

 private:
  int descriptor_;
};

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
  const File file(pathOf(name), access == Access::kOwner ? kOwnerOnly : kAll);
  if (file.isOpen()) written_.push_back(name);
  if (!file.isOpen() || !file.write(content)) {
    throw CommandError(fmt::format("'{}' cannot be written: {}", pathOf(name), std::strerror(errno)));
  }
}

}  // namespace host
