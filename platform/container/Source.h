#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <span>

namespace krvo::container {

/// Bytes that are read in any order: a segment file.
class Source {
 public:
  virtual std::uint64_t size() = 0;
  /// Fills `out` from `offset` on. Throws where that reaches beyond the end, or the reading fails.
  virtual void read(std::uint64_t offset, std::span<std::byte> out) = 0;

 protected:
  ~Source() = default;
};

/// A file in memory, which outlives the source.
class MemorySource final : public Source {
 public:
  explicit MemorySource(std::span<const std::byte> bytes) : bytes_(bytes) {}

  std::uint64_t size() override { return bytes_.size(); }
  /// Throws SegmentError.
  void read(std::uint64_t offset, std::span<std::byte> out) override;

 private:
  std::span<const std::byte> bytes_;
};

/// A seekable stream, which outlives the source and is used by nobody else meanwhile.
class StreamSource final : public Source {
 public:
  /// Takes the size that the stream has now. Throws SegmentError where it cannot be told.
  explicit StreamSource(std::istream& in);

  std::uint64_t size() override { return size_; }
  /// Throws SegmentError.
  void read(std::uint64_t offset, std::span<std::byte> out) override;

 private:
  std::istream& in_;
  std::uint64_t size_ = 0;
};

}  // namespace krvo::container
