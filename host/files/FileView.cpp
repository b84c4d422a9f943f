#include "host/files/FileView.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "host/errors.h"
#include "platform/container/reading/SegmentError.h"

namespace host {

using krvo::container::SegmentError;

FileView::FileView(const std::string& path, std::size_t window) : readSize_(window) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) {
    throw CommandError(
        fmt::format("'{}' {}", path, error ? "cannot be opened: " + error.message() : "is not a regular file"));
  }
  // Streams need not set it, and the message must not have the text of an older error.
  errno = 0;
  in_.open(path, std::ios::binary);
  if (in_) in_.seekg(0, std::ios::end);
  const auto end = in_ ? static_cast<std::streamoff>(in_.tellg()) : std::streamoff{-1};
  if (end < 0) throw CommandError(fmt::format("'{}' cannot be opened: {}", path, std::strerror(errno)));
  size_ = static_cast<std::uint64_t>(end);
}

void FileView::read(std::uint64_t offset, std::span<std::byte> out) {
  // A large piece would only push everything else out of the window.
  if (out.size() > kWindow) {
    need(offset, out.size());
    readDirectly(offset, out);
    return;
  }
  const auto bytes = view(offset, out.size());
  std::copy(bytes.begin(), bytes.end(), out.begin());
}

std::span<const std::byte> FileView::view(std::uint64_t offset, std::size_t count) {
  need(offset, count);
  const bool inWindow = offset >= start_ && offset - start_ <= window_.size() &&
                        count <= window_.size() - static_cast<std::size_t>(offset - start_);
  if (!inWindow) {
    const std::uint64_t wanted = std::max(readSize_, count);
    // A new buffer: if reading fails, the window must still be valid for its old place.
    std::vector<std::byte> fresh(static_cast<std::size_t>(std::min(wanted, size_ - offset)));
    readDirectly(offset, fresh);
    window_ = std::move(fresh);
    start_ = offset;
  }
  return std::span(window_).subspan(static_cast<std::size_t>(offset - start_), count);
}

void FileView::need(std::uint64_t offset, std::uint64_t count) const {
  // Without a sum: offset and count come from the file and could exceed 64 bits.
  if (offset > size_ || count > size_ - offset) {
    throw SegmentError(std::min(offset, size_), fmt::format("{} bytes expected, the file ends at {}", count, size_));
  }
}

void FileView::readDirectly(std::uint64_t offset, std::span<std::byte> out) {
  // An earlier read may have met the end of the file.
  in_.clear();
  in_.seekg(static_cast<std::streamoff>(offset));
  in_.read(reinterpret_cast<char*>(out.data()), static_cast<std::streamsize>(out.size()));
  if (static_cast<std::size_t>(in_.gcount()) != out.size()) throw SegmentError(offset, "the file cannot be read");
}

}  // namespace host
