#include "packaging/MTGStream.h"

#include <utility>

#include "wrappers/mtg/Exception.h"

namespace ruvo::k2rpkgutil {
namespace {

constexpr std::uint32_t kFromPosition = 1;
constexpr std::uint32_t kFromEnd = 2;

/// Translates at this one place, since the library knows statuses only and must not see another exception.
template <typename Operation>
auto atStream(const Operation& operation) {
  try {
    return operation();
  } catch (const ruvo::k2r::IOStreamException&) {
    throw mtg::Exception(kKrvoMTGStreamFailed);
  }
}

}  // namespace

MTGStream::MTGStream(std::string path, std::uint32_t openFlags) : file_(std::move(path), openFlags) {
  open();
}

void MTGStream::release() {
  if (--references_ == 0) close();
}

std::uint32_t MTGStream::read(void* buffer, std::uint32_t count) {
  return atStream([&] { return file_.read(buffer, count); });
}

void MTGStream::seek(std::int64_t offset, std::uint32_t mode) {
  atStream([&] { return file_.seek(offset, mode <= kFromEnd ? mode : kFromPosition); });
}

std::int64_t MTGStream::tell() {
  return atStream([&] { return file_.tell(); });
}

void MTGStream::open() {
  atStream([&] { return file_.open(); });
}

void MTGStream::close() {
  atStream([&] { file_.close(); });
}

}  // namespace ruvo::k2rpkgutil
