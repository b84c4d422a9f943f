#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "host/Log.h"

namespace host::serve {

/// The roots of recordings, and whether each is the one that it was. A root that was used once has a marker, the file
/// ROOT/.k2r/root. A root without it that was used before is the mount point of a disk that is away, and must not be
/// recorded into.
///
/// Which roots were used is remembered by this object, and over restarts in the file `roots.txt` of the state folder.
/// Any thread may call it; a call may wait for the disk of its root, never for that of another.
class StorageRoots {
 public:
  /// `stateFolder` is a native path, made if missing; empty to remember nothing over a restart.
  explicit StorageRoots(std::string stateFolder);
  ~StorageRoots();
  StorageRoots(const StorageRoots&) = delete;
  StorageRoots& operator=(const StorageRoots&) = delete;

  /// Why nothing may be recorded in `root` at the moment, for the user; empty if it may be. Makes root and marker if it
  /// is used for the first time. Locks the marker's folder as long as this object lives: no other process may remove
  /// recordings here. Cheap once that is done: to be called before each recording.
  std::string claim(const std::string& root, Log& log);

 private:
  struct Root;

  std::string tryClaim(const std::string& path, Root& root, Log& log);
  bool wasUsedBefore(const std::string& path);
  void remember(const std::string& path, Log& log);

  const std::string stateFolder_;
  /// Guards the map.
  std::mutex mutex_;
  std::map<std::string, std::shared_ptr<Root>> roots_;
  /// Guards the file in the state folder.
  std::mutex fileMutex_;
};

/// Where this program keeps what it must remember outside of its roots: the first folder in STATE_DIRECTORY, as systemd
/// sets it, else XDG_STATE_HOME/k2r, else HOME/.local/state/k2r; empty if none of them is set.
std::string stateFolder();

}  // namespace host::serve
