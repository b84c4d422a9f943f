#include "host/input/TagStream.h"

#include <fmt/format.h>

#include <filesystem>
#include <fstream>
#include <string_view>
#include <utility>

#include "host/errors.h"
#include "util/tagHeader.h"

namespace host {
namespace {

constexpr std::string_view kSignature = "MTG";

/// The message for the user if the tag-stream library returns `status` for `file`.
std::string describe(std::uint32_t status, const FileInput& file) {
  switch (status) {
    case kKrvoMTGNoTagStream:
      return fmt::format("{} is not a tag stream: MTG and version 1 expected at its start", file.name());
    case kKrvoMTGBadHeader:
      return fmt::format("{} is not a tag stream: a header of at least 9 bytes expected", file.name());
    case kKrvoMTGOutOfMemory:
      return fmt::format("cannot read {}: no memory left", file.name());
    default:
      if (file.failure().empty()) return fmt::format("cannot read {}: tag-stream error {}", file.name(), status);
      return fmt::format("cannot read {}: {}", file.name(), file.failure());
  }
}

/// Runs an operation of the library's reader. Turns its exceptions into InputError.
template <typename Operation>
auto reading(const FileInput& file, const Operation& operation) {
  try {
    return operation();
  } catch (const mtg::Exception& error) {
    throw InputError(describe(error.status(), file));
  }
}

}  // namespace

bool isTagStream(const std::string& path) {
  std::error_code ignored;
  // A pipe is not read here: the bytes would be missing later.
  if (!std::filesystem::is_regular_file(path, ignored)) return false;
  std::string start(kSignature.size(), ' ');
  std::ifstream(path, std::ios::binary).read(start.data(), static_cast<std::streamsize>(start.size()));
  return start == kSignature;
}

TagStream::TagStream(std::unique_ptr<FileInput> file) : file_(std::move(file)) {
  reading(*file_, [this] {
    reader_.emplace(*file_, allocator_);
    // The library accepts any three letters.
    if (file_->start() != kSignature) throw mtg::Exception(kKrvoMTGNoTagStream);
    tags_.emplace(reader_->tags());
  });
}

std::optional<InputMessage> TagStream::next() {
  return reading(*file_, [this]() -> std::optional<InputMessage> {
    try {
      return readMessage();
    } catch (const mtg::Exception&) {
      // The library knows the size of a regular file, so an end before that is a failure to it.
      if (file_->isStopped()) return std::nullopt;
      throw;
    }
  });
}

std::optional<InputMessage> TagStream::readMessage() {
  const auto tag = tags_->next();
  if (!tag) return std::nullopt;
  // Not copied: the view is valid until the next tag is looked for, as long as a message has to be
  // (docs/decisions.md, "A message of a tag stream is a view of what was read ahead").
  const auto bytes = tag->viewHeaderAndData();
  return InputMessage{.type = qvs::util::tagRawType(bytes.data()),
                      .timeMs = qvs::util::tagTimestamp(bytes.data()),
                      .data = bytes.subspan(qvs::util::kTagHeaderSize)};
}

}  // namespace host
