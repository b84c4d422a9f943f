#include "modules/streams/k2r/SegmentIndex.h"

#include <algorithm>
#include <utility>

#include "fragmentation/AfraBox.h"
#include "platform/os/durableFiles.h"

namespace qvs::k2r {

using ruvo::k2r::AfraEntry;

util::ByteWriter SegmentIndex::image() const {
  util::ByteWriter image;
  ruvo::k2r::appendAfra(image, index_);
  return image;
}

bool SegmentIndex::isConsecutive() {
  if (!hasConsecutiveFragments(index_, consecutive_)) return false;
  consecutive_ = entries().size();
  return true;
}

void SegmentIndex::take(ruvo::k2r::AfraIndex index) {
  cutTo(0);
  index_ = std::move(index);
}

void SegmentIndex::setPosition(std::uint32_t fragment, std::uint64_t position) {
  auto& entries = index_.globalEntries;
  const auto found = std::find_if(entries.rbegin(), entries.rend(),
                                  [fragment](const AfraEntry& entry) { return entry.fragment == fragment; });
  if (found == entries.rend()) return;
  found->afraOffset = position;
  changeFrom(static_cast<std::size_t>(entries.rend() - found) - 1);
}

void SegmentIndex::cutTo(std::size_t size) {
  if (size >= entries().size()) return;
  index_.globalEntries.resize(size);
  consecutive_ = std::min(consecutive_, size);
  changeFrom(size);
}

void SegmentIndex::changeFrom(std::size_t entry) {
  if (entry < std::max(inFile_, inSpare_)) inFile_ = inSpare_ = 0;
}

void SegmentIndex::wasReplaced() {
  inFile_ = entries().size();
  inSpare_ = 0;
  hasSpare_ = false;  // It has been moved into place.
}

bool SegmentIndex::exchange(const std::string& path, const std::string& temporary) {
  if (inFile_ < kLeastShared) return false;
  // Whatever fails from here on, neither file is continued.
  const std::size_t inFile = std::exchange(inFile_, 0);
  const std::size_t inSpare = std::exchange(inSpare_, 0);
  hasSpare_ = true;
  const bool isReady =
      (inSpare != 0 && extendSpare(temporary, inSpare)) || platform::os::writeNewFile(temporary, image().bytes());
  if (!isReady || !platform::os::exchangeFiles(temporary, path)) return false;
  inFile_ = entries().size();
  inSpare_ = inFile;
  return true;
}

bool SegmentIndex::extendSpare(const std::string& temporary, std::size_t entriesThere) const {
  const std::size_t headSize = ruvo::k2r::afraHeadSize(index_);
  const std::size_t size = headSize + entriesThere * ruvo::k2r::afraEntrySize(index_);
  util::ByteWriter head;
  ruvo::k2r::appendAfraHead(head, index_);
  util::ByteWriter tail;
  ruvo::k2r::appendAfraEntries(tail, index_, entriesThere);
  return platform::os::extendFile(temporary, size, head.bytes(), tail.bytes());
}

void SegmentIndex::dropSpare(const std::string& temporary) {
  if (std::exchange(hasSpare_, false)) platform::os::removeName(temporary);
  inFile_ = inSpare_ = 0;
}

}  // namespace qvs::k2r
