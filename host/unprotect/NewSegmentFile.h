#pragma once

#include <cstdint>
#include <fstream>
#include <optional>
#include <string>

#include "wrappers/k2m/IOStream.h"

namespace host {

/// The file that the container library writes a segment to. Its owner is whoever made it; references that the library
/// counts have no effect.
class NewSegmentFile final : public krvo::k2m::IOStream {
 public:
  /// Makes the file, or truncates it. Throws CommandError if that fails.
  explicit NewSegmentFile(const std::string& path);

  void addReference() override {}
  void release() override {}
  void open() override {}
  /// The library's; the file stays open until close(end).
  void close() override {}
  /// A failed operation leaves the stream failed; close(end) reports it.
  std::uint64_t read(void* buffer, std::uint64_t count) override;
  void seek(std::int64_t offset, std::uint32_t mode) override;
  std::uint64_t tell() override;
  std::uint64_t write(const void* buffer, std::uint64_t count) override;
  void flush() override { file_.flush(); }

  /// Closes the file, and cuts it off at `end`. Throws CommandError if that or an earlier write failed: what the
  /// library writes when its writer ends is reported nowhere else.
  void close(std::optional<std::uint64_t> end);

 private:
  std::string path_;
  std::fstream file_;
};

}  // namespace host
