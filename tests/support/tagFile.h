#pragma once

#include <algorithm>
#include <cstring>
#include <span>

#include "tests/support/StreamBuilder.h"
#include "util/bytes.h"
#include "util/tagHeader.h"
#include "wrappers/mtg/Exception.h"
#include "wrappers/mtg/InputStream.h"

namespace test {

/// The bytes of a tag stream with these messages.
inline std::vector<std::byte> tagFile(std::span<const StreamMessage> messages) {
  constexpr std::uint32_t kHeaderSize = 9;
  qvs::util::ByteWriter file;
  file.text("MTG\x01\x05");
  file.u32(kHeaderSize);
  file.u32(0);
  for (const StreamMessage& message : messages) {
    const auto size = static_cast<std::uint32_t>(message.data.size());
    std::byte header[qvs::util::kTagHeaderSize];
    qvs::util::writeTagHeader(header, message.type, size, message.time);
    file.bytes(header);
    file.bytes(message.data);
    file.u32(size + static_cast<std::uint32_t>(qvs::util::kTagHeaderSize));
  }
  return file.take();
}

/// A tag stream in memory, read as the test says.
class MemoryInput final : public mtg::InputStream {
 public:
  explicit MemoryInput(std::vector<std::byte> content, bool seekable = true)
      : bytes(std::move(content)), canSeek(seekable) {}

  void addReference() override { ++references; }
  void release() override { --references; }
  std::uint32_t read(void* buffer, std::uint32_t count) override {
    if (reads++ == failingRead) throw mtg::Exception(kFailure);
    const std::size_t left = bytes.size() - std::min(bytes.size(), position_);
    const auto done = static_cast<std::uint32_t>(std::min<std::size_t>({count, left, bytesOfRead}));
    if (done != 0) std::memcpy(buffer, bytes.data() + position_, done);
    position_ += done;
    return done;
  }
  void seek(std::int64_t offset, std::uint32_t mode) override {
    ++seeks;
    if (!canSeek) throw mtg::Exception(kFailure);
    const std::size_t base[] = {0, position_, bytes.size()};
    position_ = base[mode] + static_cast<std::size_t>(offset);
  }
  std::int64_t tell() override { return static_cast<std::int64_t>(position_); }
  void open() override {}
  void close() override {}

  static constexpr std::uint32_t kFailure = 1234;

  std::vector<std::byte> bytes;
  bool canSeek;
  /// The most that one read gives.
  std::size_t bytesOfRead = SIZE_MAX;
  int failingRead = -1;
  int references = 0;
  int reads = 0;
  int seeks = 0;

 private:
  std::size_t position_ = 0;
};

}  // namespace test
