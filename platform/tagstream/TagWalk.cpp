#include "platform/tagstream/TagWalk.h"

#include <algorithm>
#include <utility>

namespace krvo::tagstream {

bool TagChoice::shows(const StoredTag& tag) const {
  const auto time = static_cast<std::int32_t>(tag.timestamp());
  if (time < from || time > to) return false;
  return types.empty() || std::find(types.begin(), types.end(), tag.type()) != types.end();
}

TagWalk::TagWalk(std::shared_ptr<TagFile> file, TagChoice choice, bool reversed)
    : file_(std::move(file)), choice_(std::move(choice)), reversed_(reversed) {
  if (!reversed_) place_ = file_->firstTag();
}

const std::optional<StoredTag>& TagWalk::peek() {
  while (!found_) {
    const auto tag = step();
    if (!tag) break;
    if (choice_.shows(*tag)) found_ = tag;
  }
  return found_;
}

std::optional<StoredTag> TagWalk::next() {
  peek();
  return std::exchange(found_, std::nullopt);
}

std::optional<StoredTag> TagWalk::step() {
  if (!place_) place_ = file_->bytes().size();
  auto tag = reversed_ ? file_->tagEndingAt(*place_) : file_->tagAt(*place_);
  if (tag) place_ = reversed_ ? tag->offset : tag->end();
  return tag;
}

}  // namespace krvo::tagstream
