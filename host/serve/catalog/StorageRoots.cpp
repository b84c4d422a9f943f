#include "host/serve/catalog/StorageRoots.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include "host/DirectoryLock.h"
#include "platform/os/Directory.h"
#include "platform/os/durableFiles.h"
#include "util/bytes.h"

namespace host::serve {
namespace {

constexpr std::string_view kMarkerText =
    "k2r serve records into this folder. It refuses a folder that has lost this file: a disk may be away.\n";

std::string markerFolder(const std::string& root) {
  return root + "/.k2r";
}

std::string markerFile(const std::string& root) {
  return markerFolder(root) + "/root";
}

bool writeMarker(const std::string& root) {
  using platform::os::Durability;
  if (!platform::os::makeDirectory(markerFolder(root), Durability::kDevice) && errno != EEXIST) return false;
  const std::string path = markerFile(root);
  // The name is flushed, too: otherwise a loss of power could leave a remembered root without a marker.
  return platform::os::writeFile(path, qvs::util::asBytes(kMarkerText)) && platform::os::syncFile(path) &&
         platform::os::flushParent(path, Durability::kDevice);
}

}  // namespace

struct StorageRoots::Root {
  /// Guards `lock`; also held while the root is claimed, so that two streams do not lock each other out.
  std::mutex mutex;
  /// Nothing before the root was claimed.
  std::optional<DirectoryLock> lock;
};

StorageRoots::StorageRoots(std::string stateFolder) : stateFolder_(std::move(stateFolder)) {}

StorageRoots::~StorageRoots() = default;

std::string StorageRoots::claim(const std::string& root, Log& log) {
  std::shared_ptr<Root> own;
  {
    const std::scoped_lock lock(mutex_);
    auto& known = roots_[root];
    if (!known) known = std::make_shared<Root>();
    own = known;
  }
  const std::scoped_lock lock(own->mutex);
  return tryClaim(root, *own, log);
}

std::string StorageRoots::tryClaim(const std::string& path, Root& root, Log& log) {
  const bool hasMarker = ::access(markerFile(path).c_str(), F_OK) == 0;
  if (hasMarker && root.lock && root.lock->isAt(markerFolder(path))) return "";
  if (!hasMarker && (root.lock || wasUsedBefore(path))) {
    return fmt::format(
        "'{}' was recorded into before, and its marker '{}' is not there: if its disk is away, mount it; to begin anew "
        "without it, make that file",
        path, markerFile(path));
  }
  if (!hasMarker && !writeMarker(path)) {
    return fmt::format("cannot make '{}': {}", markerFile(path), std::strerror(errno));
  }
  // Another file system was mounted meanwhile, or this is the first time.
  DirectoryLock lock(markerFolder(path));
  if (lock.state() == DirectoryLock::State::kUnopened) {
    return fmt::format("cannot open '{}': {}", markerFolder(path), std::strerror(errno));
  }
  if (lock.state() == DirectoryLock::State::kTaken) {
    return fmt::format("'{}' is in use: {} records into it", path, lock.holder());
  }
  root.lock = std::move(lock);
  remember(path, log);
  return "";
}

namespace {

constexpr std::size_t kMaxFile = std::size_t{1} << 20;

/// Empty if there is no such file; nothing if it cannot be read.
std::optional<std::string> readRoots(const std::string& file) {
  errno = 0;
  const auto content = platform::os::readFile(file, kMaxFile);
  if (content) return std::string(reinterpret_cast<const char*>(content->data()), content->size());
  return errno == ENOENT ? std::optional<std::string>("") : std::nullopt;
}

/// Whether the text has such a line.
bool hasLine(std::string_view text, const std::string& line) {
  return ("\n" + std::string(text)).find("\n" + line + "\n") != std::string::npos;
}

}  // namespace

bool StorageRoots::wasUsedBefore(const std::string& path) {
  const std::scoped_lock lock(fileMutex_);
  return !stateFolder_.empty() && hasLine(readRoots(stateFolder_ + "/roots.txt").value_or(""), path);
}

void StorageRoots::remember(const std::string& path, Log& log) {
  const std::scoped_lock lock(fileMutex_);
  if (stateFolder_.empty()) return;
  const std::string file = stateFolder_ + "/roots.txt";
  auto text = readRoots(file);
  if (text && hasLine(*text, path)) return;
  const std::string temporary = file + ".tmp";
  platform::os::makeDirectory(stateFolder_, platform::os::Durability::kDevice);
  // A file that cannot be read is not replaced: it may contain the other roots.
  if (text && platform::os::writeFile(temporary, qvs::util::asBytes(*text + path + "\n")) &&
      platform::os::replaceFile(temporary, file)) {
    return;
  }
  log.warning(fmt::format("'{}' cannot be written: after a restart, a disk that is not mounted at '{}' is not noticed",
                          file, path));
}

std::string stateFolder() {
  const auto variable = [](const char* name) {
    const char* const value = std::getenv(name);
    return std::string(value == nullptr ? "" : value);
  };
  const std::string ofService = variable("STATE_DIRECTORY");
  if (!ofService.empty()) return ofService.substr(0, ofService.find(':'));
  const std::string ofUser = variable("XDG_STATE_HOME");
  if (!ofUser.empty()) return ofUser + "/k2r";
  const std::string home = variable("HOME");
  return home.empty() ? "" : home + "/.local/state/k2r";
}

}  // namespace host::serve
