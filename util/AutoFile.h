#pragma once

#include <cstdint>

#include "imo/IMOFileContext.h"
#include "util/NQBuffer.h"
#include "util/NQString.h"
#include "util/NQThrowable.h"
#include "util/serializeutil.h"

namespace qvs::util {

/// What failed on a small whole file, read or written.
class FileReadException : public NQException {
 public:
  using NQException::NQException;
};

/// A small whole file of the host's, read at construction and handed out front to back. All failures are
/// FileReadExceptions. Belongs to one thread at a time.
class AutoFileLoad final : public IDeserialize {
 public:
  /// `fileContext` is not used beyond the constructor. Bytes that the host does not deliver, though the file has them,
  /// are zeros.
  AutoFileLoad(const NQString& path, IMOFileContext* fileContext);

  /// Where fewer than `size` bytes are left, they are copied, and gone, when it throws.
  void read(void* bytes, std::uint64_t size) override;

 private:
  NQBuffer buffer_;
};

/// Gathers bytes and writes them as a whole file of the host's. All failures are FileReadExceptions. Belongs to one
/// thread at a time; `fileContext` outlives it.
class AutoFileSave final : public ISerialize {
 public:
  /// Room for `initialSize` bytes, which doubles as needed; from 0 it cannot.
  AutoFileSave(NQString path, IMOFileContext* fileContext, std::uint32_t initialSize);
  /// Begins with a copy of the bytes in front of the end of `content`, and goes on behind them.
  AutoFileSave(NQString path, IMOFileContext* fileContext, const NQBuffer& content);

  void write(const void* bytes, std::uint64_t size) override;
  /// Puts all bytes in the place of what the file held. Makes the file, and its directory, where there is none.
  void commit() const;

 private:
  void makeRoom(std::uint64_t size);
  void makeDirectory() const;

  NQString path_;
  NQBuffer buffer_;
  IMOFileContext* fileContext_;
};

}  // namespace qvs::util
