// Any bytes as the body of an aggregate message: what is read is split everywhere, lies where it lay, and comes back
// from a body that is written of it. Aggregates within are read in turn.

#include "fuzz/fuzzing.h"
#include "server/compositemessage.h"
#include "util/NQThrowable.h"
#include "util/messagebuffer.h"

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

void splitByTimes(CompositeMessagePtr whole) {
  for (std::uint32_t time = 1; whole && time != 0; time *= 16) {
    CompositeMessagePtr before;
    whole->splitByTime(time, before, whole);
    fuzz::require(!whole || (*whole->begin())->timestamp() >= time, "a part starts at its time");
  }
}

void writeAndReadBack(const CompositeMessage& composite) {
  qvs::util::MessageBuffer body;
  body.allocate();
  for (const auto& member : composite) body.append(member->rawType(), member->payload(), member->timestamp());
  const auto back = CompositeMessagePtr::make(body.buffer().memory(), body.buffer().end());
  fuzz::require(back->memberCount() == composite.memberCount(), "every member comes back");
  auto member = composite.begin();
  for (const auto& other : *back) {
    fuzz::requireEqual(other->payload(), (*member)->payload(), "a payload comes back");
    fuzz::require(other->timestamp() == (*member)->timestamp(), "a time comes back");
    ++member;
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
      splitByTimes(composite);
      writeAndReadBack(*composite);
    }
  });
}
