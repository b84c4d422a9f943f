#include "host/serve/play/MemoryCopies.h"

#include <sys/mman.h>
#include <unistd.h>

#include <span>
#include <utility>

namespace host::serve {
namespace {

using platform::os::Descriptor;

/// Maps a file for writing while it exists.
class Mapping {
 public:
  Mapping(const Descriptor& file, std::uint64_t size)
      : size_(static_cast<std::size_t>(size)),
        bytes_(::mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, file.get(), 0)) {}
  ~Mapping() {
    if (*this) ::munmap(bytes_, size_);
  }
  Mapping(const Mapping&) = delete;
  Mapping& operator=(const Mapping&) = delete;

  explicit operator bool() const { return bytes_ != MAP_FAILED; }
  std::span<std::byte> bytes() const { return {static_cast<std::byte*>(bytes_), size_}; }

 private:
  std::size_t size_;
  void* bytes_;
};

}  // namespace

Body::File MemoryCopies::newFile(std::uint64_t size) {
  const auto used = used_;
  if (used->fetch_add(size) + size > limit_) {
    *used -= size;
    return nullptr;
  }
  // Made first: the bytes are given back in any case, also by a failure.
  const auto release = [used, size](const Descriptor* file) {
    delete file;
    *used -= size;
  };
  Body::File file(std::make_unique<Descriptor>(::memfd_create("fragment", MFD_CLOEXEC)).release(), release);
  const bool isMade = *file && ::ftruncate(file->get(), static_cast<off_t>(size)) == 0;
  return isMade ? file : nullptr;
}

std::optional<Body> MemoryCopies::copy(const Body& body) {
  const std::uint64_t size = body.size();
  auto file = size == 0 ? nullptr : newFile(size);
  if (!file) return std::nullopt;
  const Mapping mapping(*file, size);
  if (!mapping) return std::nullopt;
  for (std::uint64_t done = 0; done < size;) {
    done += body.read(done, mapping.bytes().subspan(static_cast<std::size_t>(done)));
  }
  Body copy;
  copy.addMemory(std::move(file), 0, size);
  return copy;
}

}  // namespace host::serve
