#include "platform/container/Source.h"

#include <cstring>
#include <string>

#include "platform/container/SegmentError.h"

namespace krvo::container {
namespace {

[[noreturn]] void failRead(std::uint64_t offset, std::size_t count) {
  throw SegmentError(offset, std::to_string(count) + " bytes cannot be read");
}

}  // namespace

void MemorySource::read(std::uint64_t offset, std::span<std::byte> out) {
  if (out.size() > bytes_.size() || offset > bytes_.size() - out.size()) failRead(offset, out.size());
  if (!out.empty()) std::memcpy(out.data(), bytes_.data() + offset, out.size());
}

StreamSource::StreamSource(std::istream& in) : in_(in) {
  in_.seekg(0, std::ios_base::end);
  const std::streamoff end = in_.tellg();
  if (end < 0) throw SegmentError(0, "the file has no size");
  size_ = static_cast<std::uint64_t>(end);
}

void StreamSource::read(std::uint64_t offset, std::span<std::byte> out) {
  if (out.size() > size_ || offset > size_ - out.size()) failRead(offset, out.size());
  in_.clear();
  in_.seekg(static_cast<std::streamoff>(offset));
  in_.read(reinterpret_cast<char*>(out.data()), static_cast<std::streamsize>(out.size()));
  if (!in_) failRead(offset, out.size());
}

}  // namespace krvo::container
