#pragma once

#include <cstdint>
#include <string>

#include "imo/IMOFileContext.h"
#include "wrappers/k2m/IOStream.h"

namespace qvs::k2r {

/// A segment file as the container library uses it, on the host's file services. Keeps the position itself, because
/// each call of the host has one as a parameter. Belongs to the thread that records its stream; `fileContext` outlives
/// it.
///
/// A failed open is not reported: reads and writes on a closed stream return 0.
class K2RIOStream : public krvo::k2m::IOStream {
 public:
  /// The flags and the mode with which a segment file is opened. Its owner may read and write a new one.
  static constexpr std::uint32_t kKeepFlags = kIMOBinary | kIMOCreate | kIMOReadWrite;
  static constexpr std::uint32_t kFileMode = 0x180;

  /// Opens nothing yet. With `append` open() keeps the content of the file, else it truncates it to zero.
  K2RIOStream(IMOFileContext* fileContext, std::string path, bool append)
      : fileContext_(fileContext), path_(std::move(path)), append_(append) {}
  /// Closes the file. Never throws; all other operations let exceptions of the host's file services through.
  ~K2RIOStream() override;
  K2RIOStream(const K2RIOStream&) = delete;
  K2RIOStream& operator=(const K2RIOStream&) = delete;

  void addReference() override { ++references_; }
  /// Closes the file with the last reference. Does not delete the object, which belongs to its owner and may be opened
  /// again.
  void release() override;
  void open() override;
  void close() override;
  /// Both return the bytes done, and move the position by them; less than `count` at the end of the file or if the host
  /// fails.
  std::uint64_t read(void* buffer, std::uint64_t count) override;
  /// Mode 0 is from the start, 1 from the position, 2 from the end. Throws QVSException for any other.
  void seek(std::int64_t offset, std::uint32_t mode) override;
  std::uint64_t tell() override { return position_; }
  std::uint64_t write(const void* buffer, std::uint64_t count) override;
  /// Does nothing: every write goes to the host at once.
  void flush() override {}

 private:
  IMOFileContext* fileContext_;
  /// -1 while closed.
  std::int32_t handle_ = -1;
  std::string path_;
  std::uint64_t position_ = 0;
  /// For mode 2 of seek(). Taken from the host when the file is opened, then counted.
  std::uint64_t size_ = 0;
  std::int32_t references_ = 0;
  bool append_;
};

}  // namespace qvs::k2r
