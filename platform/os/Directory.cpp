#include "platform/os/Directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string_view>

#include "platform/os/lastError.h"
#include "platform/os/paths.h"

namespace platform::os {
namespace {

struct Closer {
  void operator()(DIR* directory) const { ::closedir(directory); }
};
using Stream = std::unique_ptr<DIR, Closer>;

/// A new descriptor, since that of the directory has to keep its position, and the stream closes its own.
Stream openStream(int directory) {
  const int fd = ::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd == -1) return nullptr;
  Stream stream(::fdopendir(fd));
  if (!stream) ::close(fd);
  return stream;
}

DirectoryEntry::Type typeOf(int directory, const dirent& entry) {
  using enum DirectoryEntry::Type;
  if (entry.d_type == DT_REG) return kFile;
  // Some file systems leave the type out of the entry.
  struct stat status {};
  if (::fstatat(directory, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) return kOther;
  if (S_ISREG(status.st_mode)) return kFile;
  // The caller decides whether a link counts as the file to which it leads.
  const bool leadsToFile = S_ISLNK(status.st_mode) && ::fstatat(directory, entry.d_name, &status, 0) == 0;
  return leadsToFile && S_ISREG(status.st_mode) ? kLinkToFile : kOther;
}

DirectoryListing readEntries(const Stream& stream) {
  if (!stream) return {.entries = {}, .error = lastError()};
  DirectoryListing listing;
  for (;;) {
    errno = 0;  // readdir() returns null at the end and on failure; only errno distinguishes the two.
    const dirent* const entry = ::readdir(stream.get());
    if (entry == nullptr && errno != 0) return {.entries = {}, .error = lastError()};
    if (entry == nullptr) return listing;
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    listing.entries.push_back({.name = std::string(name), .type = typeOf(::dirfd(stream.get()), *entry)});
  }
}

bool makeOneDirectory(const std::string& path, Durability durability) {
  return ::mkdir(path.c_str(), 0777) == 0 && flushParent(path, durability);
}

}  // namespace

DirectoryListing listDirectory(const std::string& native) {
  return readEntries(Stream(::opendir(native.c_str())));
}

Directory::Directory(const std::string& native, Links links)
    : descriptor_(native, O_RDONLY | O_DIRECTORY | (links == Links::kRefuse ? O_NOFOLLOW : 0)) {
  if (!descriptor_) openError_ = lastError();
}

DirectoryListing Directory::list() const {
  if (!descriptor_) return {.entries = {}, .error = openError_};
  return readEntries(openStream(descriptor_.get()));
}

bool Directory::removeFile(const std::string& name) const noexcept {
  return ::unlinkat(descriptor_.get(), name.c_str(), 0) == 0 || errno == ENOENT;
}

bool Directory::flush(Durability durability) const noexcept {
  return durability == Durability::kProcess || descriptor_.flush() || errno == EINVAL;
}

bool makeDirectory(const std::string& path, Durability durability) {
  if (makeOneDirectory(path, durability)) return true;
  const std::string parent = directoryOf(path);
  if (errno != ENOENT || parent == path) return false;
  return (makeDirectory(parent, durability) || errno == EEXIST) && makeOneDirectory(path, durability);
}

bool removeDirectory(const std::string& path, Durability durability) {
  if (::rmdir(path.c_str()) != 0) return errno == ENOENT;
  flushParent(path, durability);  // A failure changes nothing: the directory is gone.
  return true;
}

bool flushParent(const std::string& path, Durability durability) {
  if (durability == Durability::kProcess) return true;
  const Directory parent(directoryOf(path));
  return parent && parent.flush(durability);
}

}  // namespace platform::os
