#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "host/exporting/TagSink.h"

namespace host {

/// A tag-stream file: a header, and each tag with its back pointer. TagStream reads it. Never seeks, so it can write
/// into a pipe. Belongs to one thread.
class MtgFile final : public TagSink {
 public:
  /// Makes the file at `path`; `-` is standard output. `description` is the payload of an AMF0 data message to write
  /// first, with the timestamp of the first tag; empty for none. Throws CommandError if the file cannot be made.
  MtgFile(const std::string& path, const krvo::container::Movie& movie, std::vector<std::byte> description);

  /// Writes the tag unchanged.
  void add(const RecordedTag& tag) override;
  /// Flushes the file. Does not close standard output.
  void finish() override;

 private:
  struct Close {
    void operator()(std::FILE* file) const;
  };

  void writeHeader(const krvo::container::Movie& movie);
  void writeTag(std::uint8_t type, std::uint32_t timestamp, std::span<const std::byte> data);
  void write(std::span<const std::byte> bytes);

  std::string path_;
  std::unique_ptr<std::FILE, Close> file_;
  /// Empty once it is written.
  std::vector<std::byte> description_;
};

}  // namespace host
