#include "host/input/TagStream.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <utility>

#include "host/errors.h"
#include "util/bytes.h"
#include "util/tagHeader.h"

namespace host {
namespace {

constexpr std::size_t kHeaderSize = 9;
constexpr std::size_t kReadStep = std::size_t{64} << 10;

bool isLetter(std::byte symbol) {
  const auto lower = static_cast<char>(symbol | std::byte{0x20});
  return lower >= 'a' && lower <= 'z';
}

bool hasSignature(std::span<const std::byte> start) {
  return start.size() >= 4 && std::all_of(start.begin(), start.begin() + 3, isLetter) && start[3] == std::byte{1};
}

/// Reads `size` bytes into `data`, which grows as they come. False where the end comes first.
bool readData(FileReader& reader, std::size_t size, std::vector<std::byte>& data) {
  data.clear();
  while (data.size() < size) {
    const std::size_t step = std::min(kReadStep, size - data.size());
    data.resize(data.size() + step);
    if (reader.read(std::span(data).last(step)) < step) return false;
  }
  return true;
}

}  // namespace

bool isTagStream(const std::string& path) {
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(path, ignored)) return false;
  std::array<char, 4> start = {};
  std::ifstream file(path, std::ios::binary);
  return file.read(start.data(), start.size()) && hasSignature(std::as_bytes(std::span(start)));
}

TagStream::TagStream(std::unique_ptr<FileReader> reader) : reader_(std::move(reader)) {
  std::array<std::byte, kHeaderSize> header = {};
  const std::size_t count = reader_->read(header);
  if (count < kHeaderSize || !hasSignature(header)) {
    throw InputError(fmt::format("{} is not a tag stream", reader_->name()));
  }
  const std::uint32_t headerSize = qvs::util::ByteReader(std::span(header).subspan(5)).u32();
  if (headerSize < kHeaderSize) {
    throw InputError(fmt::format("{} is not a tag stream: its header has {} bytes, at least {} are needed",
                                 reader_->name(), headerSize, kHeaderSize));
  }
  reader_->skip(headerSize - kHeaderSize + qvs::util::kTagBackPointerSize);
}

std::optional<InputMessage> TagStream::next() {
  std::array<std::byte, qvs::util::kTagHeaderSize> header = {};
  if (reader_->read(header) < header.size()) return std::nullopt;
  if (!readData(*reader_, qvs::util::tagDataSize(header.data()), data_)) return std::nullopt;
  reader_->skip(qvs::util::kTagBackPointerSize);
  return InputMessage{
      .type = qvs::util::tagRawType(header.data()), .timeMs = qvs::util::tagTimestamp(header.data()), .data = data_};
}

}  // namespace host
