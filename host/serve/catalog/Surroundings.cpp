#include "host/serve/catalog/Surroundings.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <chrono>

#include "platform/os/retried.h"

namespace host::serve {
namespace {

class System final : public Surroundings {
 public:
  std::int64_t nowMs() const override {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(sinceEpoch).count();
  }
  std::optional<std::uint64_t> freeBytes(const std::string& path) const override {
    struct statvfs status {};
    if (platform::os::retried([&] { return ::statvfs(path.c_str(), &status); }) != 0) return std::nullopt;
    // f_bavail leaves out the blocks that only root may use.
    return std::uint64_t{status.f_bavail} * status.f_frsize;
  }
  bool isOneFileSystem(const std::string& one, const std::string& other) const override {
    struct stat first {};
    struct stat second {};
    return ::stat(one.c_str(), &first) == 0 && ::stat(other.c_str(), &second) == 0 && first.st_dev == second.st_dev;
  }
};

}  // namespace

const Surroundings& systemSurroundings() {
  static const System system;
  return system;
}

}  // namespace host::serve
