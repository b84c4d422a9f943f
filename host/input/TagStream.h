#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/input/FileInput.h"
#include "host/input/Input.h"
#include "wrappers/mtg/Reader.h"

namespace host {

/// Whether a file begins with the signature of a tag stream, MTG. False if it cannot be read or is no regular file:
/// reading from a pipe would consume the bytes.
bool isTagStream(const std::string& path);

/// A tag stream, read front to back. Each tag becomes one message, with its type, data and timestamp unchanged. Back
/// pointers are ignored. A tag that is cut off by the end of the file is the end.
class TagStream : public Input {
 public:
  /// Reads the file header. Throws InputError if it is not that of a tag stream, or cannot be read.
  explicit TagStream(std::unique_ptr<FileInput> file);
  bool isVerbatim() const override { return true; }
  std::optional<InputMessage> next() override;

 private:
  /// Throws mtg::Exception.
  std::optional<InputMessage> readMessage();

  /// In the order of destruction: the library's objects go before the stream that they use.
  std::unique_ptr<FileInput> file_;
  mtg::Allocator allocator_;
  std::optional<mtg::Reader> reader_;
  std::optional<mtg::TagIterator> tags_;
};

}  // namespace host
