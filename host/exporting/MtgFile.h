#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "host/exporting/TagSink.h"

namespace host {

/// A tag stream file, as TagStream reads it.
class MtgFile final : public TagSink {
 public:
  /// Makes the file at `path`; `-` is standard output. `description` is the payload of an AMF0 data message that comes
  /// first; none where it is empty. Throws CommandError where the file cannot be made.
  MtgFile(const std::string& path, const krvo::container::Movie& movie, std::vector<std::byte> description);

  void add(const RecordedTag& tag) override;
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
  std::vector<std::byte> description_;
};

}  // namespace host
