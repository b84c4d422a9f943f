#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "platform/container/reading/Source.h"
#include "wrappers/k2m/IOStream.h"

namespace test {

/// A segment file in memory, for the container library to write and read. Counts what it is asked for, and fails where
/// it is set to. Writing after the end fills the gap with zeros.
class MemoryStream final : public krvo::k2m::IOStream, public krvo::container::Source {
 public:
  static constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();

  MemoryStream() = default;
  explicit MemoryStream(std::span<const std::byte> content) : bytes(content.begin(), content.end()) {}

  void addReference() override { ++references; }
  void release() override;
  void open() override;
  void close() override { isOpen = false; }
  std::uint64_t read(void* buffer, std::uint64_t count) override;
  void seek(std::int64_t offset, std::uint32_t mode) override;
  std::uint64_t tell() override { return position_; }
  std::uint64_t write(const void* buffer, std::uint64_t count) override;
  void flush() override { ++flushes; }
  // As a source, which neither counts nor fails.
  std::uint64_t size() override { return bytes.size(); }
  void read(std::uint64_t offset, std::span<std::byte> out) override;

  std::vector<std::byte> bytes;
  bool isOpen = false;
  int references = 0;
  int opens = 0;
  int flushes = 0;
  /// Sizes of the writes that were asked for, in order; clear it to count from here.
  std::vector<std::uint64_t> writes;
  /// Sizes of the reads.
  std::vector<std::uint64_t> reads;

  /// The write with this place in `writes` fails, and so many in all from there on.
  std::uint64_t failingWrite = kNever;
  std::uint64_t failingWrites = 1;
  /// The first one that fails takes no more than so many bytes, the others take none.
  std::uint64_t bytesOfFailingWrite = 0;
  /// Any other write takes no more than this, and a read gives no more.
  std::uint64_t bytesOfWrite = kNever;
  std::uint64_t bytesOfRead = kNever;

 private:
  bool fails(std::uint64_t index) const { return index >= failingWrite && index - failingWrite < failingWrites; }

  std::uint64_t position_ = 0;
};

/// Goes on whatever the library warns of.
struct CarryOn final : krvo::k2m::WarningHandler {
  std::uint32_t warning(std::uint32_t) override { return 1; }
};

}  // namespace test
