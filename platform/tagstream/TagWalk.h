#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/tagstream/TagFile.h"

namespace krvo::tagstream {

/// Which tags a walk shows.
struct TagChoice {
  /// Timestamps, taken as signed numbers; both ends belong to the range.
  std::int32_t from = 0;
  std::int32_t to = 0;
  /// Empty for all types.
  std::vector<std::uint8_t> types;

  bool shows(const StoredTag& tag) const;
};

/// Goes through the tags of a file, front to back or back to front. Every operation throws StatusError.
class TagWalk {
 public:
  TagWalk(std::shared_ptr<TagFile> file, TagChoice choice, bool reversed);

  const std::shared_ptr<TagFile>& file() const { return file_; }
  /// The tag that next() will give; nothing behind the last one. A tag that is written to the file later is seen then.
  const std::optional<StoredTag>& peek();
  std::optional<StoredTag> next();

 private:
  std::optional<StoredTag> step();

  std::shared_ptr<TagFile> file_;
  TagChoice choice_;
  bool reversed_;
  /// Where the next tag begins or, reversed, ends. Nothing before a walk back has begun.
  std::optional<std::uint64_t> place_;
  std::optional<StoredTag> found_;
};

}  // namespace krvo::tagstream
