#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "host/Log.h"

namespace host::serve {

/// The header of a plain view, with the name by which playlists refer to it.
struct StoredHeader {
  std::string name;
  std::vector<std::byte> bytes;
};
using HeaderPointer = std::shared_ptr<const StoredHeader>;

/// The headers of all recordings, equal ones once. Keeps those that somebody uses. Any thread may call it.
class HeaderStore {
 public:
  /// `log` outlives this object.
  explicit HeaderStore(Log& log) : log_(log) {}

  /// The header with these bytes, which is made if there is none. Never null; keeps it as long as it is used.
  HeaderPointer add(std::vector<std::byte> header);
  /// A recording's directory, and whether it will never have another header.
  struct Place {
    std::string path;
    bool isFinished = false;
  };
  /// The header of that name, or null. Looks into these recordings, in this order, if nobody uses it: after a restart
  /// players still know addresses from before. Each finished recording is read once.
  HeaderPointer find(const std::string& name, const std::vector<Place>& places);

 private:
  HeaderPointer used(const std::string& name);
  /// All headers of a recording; nothing if it cannot be read, which may be different the next time.
  std::optional<std::vector<HeaderPointer>> read(const std::string& path);

  Log& log_;
  std::mutex mutex_;
  /// Guarded by `mutex_`.
  std::map<std::string, std::weak_ptr<const StoredHeader>> headers_;
  /// One search at a time. Locked before `mutex_`.
  std::mutex search_;
  /// The names of the headers of finished recordings, by path. Guarded by `search_`.
  std::map<std::string, std::vector<std::string>> names_;
};

}  // namespace host::serve
