#include "server/compositemessage.h"

#include <iterator>
#include <string>
#include <utility>

#include "util/NQThrowable.h"
#include "util/diagnostics.h"

namespace qvs {

namespace {

constexpr std::uint8_t kHasData = 0x01;
constexpr std::uint8_t kHasDataEx = 0x02;
/// A header and one byte: fewer are no member. The back pointer of the last member may be cut off.
constexpr std::uint32_t kSmallestMember = util::kTagHeaderSize + 1;

[[noreturn]] void refuse(const std::string& why) {
  throw NQException(NQString("aggregate message: " + why));
}

std::byte* bytesAt(const NQMemoryPtr& block, std::uint32_t offset, std::uint32_t length) {
  // In 64 bits: the sum of two 32-bit numbers may wrap to a small one.
  if (std::uint64_t{offset} + length > block->capacity())
    refuse(std::to_string(length) + " bytes from " + std::to_string(offset) + " of a block of " +
           std::to_string(block->capacity()));
  return block->data() + offset;
}

std::uint16_t bit(int number) {
  return static_cast<std::uint16_t>(1U << number);
}

}  // namespace

SubMessage::SubMessage(CompositeMessage& owner, std::uint32_t index, std::uint32_t offset, Header header,
                       NQMemoryPtr payload)
    : owner_(owner), offset_(offset), index_(index) {
  setHeader(header);
  setData(std::move(payload));
  takeProtectedFlag();
}

CompositeMessage::MemoryView::MemoryView(const NQMemoryPtr& source, std::byte* bytes, std::uint32_t length)
    : NQMemory(bytes, length) {
  const auto* const view = dynamic_cast<const MemoryView*>(source.get());
  source_ = view != nullptr ? view->source_ : source;
}

CompositeMessage::PartialMemory::PartialMemory(const NQMemoryPtr& source, std::uint32_t offset, std::uint32_t length)
    : MemoryView(source, bytesAt(source, offset, length), length) {}

CompositeMessagePtr CompositeMessage::create(const SingleMessagePtr& message) {
  util::diagnose(message->kind() == MessageKind::kAggregate);
  return CompositeMessagePtr::make(message->data(), message->data() ? message->data()->usedLength() : 0);
}

CompositeMessage::CompositeMessage(NQMemoryPtr block, std::uint32_t length) {
  if (!block) refuse("no block");
  if (length > block->capacity())
    refuse(std::to_string(length) + " bytes in a block of " + std::to_string(block->capacity()));
  block->setUsedLength(length);
  setData(std::move(block));
  readMembers();
  begin_ = members_.begin();
  end_ = members_.end();
  describe(length);
}

CompositeMessage::CompositeMessage(CompositeMessagePtr parent, NQMemoryPtr block, Position begin, Position end)
    : parent_(std::move(parent)), begin_(begin), end_(end) {
  // Without a member there is no timestamp for the header.
  if (!block || begin == end) refuse("no block, or no member, in a part");
  const std::uint32_t length = block->capacity();
  setData(std::move(block));
  describe(length);
}

// A chain of parts, each referred to by the next one only, is released in a loop: destructors that call each other
// would use stack for every split.
CompositeMessage::~CompositeMessage() {
  CompositeMessagePtr last = std::move(parent_);
  while (last && last->refCount() == 1) last = std::move(last->parent_);
}

std::uint32_t CompositeMessage::timestamp() const {
  return begin_ == end_ ? 0xFFFFFFFF : (*std::prev(end_))->timestamp();
}

void CompositeMessage::countKinds(KindCounts& counts) const {
  for (std::size_t kind = 0; kind < counts.size(); ++kind) counts[kind] += kindCounts_[kind];
}

void CompositeMessage::splitByTime(std::uint32_t time, CompositeMessagePtr& first, CompositeMessagePtr& second) {
  Position position = begin_;
  while (position != end_ && (*position)->timestamp() < time) ++position;
  splitAt(position, first, second);
}

void CompositeMessage::splitByCount(std::uint32_t count, CompositeMessagePtr& first, CompositeMessagePtr& second) {
  splitAt(count < memberCount_ ? std::next(begin_, count) : end_, first, second);
}

CompositeMessagePtr CompositeMessage::trailingRemainder() const {
  const CompositeMessage* child = this;
  while (child->parent_ && child->parent_->end_ == child->end_) child = child->parent_.get();
  return child->parent_ ? child->parent_->part(child->end_, child->parent_->end_) : CompositeMessagePtr();
}

CompositeMessagePtr CompositeMessage::leadingRemainder() const {
  const CompositeMessage* child = this;
  while (child->parent_ && child->parent_->begin_ == child->begin_) child = child->parent_.get();
  return child->parent_ ? child->parent_->part(child->parent_->begin_, child->begin_) : CompositeMessagePtr();
}

void CompositeMessage::readMembers() {
  // A loop with its condition at the end, so that an empty body is refused by its first round.
  const auto body = static_cast<const NQMemory&>(*data()).used();
  std::size_t at = 0;
  do {
    const auto left = body.subspan(at);
    if (left.size() < kSmallestMember)
      refuse("no member in " + std::to_string(left.size()) + " bytes from " + std::to_string(at));
    const auto header = left.first<util::kTagHeaderSize>();
    const std::uint32_t length = util::tagDataSize(header.data());
    // Never negative: kSmallestMember was checked above.
    if (length > left.size() - util::kTagHeaderSize)
      refuse("the member at " + std::to_string(at) + " has " + std::to_string(length) + " bytes, " +
             std::to_string(left.size() - util::kTagHeaderSize) + " are left");
    auto payload = NQPtr<ProxyMemory>::make(data(), data()->data() + at + util::kTagHeaderSize, length);
    members_.push_back(std::make_unique<SubMessage>(*this, static_cast<std::uint32_t>(members_.size()),
                                                    static_cast<std::uint32_t>(at), header, payload));
    at += length + util::kTagOverhead;
  } while (at < body.size());
}

void CompositeMessage::describe(std::uint32_t length) {
  setType(MessageKind::kAggregate);
  setLength(length, false);
  setTimestamp((*begin_)->timestamp());
  for (auto member = begin_; member != end_; ++member) count(**member);
}

void CompositeMessage::count(const SubMessage& member) {
  ++memberCount_;
  member.countKinds(kindCounts_);
  switch (member.kind()) {
    case MessageKind::kAudio:
      audioCodecs_ |= bit(member.codec() / 16);
      break;
    case MessageKind::kVideo:
      videoCodecs_ |= bit(member.codec());
      break;
    case MessageKind::kData:
      dataKinds_ |= kHasData;
      break;
    case MessageKind::kDataEx:
      dataKinds_ |= kHasDataEx;
      break;
    default:
      break;
  }
}

void CompositeMessage::splitAt(Position position, CompositeMessagePtr& first, CompositeMessagePtr& second) {
  CompositeMessagePtr head;
  CompositeMessagePtr tail;
  if (position != begin_) head = position == end_ ? this : part(begin_, position);
  if (position != end_) tail = position == begin_ ? this : part(position, end_);
  // Last of all: an assignment may release the last reference to this composite.
  first = std::move(head);
  second = std::move(tail);
}

CompositeMessagePtr CompositeMessage::part(Position begin, Position end) {
  // `this` becomes a counted parent, which is why composites exist in NQPtr only.
  const std::uint32_t from = offsetOf(begin);
  const auto bytes = NQPtr<PartialMemory>::make(data(), from, offsetOf(end) - from);
  return CompositeMessagePtr::make(this, bytes, begin, end);
}

std::uint32_t CompositeMessage::offsetOf(Position position) const {
  // Offsets of members count from the root's body, the block of a part begins with its first member.
  return position == end_ ? data()->usedLength() : (*position)->offset() - (*begin_)->offset();
}

}  // namespace qvs
