// Any bytes as the body of an aggregate message: what is read is split everywhere, and lies where it lay. Aggregates
// within are read in turn.

#include "fuzz/fuzzing.h"
#include "server/compositemessage.h"
#include "util/NQThrowable.h"

namespace {

using qvs::CompositeMessage;
using qvs::CompositeMessagePtr;

/// Returns the offset after a part that begins at `place`.
const std::byte* behind(const std::byte* place, const CompositeMessagePtr& part) {
  if (!part) return place;
  fuzz::require(part->payload().data() == place, "a part lies where it lay");
  fuzz::require((*part->begin())->data()->data() == place + qvs::util::kTagHeaderSize, "its members do, too");
  return place + part->payload().size();
}

void splitAt(const CompositeMessagePtr& whole, std::uint32_t count) {
  const std::byte* const front = whole->payload().data();
  CompositeMessagePtr first;
  CompositeMessagePtr second;
  whole->splitByCount(count, first, second);
  fuzz::require(behind(behind(front, first), second) == front + whole->payload().size(), "no byte is lost");
  fuzz::require((first ? first->memberCount() : 0) + (second ? second->memberCount() : 0) == whole->memberCount(),
                "no member is lost");
  if (first && second) {
    fuzz::require(behind(front, second->leadingRemainder()) == second->payload().data(), "in front of it is the first");
    behind(second->payload().data(), first->trailingRemainder());
  }
}

CompositeMessagePtr aggregateIn(const CompositeMessage& composite) {
  for (const auto& member : composite)
    if (member->kind() == qvs::MessageKind::kAggregate)
      return CompositeMessage::create(qvs::SingleMessagePtr(member.get()));
  return {};
}

}  // namespace

void fuzz::target(Bytes input) {
  takes<NQException>([&] {
    const auto block = NQMemoryPtr::make(static_cast<std::uint32_t>(input.size()));
    std::ranges::copy(input, block->data());
    auto composite = CompositeMessagePtr::make(block, block->capacity());
    for (; composite; composite = aggregateIn(*composite)) {
      const std::uint32_t step = composite->memberCount() / 64 + 1;
      for (std::uint32_t count = 0; count <= composite->memberCount(); count += step) splitAt(composite, count);
    }
  });
}
