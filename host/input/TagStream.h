#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/input/FileInput.h"
#include "host/input/Input.h"
#include "wrappers/mtg/Reader.h"

namespace host {

/// Whether a file has the signature of a tag stream, MTG. False, too, for what cannot be read, and for what is no
/// regular file, since a look would take bytes away.
bool isTagStream(const std::string& path);

/// A tag stream, front to back: each tag is one message, with type, data and timestamp as they stand. Back pointers are
/// not looked at; a tag that the end of the file cuts short is the end.
class TagStream : public Input {
 public:
  /// Reads the header. Throws InputError where it is none.
  explicit TagStream(std::unique_ptr<FileInput> file);
  bool isVerbatim() const override { return true; }
  std::optional<InputMessage> next() override;

 private:
  std::unique_ptr<FileInput> file_;
  mtg::Allocator allocator_;
  std::optional<mtg::Reader> reader_;
  std::optional<mtg::TagIterator> tags_;
  /// Header and data of the last message.
  std::vector<std::byte> tag_;
};

}  // namespace host
