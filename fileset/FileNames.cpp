#include "fileset/FileNames.h"

#include <charconv>
#include <system_error>

namespace fileset {
namespace {

constexpr std::string_view kSegmentMark = "Seg";

std::optional<std::uint32_t> parseNumber(std::string_view digits) {
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  // A number has one name: with leading zeros it would have several, and no reader looks for the others.
  if (error != std::errc() || end != digits.data() + digits.size() || digits.front() == '0') return std::nullopt;
  return number;
}

std::optional<FileRole> numberedRole(std::string_view suffix) {
  if (!suffix.starts_with(kSegmentMark)) return std::nullopt;
  suffix.remove_prefix(kSegmentMark.size());
  // The number of an index names its segment, so both have one form.
  const bool isSegment = suffix.ends_with(kSegmentSuffix);
  if (!isSegment && !suffix.ends_with(kIndexSuffix)) return std::nullopt;
  const auto number = parseNumber(suffix.substr(0, suffix.rfind('.')));
  if (!number) return std::nullopt;
  return FileRole{.kind = isSegment ? FileKind::kSegment : FileKind::kIndex, .segment = *number};
}

}  // namespace

std::string FileNames::segmentName(std::uint32_t number) const {
  return stem + std::string(kSegmentMark) + std::to_string(number) + kSegmentSuffix;
}

std::string FileNames::indexName(std::uint32_t number) const {
  return stem + std::string(kSegmentMark) + std::to_string(number) + kIndexSuffix;
}

FileNames namesOfStream(std::string_view streamPath) {
  const std::size_t separator = streamPath.rfind('\\');
  const std::string_view name =
      separator == std::string_view::npos ? std::string_view() : streamPath.substr(separator + 1);
  std::string stem(streamPath);
  stem += '\\';
  stem += name;
  return {.stem = std::move(stem)};
}

std::optional<FileRole> roleOf(std::string_view name, std::string_view stem) {
  if (!name.starts_with(stem)) return std::nullopt;
  name.remove_prefix(stem.size());
  // With an empty stem its names are the suffixes alone.
  const FileNames suffixes;
  if (name == kBootstrapSuffix) return FileRole{.kind = FileKind::kBootstrap};
  if (name == kControlSuffix) return FileRole{.kind = FileKind::kControl};
  if (name == kMetaSuffix) return FileRole{.kind = FileKind::kMeta};
  if (name == kDrmMetaSuffix) return FileRole{.kind = FileKind::kDrmMeta};
  if (name == suffixes.temporaryBootstrapName() || name == suffixes.temporaryIndexName()) {
    return FileRole{.kind = FileKind::kTemporary};
  }
  return numberedRole(name);
}

}  // namespace fileset
