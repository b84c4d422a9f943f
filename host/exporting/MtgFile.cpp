#include "host/exporting/MtgFile.h"

#include <fmt/format.h>

#include <array>
#include <utility>

#include "host/errors.h"
#include "host/files/tracks.h"
#include "packaging/tagCodec.h"
#include "util/bytes.h"
#include "util/tagHeader.h"

namespace host {

using namespace qvs::util;

void MtgFile::Close::operator()(std::FILE* file) const {
  // Standard output belongs to the program.
  if (file != stdout) std::fclose(file);
}

MtgFile::MtgFile(const std::string& path, const krvo::container::Movie& movie, std::vector<std::byte> description)
    : path_(path), file_(path == "-" ? stdout : std::fopen(path.c_str(), "wb")), description_(std::move(description)) {
  if (!file_) throw CommandError(fmt::format("'{}' cannot be written", path_));
  writeHeader(movie);
}

void MtgFile::writeHeader(const krvo::container::Movie& movie) {
  constexpr std::uint8_t kHasAudio = 0x04;
  constexpr std::uint8_t kHasVideo = 0x01;
  constexpr std::uint32_t kHeaderSize = 9;
  std::uint8_t flags = 0;
  if (findTrack(movie, "soun"_4cc) != nullptr) flags |= kHasAudio;
  if (findTrack(movie, "vide"_4cc) != nullptr) flags |= kHasVideo;
  ByteWriter header;
  header.bytes(asBytes("MTG\x01"));
  header.u8(flags);
  header.u32(kHeaderSize);
  // The back pointer before the first tag.
  header.u32(0);
  write(header.bytes());
}

void MtgFile::add(const RecordedTag& tag) {
  // Not in the constructor: its timestamp is that of the first tag.
  if (!description_.empty()) {
    writeTag(ruvo::k2rpkgutil::kAmf0DataTag, tag.timestampMs(), description_);
    description_.clear();
  }
  writeTag(tag.content.place.rawType, tag.timestampMs(), tag.data);
}

void MtgFile::writeTag(std::uint8_t type, std::uint32_t timestamp, std::span<const std::byte> data) {
  const auto size = static_cast<std::uint32_t>(data.size());
  std::array<std::byte, kTagHeaderSize> header = {};
  writeTagHeader(header.data(), type, size, timestamp);
  std::array<std::byte, kTagBackPointerSize> backPointer = {};
  writeTagBackPointer(backPointer.data(), size);
  write(header);
  write(data);
  write(backPointer);
}

void MtgFile::finish() {
  if (std::fflush(file_.get()) != 0) throw CommandError(fmt::format("'{}' cannot be written", path_));
}

void MtgFile::write(std::span<const std::byte> bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) != bytes.size())
    throw CommandError(fmt::format("'{}' cannot be written", path_));
}

}  // namespace host
