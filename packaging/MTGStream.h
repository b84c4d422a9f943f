#pragma once

#include <cstdint>
#include <string>

#include "util/FileStream.h"
#include "wrappers/mtg/InputStream.h"

namespace ruvo::k2rpkgutil {

/// The stream callbacks of the tag-stream library over a file on the disk. Every failure of the file is thrown as
/// mtg::Exception with status 5, which the library passes back to its caller. Belongs to one thread at a time.
class MTGStream final : public mtg::InputStream {
 public:
  /// Opens the file, for reading or as `openFlags` of FileStream say.
  MTGStream(std::string path, std::uint32_t openFlags);
  ~MTGStream() override { file_.close(); }
  MTGStream(const MTGStream&) = delete;
  MTGStream& operator=(const MTGStream&) = delete;

  void addReference() override { ++references_; }
  /// The last release closes the file. It does not delete the object, which is a member of its source.
  void release() override;
  /// Reads up to `count` bytes and returns how many; 0 at the end of the file.
  std::uint32_t read(void* buffer, std::uint32_t count) override;
  /// Mode 0 counts from the start, 1 from the position, 2 from the end. Any other mode is treated as 1.
  void seek(std::int64_t offset, std::uint32_t mode) override;
  /// Offset in bytes from the start of the file.
  std::int64_t tell() override;
  void open() override;
  /// May be called again, and after the last release.
  void close() override;

 private:
  ruvo::k2r::FileStream file_;
  std::int32_t references_ = 0;
};

}  // namespace ruvo::k2rpkgutil
