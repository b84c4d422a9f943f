#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "platform/tagstream/TagFile.h"

namespace krvo::tagstream {

/// Selects the tags that a walk returns.
struct TagChoice {
  /// Range of timestamps in milliseconds, both ends included. Compared as signed numbers, as callers give them.
  std::int32_t from = 0;
  std::int32_t to = 0;
  /// Kinds of tags; empty for all.
  std::vector<std::uint8_t> types;

  /// Whether a walk returns the tag: its timestamp is in the range and its kind is chosen.
  bool includes(const FileTag& tag) const;
};

/// Walks the tags of a file, front to back or back to front. Several walks of one file do not disturb each other,
/// unless the stream cannot seek. Belongs to the thread of its file. Every operation throws StatusError; after one the
/// walk may be continued, and tries the same tag again.
class TagCursor {
 public:
  /// `file` is not null. With `reversed` the walk begins at the last tag.
  TagCursor(std::shared_ptr<TagFile> file, TagChoice choice, bool reversed);

  const std::shared_ptr<TagFile>& file() const { return file_; }
  /// Returns the tag that next() will return; nothing after the last one. Not final: if more tags have been written to
  /// the file meanwhile, a later call returns them.
  const std::optional<FileTag>& peek();
  /// Returns the tag and moves on; nothing after the last one.
  std::optional<FileTag> next();

 private:
  /// The next tag of any kind.
  std::optional<FileTag> step();

  std::shared_ptr<TagFile> file_;
  TagChoice choice_;
  bool reversed_;
  /// Offset at which the next tag begins or, reversed, ends. Nothing until a reversed walk has begun.
  std::optional<std::uint64_t> nextOffset_;
  /// The tag of peek(), until next() takes it.
  std::optional<FileTag> found_;
};

}  // namespace krvo::tagstream
