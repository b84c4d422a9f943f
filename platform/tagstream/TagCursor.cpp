#include "platform/tagstream/TagCursor.h"

#include <algorithm>
#include <utility>

namespace krvo::tagstream {

bool TagChoice::includes(const FileTag& tag) const {
  const auto time = static_cast<std::int32_t>(tag.timestamp());
  if (time < from || time > to) return false;
  return types.empty() || std::find(types.begin(), types.end(), tag.type()) != types.end();
}

TagCursor::TagCursor(std::shared_ptr<TagFile> file, TagChoice choice, bool reversed)
    : file_(std::move(file)), choice_(std::move(choice)), reversed_(reversed) {
  if (!reversed_) nextOffset_ = file_->firstTagOffset();
}

const std::optional<FileTag>& TagCursor::peek() {
  while (!found_) {
    const auto tag = step();
    if (!tag) break;
    if (choice_.includes(*tag)) found_ = tag;
  }
  return found_;
}

std::optional<FileTag> TagCursor::next() {
  peek();
  return std::exchange(found_, std::nullopt);
}

std::optional<FileTag> TagCursor::step() {
  // Asked only now, not in the constructor: the file may have grown since, and a stream that cannot seek fails here.
  if (!nextOffset_) nextOffset_ = file_->bytes().size();
  auto tag = reversed_ ? file_->tagEndingAt(*nextOffset_) : file_->tagAt(*nextOffset_);
  // Unchanged without a tag, so that the next call looks at the same place again.
  if (tag) nextOffset_ = reversed_ ? tag->offset : tag->end();
  return tag;
}

}  // namespace krvo::tagstream
