#pragma once

#include <cstdint>
#include <fstream>
#include <string>

#include "wrappers/k2m/IOStream.h"

namespace host {

/// A new segment file that the container library writes. Belongs to whoever made it; the library's references count for
/// nothing.
class SegmentFile final : public krvo::k2m::IOStream {
 public:
  /// Throws CommandError where the file cannot be made.
  explicit SegmentFile(const std::string& path);

  void addReference() override {}
  void release() override {}
  void open() override {}
  void close() override {}
  std::uint64_t read(void* buffer, std::uint64_t count) override;
  void seek(std::int64_t offset, std::uint32_t mode) override;
  std::uint64_t tell() override;
  std::uint64_t write(const void* buffer, std::uint64_t count) override;
  void flush() override { file_.flush(); }

 private:
  std::fstream file_;
};

}  // namespace host
