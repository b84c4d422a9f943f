#pragma once

#include <cstdint>
#include <string>

#include "imo/IMOFileContext.h"
#include "wrappers/k2m/IOStream.h"

namespace qvs::k2r {

/// A segment file as the container library sees it, on the host's file services. The position is kept here, since the
/// host's calls are positional. Belongs to the thread that records its stream; `fileContext` outlives it.
///
/// A failed open is not reported: reads and writes on a closed stream answer 0.
class K2RIOStream : public krvo::k2m::IOStream {
 public:
  /// Opens nothing. With `append` the file keeps what it holds, else open() cuts it to zero.
  K2RIOStream(IMOFileContext* fileContext, std::string path, bool append)
      : fileContext_(fileContext), path_(std::move(path)), append_(append) {}
  /// Closes. Never throws; all other operations pass on what the host's file services throw.
  ~K2RIOStream() override;
  K2RIOStream(const K2RIOStream&) = delete;
  K2RIOStream& operator=(const K2RIOStream&) = delete;

  void addReference() override { ++references_; }
  /// Closes at the last reference. The object stays its owner's, and may be opened again.
  void release() override;
  void open() override;
  void close() override;
  std::uint64_t read(void* buffer, std::uint64_t count) override;
  /// Throws QVSException for a mode above 2.
  void seek(std::int64_t offset, std::uint32_t mode) override;
  std::uint64_t tell() override { return position_; }
  std::uint64_t write(const void* buffer, std::uint64_t count) override;
  /// Nothing: every write goes to the host at once.
  void flush() override {}

 private:
  IMOFileContext* fileContext_;
  std::int32_t handle_ = -1;
  std::string path_;
  std::uint64_t position_ = 0;
  std::uint64_t size_ = 0;
  std::int32_t references_ = 0;
  bool append_;
};

}  // namespace qvs::k2r
