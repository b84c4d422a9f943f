#pragma once

#include <cstdint>
#include <list>
#include <memory>

#include "shared_nqserver/nqmessage.h"

namespace qvs {

class SubMessage;
class CompositeMessage;
using CompositeMessagePtr = NQPtr<CompositeMessage>;

/// An aggregate message taken apart: a run of timed messages whose bytes stay where they are, in one block.
///
/// The body has no header of its own; each member stands in it as a tag (see util/tagHeader.h), whose back pointer is
/// not looked at and may be cut short behind the last one. Timestamps do not count from the aggregate's.
///
/// A composite can be split into two parts between members. All parts share the members, which the root owns: the one
/// that the body was read by. Whoever holds a part or a member holds the whole body. While it does, nobody gives the
/// block other bytes. Nothing but reference counts changes once a composite is made. All of them live in holders.
///
/// The header is made up: length of the body, timestamp of the first member.
class CompositeMessage final : public Message {
 public:
  using Members = std::list<std::unique_ptr<SubMessage>>;
  using Position = Members::const_iterator;

  class MemoryView;
  class PartialMemory;
  class ProxyMemory;

  /// Reads the body of an aggregate message, as far as its block is used. A message of another kind is a diagnostic,
  /// and read all the same. Throws as the constructor.
  static CompositeMessagePtr create(const SingleMessagePtr& message);
  /// Reads `length` bytes of `block`, which then count as used. Throws NQException for a null or shorter block, and
  /// where the lengths in the body do not add up, or to no member at all.
  CompositeMessage(NQMemoryPtr block, std::uint32_t length);
  /// The members of `parent` from `begin` to `end`, whose bytes are `block`. Throws NQException for none.
  CompositeMessage(CompositeMessagePtr parent, NQMemoryPtr block, Position begin, Position end);
  ~CompositeMessage() override;

  /// Of the last member, while the header has that of the first one.
  std::uint32_t timestamp() const override;
  bool isKeyFrame() const override { return false; }
  /// Has audio with a known codec, and no video.
  bool isNonVideoOrInfoFrame() const override { return audioCodecs_ != 0 && videoCodecs_ == 0; }
  bool isDisposableFrame() const override { return false; }
  void countKinds(KindCounts& counts) const override;

  Position begin() const { return begin_; }
  Position end() const { return end_; }
  std::uint32_t memberCount() const { return memberCount_; }
  /// 0 for numbers from kKindLimit on.
  std::uint64_t kindCount(std::uint32_t kind) const { return kind < kKindLimit ? kindCounts_[kind] : 0; }
  /// A bit for each codec (see SingleMessage::codec) of a member: of audio by the high nibble, of video by the low one.
  std::uint16_t audioCodecs() const { return audioCodecs_; }
  std::uint16_t videoCodecs() const { return videoCodecs_; }
  /// Bit 0 for data, bit 1 for data of the Ex kind.
  std::uint8_t dataKinds() const { return dataKinds_; }
  /// What this part was split from; null for a root.
  const CompositeMessagePtr& parent() const { return parent_; }

  /// Splits before the first member at or above `time`. A part without members is null, and the other one then this
  /// composite itself. The holders may be one that this composite is held by.
  void splitByTime(std::uint32_t time, CompositeMessagePtr& first, CompositeMessagePtr& second);
  /// Splits behind `count` members, likewise.
  void splitByCount(std::uint32_t count, CompositeMessagePtr& first, CompositeMessagePtr& second);
  /// What the nearest composite above this part has behind it; null where none has anything.
  CompositeMessagePtr trailingRemainder() const;
  /// The same for what is in front of it.
  CompositeMessagePtr leadingRemainder() const;

 private:
  void readMembers();
  /// Makes up the header, and counts the members.
  void describe(std::uint32_t length);
  void count(const SubMessage& member);
  void splitAt(Position position, CompositeMessagePtr& first, CompositeMessagePtr& second);
  CompositeMessagePtr part(Position begin, Position end);
  /// Where a member, or the end, stands in this composite's block.
  std::uint32_t offsetOf(Position position) const;

  std::uint16_t audioCodecs_ = 0;
  std::uint16_t videoCodecs_ = 0;
  std::uint8_t dataKinds_ = 0;
  CompositeMessagePtr parent_;
  Position begin_;
  Position end_;
  /// Empty in a part.
  Members members_;
  std::uint32_t memberCount_ = 0;
  KindCounts kindCounts_ = {};
};

/// One member of an aggregate. Lives as long as the root that owns it, and whoever holds the member holds the root.
class SubMessage final : public SingleMessage {
 public:
  SubMessage(CompositeMessage& owner, std::uint32_t index, std::uint32_t offset, Header header, NQMemoryPtr payload);

  std::int32_t addRef() override { return owner_.addRef(); }
  std::int32_t release() override { return owner_.release(); }

  CompositeMessage& owner() const { return owner_; }
  /// Where it starts in the root's body.
  std::uint32_t offset() const { return offset_; }
  /// Its number in the root, from 0 on.
  std::uint32_t index() const { return index_; }

 private:
  CompositeMessage& owner_;
  std::uint32_t offset_;
  std::uint32_t index_;
};

/// A view of a part of a block, all of it used. Of a view it is a view of the block behind that, so that however often
/// a body is split, no chain of views comes into being.
class CompositeMessage::MemoryView : public NQMemory {
 protected:
  MemoryView(const NQMemoryPtr& source, std::byte* bytes, std::uint32_t length);

 private:
  NQMemoryPtr source_;
};

/// The bytes at an offset in the block. Throws NQException for those that it does not have.
class CompositeMessage::PartialMemory final : public MemoryView {
 public:
  PartialMemory(const NQMemoryPtr& source, std::uint32_t offset, std::uint32_t length);
};

/// Bytes of the block that are known by their place in memory.
class CompositeMessage::ProxyMemory final : public MemoryView {
 public:
  ProxyMemory(const NQMemoryPtr& source, std::byte* bytes, std::uint32_t length) : MemoryView(source, bytes, length) {}
};

}  // namespace qvs
