#include "host/recordingFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <memory>
#include <optional>
#include <system_error>
#include <vector>

namespace host {
namespace {

constexpr std::string_view kBootstrap = ".bootstrap";
constexpr std::string_view kSmallFiles[] = {kBootstrap, ".control", ".meta", ".drmmeta", ".k2i.tmp", ".bootstrap.tmp"};

struct CloseDirectory {
  void operator()(DIR* directory) const { ::closedir(directory); }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>;

/// Null, with errno, for what is no directory, and for a link to one.
Directory openDirectory(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd == -1) return nullptr;
  Directory directory(::fdopendir(fd));
  if (!directory) ::close(fd);
  return directory;
}

/// The names in a directory, but for the directory itself and the one above. Nothing, with errno, on failure.
std::optional<std::vector<std::string>> listNames(DIR* directory) {
  std::vector<std::string> names;
  for (;;) {
    errno = 0;
    const dirent* const entry = ::readdir(directory);
    if (entry == nullptr) break;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  if (errno != 0) return std::nullopt;
  return names;
}

bool isRegular(DIR* directory, const std::string& name) {
  struct stat status {};
  return ::fstatat(::dirfd(directory), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(status.st_mode);
}

bool isSegmentNumber(std::string_view digits) {
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return error == std::errc() && end == digits.data() + digits.size() && digits.front() != '0';
}

std::string parentOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return path.substr(0, std::max<std::size_t>(slash, 1));
}

/// Makes the coming or going of an entry of `path` durable. A file system that cannot flush a directory says EINVAL,
/// and has nothing better to offer.
bool flushDirectory(const std::string& path, Durability durability) {
  if (durability == Durability::kProcess) return true;
  const Directory directory = openDirectory(path);
  return directory && (::fsync(::dirfd(directory.get())) == 0 || errno == EINVAL);
}

bool makeOneDirectory(const std::string& path, Durability durability) {
  return ::mkdir(path.c_str(), 0777) == 0 && flushDirectory(parentOf(path), durability);
}

}  // namespace

bool isRecordingFile(std::string_view name, std::string_view stem) {
  if (!name.starts_with(stem)) return false;
  name.remove_prefix(stem.size());
  if (std::find(std::begin(kSmallFiles), std::end(kSmallFiles), name) != std::end(kSmallFiles)) return true;
  if (!name.starts_with("Seg") || !(name.ends_with(".k2r") || name.ends_with(".k2i"))) return false;
  name.remove_prefix(3);
  name.remove_suffix(4);
  return isSegmentNumber(name);
}

DirectoryContent examineDirectory(const std::string& path, std::string_view stem) {
  DirectoryContent content;
  const Directory directory = openDirectory(path);
  if (!directory) {
    if (errno == ENOENT) return content;
    if (errno != ENOTDIR && errno != ELOOP) throw std::system_error(errno, std::generic_category(), path);
    content.kind = DirectoryContent::Kind::kOther;
    return content;
  }
  content.kind = DirectoryContent::Kind::kDirectory;
  const auto names = listNames(directory.get());
  if (!names) throw std::system_error(errno, std::generic_category(), path);
  content.empty = names->empty();
  for (const std::string& name : *names) {
    const bool known = isRecordingFile(name, stem);
    const bool regular = isRegular(directory.get(), name);
    if (!known || !regular) content.foreignEntry = name;
    if (known && !regular) content.irregularFile = name;
    if (name.size() == stem.size() + kBootstrap.size() && name.starts_with(stem) && name.ends_with(kBootstrap)) {
      content.hasBootstrap = true;
    }
  }
  return content;
}

bool emptyRecording(const std::string& path, std::string_view stem, Durability durability) {
  const Directory directory = openDirectory(path);
  if (!directory) return errno == ENOENT;
  auto names = listNames(directory.get());
  if (!names) return false;
  for (const std::string& name : *names) {
    if (!isRecordingFile(name, stem) || !isRegular(directory.get(), name)) return false;
  }
  const auto remove = [&](auto begin, auto end) {
    return std::all_of(begin, end, [&](const std::string& name) {
      return ::unlinkat(::dirfd(directory.get()), name.c_str(), 0) == 0 || errno == ENOENT;
    });
  };
  const auto rest =
      std::partition(names->begin(), names->end(), [](const auto& name) { return name.ends_with(kBootstrap); });
  return remove(names->begin(), rest) && (rest == names->begin() || flushDirectory(path, durability)) &&
         remove(rest, names->end());
}

bool removeRecording(const std::string& path, std::string_view stem, Durability durability) {
  if (!emptyRecording(path, stem, durability)) return false;
  if (::rmdir(path.c_str()) != 0) return errno == ENOENT;
  flushParent(path, durability);  // Gone it is, either way.
  return true;
}

bool flushParent(const std::string& path, Durability durability) {
  return flushDirectory(parentOf(path), durability);
}

bool makeDirectory(const std::string& path, Durability durability) {
  if (makeOneDirectory(path, durability)) return true;
  const std::string parent = parentOf(path);
  if (errno != ENOENT || parent == path) return false;
  return (makeDirectory(parent, durability) || errno == EEXIST) && makeOneDirectory(path, durability);
}

}  // namespace host
