#pragma once

#include <cstdint>
#include <string>

#include "util/FileStream.h"
#include "wrappers/mtg/InputStream.h"

namespace ruvo::k2rpkgutil {

/// A file of the disk for the tag-stream library. What fails at the file is an mtg::Exception with code 5. Belongs to
/// one thread at a time.
class MTGStream final : public mtg::InputStream {
 public:
  /// Opens the file. `openFlags` as for FileStream.
  MTGStream(std::string path, std::uint32_t openFlags);
  ~MTGStream() override { file_.close(); }
  MTGStream(const MTGStream&) = delete;
  MTGStream& operator=(const MTGStream&) = delete;

  void addReference() override { ++references_; }
  /// The last one closes the file; the object stays.
  void release() override;
  std::uint32_t read(void* buffer, std::uint32_t count) override;
  /// Any mode but 0, 1 and 2 counts as 1.
  void seek(std::int64_t offset, std::uint32_t mode) override;
  std::int64_t tell() override;
  void open() override;
  void close() override;

 private:
  ruvo::k2r::FileStream file_;
  std::int32_t references_ = 0;
};

}  // namespace ruvo::k2rpkgutil
