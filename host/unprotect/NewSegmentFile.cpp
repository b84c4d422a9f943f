#include "host/unprotect/NewSegmentFile.h"

#include <fmt/format.h>

#include <filesystem>

#include "host/errors.h"

namespace host {

NewSegmentFile::NewSegmentFile(const std::string& path)
    : path_(path), file_(path, std::ios::binary | std::ios::in | std::ios::out | std::ios::trunc) {
  if (!file_) throw CommandError(fmt::format("'{}' cannot be made", path));
}

std::uint64_t NewSegmentFile::read(void* buffer, std::uint64_t count) {
  file_.read(static_cast<char*>(buffer), static_cast<std::streamsize>(count));
  const auto done = static_cast<std::uint64_t>(file_.gcount());
  // The library may read up to the end, which is no failure; without this all later operations would fail.
  file_.clear();
  return done;
}

void NewSegmentFile::seek(std::int64_t offset, std::uint32_t mode) {
  constexpr std::ios::seekdir kModes[] = {std::ios::beg, std::ios::cur, std::ios::end};
  file_.seekp(offset, kModes[mode]);
}

std::uint64_t NewSegmentFile::tell() {
  return static_cast<std::uint64_t>(file_.tellp());
}

std::uint64_t NewSegmentFile::write(const void* buffer, std::uint64_t count) {
  file_.write(static_cast<const char*>(buffer), static_cast<std::streamsize>(count));
  // 0 makes the library fail with a status.
  return file_ ? count : 0;
}

void NewSegmentFile::close(std::optional<std::uint64_t> end) {
  file_.close();
  if (!file_) throw CommandError(fmt::format("'{}' cannot be written", path_));
  std::error_code error;
  if (end) std::filesystem::resize_file(path_, *end, error);
  if (error) throw CommandError(fmt::format("'{}' cannot be written: {}", path_, error.message()));
}

}  // namespace host
