#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <span>
#include <string>
#include <vector>

#include "platform/container/reading/Source.h"

namespace host {

/// Reads a file in any order, mostly forward and in small pieces, through one window, so that memory does not grow with
/// the size of the file. Belongs to one thread.
class FileView final : public krvo::container::Source {
 public:
  /// The most bytes that view() returns at once.
  static constexpr std::size_t kWindow = std::size_t{256} << 10;

  /// Opens the file. `window` is the least number of bytes to read at once. Throws CommandError if it cannot be opened
  /// or is no regular file. Bytes that are appended later are not seen.
  explicit FileView(const std::string& path, std::size_t window = kWindow);

  /// Size in bytes when it was opened.
  std::uint64_t size() override { return size_; }
  /// Fills `out` from `offset` on. Throws SegmentError if the file ends before, or cannot be read.
  void read(std::uint64_t offset, std::span<std::byte> out) override;
  /// `count` bytes from `offset` on, at most kWindow. Valid until the next call of read() or view(). Throws as read()
  /// does.
  std::span<const std::byte> view(std::uint64_t offset, std::size_t count);

 private:
  /// Throws SegmentError if the file has no such bytes.
  void need(std::uint64_t offset, std::uint64_t count) const;
  void readDirectly(std::uint64_t offset, std::span<std::byte> out);

  std::ifstream in_;
  /// Less than kWindow for readers that look at a few boxes here and there.
  std::size_t readSize_;
  std::uint64_t size_ = 0;
  std::vector<std::byte> window_;
  /// Offset of the window in the file.
  std::uint64_t start_ = 0;
};

}  // namespace host
