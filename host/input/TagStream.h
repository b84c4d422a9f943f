#pragma once

#include <memory>
#include <vector>

#include "host/input/FileReader.h"
#include "host/input/Input.h"

namespace host {

/// Whether a file begins like a tag stream: three letters and version 1. False, too, for what cannot be read, and for
/// what is no regular file, since a look would take bytes away.
bool isTagStream(const std::string& path);

/// A tag stream, front to back: each tag is one message, with type, data and timestamp as they stand. Back pointers are
/// not looked at; a tag that the end of the file cuts short is the end.
///
///     0  u8[3]  signature, three letters      5  u32  header size n, at least 9
///     3  u8     version 1                     n  u32  back pointer 0
///     4  u8     flags, not looked at              then tags: 11 bytes header, data, u32 back pointer
class TagStream : public Input {
 public:
  /// Reads the header. Throws InputError where it is none.
  explicit TagStream(std::unique_ptr<FileReader> reader);
  std::optional<InputMessage> next() override;

 private:
  std::unique_ptr<FileReader> reader_;
  std::vector<std::byte> data_;
};

}  // namespace host
