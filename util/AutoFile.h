#pragma once

#include <cstdint>

#include "imo/IMOFileContext.h"
#include "util/NQBuffer.h"
#include "util/NQString.h"
#include "util/NQThrowable.h"
#include "util/serializeutil.h"

namespace qvs::util {

/// A small whole file could not be read or written. The text has the path, or the number that was wrong.
class FileReadException : public NQException {
 public:
  using NQException::NQException;
};

/// A small whole file that the host's file services read at construction, handed out front to back. For readers of the
/// message layer; the recorder itself has none. Owns the content. All failures are FileReadExceptions. Belongs to one
/// thread at a time.
class AutoFileLoad final : public IDeserialize {
 public:
  /// `path` is converted to UTF-8 for the host. `fileContext` is not used after the constructor. Bytes that the file
  /// has and the host does not deliver are zeros. Throws if the file cannot be opened or has more than 4 GiB - 1.
  AutoFileLoad(const NQString& path, IMOFileContext* fileContext);

  /// Copies the next `size` bytes to `bytes`. Throws if fewer are left; these are then copied and consumed.
  void read(void* bytes, std::uint64_t size) override;

 private:
  NQBuffer buffer_;
};

/// Gathers bytes in memory; commit() writes them as a whole file through the host's file services. Without commit()
/// nothing reaches the disk. The file is overwritten in place: a crash meanwhile leaves part of it. All failures are
/// FileReadExceptions. Belongs to one thread at a time; `fileContext` outlives it.
class AutoFileSave final : public ISerialize {
 public:
  /// Room for `initialSize` bytes, which doubles as needed. From 0 it cannot grow: the first write then throws.
  AutoFileSave(NQString path, IMOFileContext* fileContext, std::uint32_t initialSize);
  /// Begins with a copy of the bytes before the end of `content`; what is written comes after them. `content` and its
  /// block are not referred to afterwards.
  AutoFileSave(NQString path, IMOFileContext* fileContext, const NQBuffer& content);

  /// Appends a copy of `size` bytes. Throws if the buffer would need 4 GiB or memory is short; nothing is appended
  /// then.
  void write(const void* bytes, std::uint64_t size) override;
  /// Replaces the content of the file by all bytes. Makes the file if there is none, and then the last level of its
  /// directory. May be called again. Throws if the host writes less.
  void commit() const;

 private:
  /// Doubles the buffer until `size` more bytes fit.
  void makeRoom(std::uint64_t size);
  /// Asks the host for the directory of the file; a failure shows when the file is opened.
  void makeDirectory() const;

  NQString path_;
  NQBuffer buffer_;
  IMOFileContext* fileContext_;
};

}  // namespace qvs::util
