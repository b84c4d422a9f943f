#include "host/serve/play/OpenFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "platform/container/reading/SegmentError.h"
#include "platform/os/retried.h"

namespace host::serve {
namespace {

[[noreturn]] void throwError(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

OpenFiles::File OpenFiles::open(const std::string& path) {
  const std::lock_guard lock(mutex_);
  const auto found = files_.find(path);
  if (found != files_.end()) {
    if (File file = found->second.lock()) return file;
  }
  auto file = std::make_shared<const platform::os::Descriptor>(path, O_RDONLY | O_NONBLOCK);
  if (!*file) throwError("a segment cannot be opened");
  std::erase_if(files_, [](const auto& entry) { return entry.second.expired(); });
  files_[path] = file;
  return file;
}

std::uint64_t OpenFileSource::size() {
  struct stat status {};
  if (::fstat(file_.get(), &status) != 0) throwError("a segment cannot be read");
  return static_cast<std::uint64_t>(status.st_size);
}

void OpenFileSource::read(std::uint64_t offset, std::span<std::byte> out) {
  while (!out.empty()) {
    const auto count =
        platform::os::retried([&] { return ::pread(file_.get(), out.data(), out.size(), static_cast<off_t>(offset)); });
    if (count < 0) throwError("a segment cannot be read");
    if (count == 0) throw krvo::container::SegmentError(offset, "the file ends here");
    out = out.subspan(static_cast<std::size_t>(count));
    offset += static_cast<std::uint64_t>(count);
  }
}

}  // namespace host::serve
