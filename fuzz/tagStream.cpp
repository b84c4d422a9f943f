// Tag streams, read from a file in memory: what comes out are parts of the input, in order and within its size.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "fuzz/fuzzing.h"
#include "host/errors.h"
#include "host/input/TagStream.h"

namespace {

/// Checks that each message stands in the input behind the one before it.
void readAll(host::TagStream& stream, std::span<const std::byte> input) {
  auto rest = input;
  while (const auto message = stream.next()) {
    const auto found = std::search(rest.begin(), rest.end(), message->data.begin(), message->data.end());
    fuzz::require(found != rest.end() || message->data.empty(), "data are bytes of the input");
    rest = rest.subspan(static_cast<std::size_t>(found - rest.begin()) + message->data.size());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const host::StopSignal stop;
  const int file = ::memfd_create("input", MFD_CLOEXEC);
  fuzz::require(::write(file, data, size) == static_cast<ssize_t>(size), "a file in memory takes the input");
  const std::string path = "/proc/self/fd/" + std::to_string(file);
  try {
    host::TagStream stream(std::make_unique<host::FileReader>(path, stop));
    fuzz::require(host::isTagStream(path), "what opens looks like a tag stream");
    readAll(stream, std::as_bytes(std::span(data, size)));
  } catch (const host::InputError&) {
  }
  ::close(file);
  return 0;
}
