#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <span>
#include <string>
#include <vector>

#include "platform/container/reading/Source.h"

namespace host {

/// A file that is read in any order, mostly forwards and in small pieces, through one window: memory does not follow
/// the file's size.
class FileView final : public krvo::container::Source {
 public:
  /// The most that view() shows at once.
  static constexpr std::size_t kWindow = std::size_t{256} << 10;

  /// At least `window` bytes are read at once. Throws CommandError where the file cannot be opened. Bytes that are
  /// added later are not seen.
  explicit FileView(const std::string& path, std::size_t window = kWindow);

  std::uint64_t size() override { return size_; }
  /// Throws SegmentError where the file ends first or cannot be read.
  void read(std::uint64_t offset, std::span<std::byte> out) override;
  /// `count` bytes from `offset` on, at most kWindow; valid until the next call. Throws as read() does.
  std::span<const std::byte> view(std::uint64_t offset, std::size_t count);

 private:
  void need(std::uint64_t offset, std::uint64_t count) const;
  void readDirectly(std::uint64_t offset, std::span<std::byte> out);

  std::ifstream in_;
  std::size_t atOnce_;
  std::uint64_t size_ = 0;
  std::vector<std::byte> window_;
  /// Place of the window in the file.
  std::uint64_t start_ = 0;
};

}  // namespace host
