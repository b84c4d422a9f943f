#pragma once

#include <cstdint>
#include <list>
#include <memory>

#include "shared_nqserver/nqmessage.h"

namespace qvs {

class SubMessage;
class CompositeMessage;
using CompositeMessagePtr = NQPtr<CompositeMessage>;

/// An aggregate message taken apart: timed messages whose bytes stay where they are, in one block.
///
/// The body has no header; each member is a tag in it (see util/tagHeader.h), whose back pointer is ignored and may be
/// cut off after the last member. Timestamps of members are absolute, not relative to that of the aggregate.
///
/// A composite can be split into two parts between members. All parts share the members, which the root owns: the
/// composite that read the body. A reference to a part or a member keeps the whole body alive, and meanwhile the block
/// must not be changed. A composite is immutable once it is made, reference counts apart, so several threads may read
/// it. Composites are made by `make` and kept in NQPtr only.
///
/// The header of the aggregate is built, not read: length of the body, timestamp of the first member. No payload byte
/// is copied, neither by reading nor by splitting.
class CompositeMessage final : public Message {
 public:
  using Members = std::list<std::unique_ptr<SubMessage>>;
  using Position = Members::const_iterator;

  class MemoryView;
  class PartialMemory;
  class ProxyMemory;

  /// Reads the body of an aggregate message: the used length of its block. A message of another kind is a diagnostic,
  /// and is read nevertheless. Throws what the constructor throws.
  static CompositeMessagePtr create(const SingleMessagePtr& message);
  /// Reads `length` bytes of `block`, which becomes its used length. Throws NQException for a null or shorter block,
  /// for lengths in the body that do not add up, and for a body without members.
  CompositeMessage(NQMemoryPtr block, std::uint32_t length);
  /// A part: the members of `parent` from `begin` to `end`, whose bytes are `block`. Throws NQException if there are
  /// none.
  CompositeMessage(CompositeMessagePtr parent, NQMemoryPtr block, Position begin, Position end);
  ~CompositeMessage() override;

  /// The timestamp of the last member in milliseconds, while the header has that of the first.
  std::uint32_t timestamp() const override;
  bool isKeyFrame() const override { return false; }
  /// Whether there is audio and no video.
  bool isNonVideoOrInfoFrame() const override { return audioCodecs_ != 0 && videoCodecs_ == 0; }
  bool isDisposableFrame() const override { return false; }
  void countKinds(KindCounts& counts) const override;

  /// The members of this composite, in the root's list; valid as long as any part of the root.
  Position begin() const { return begin_; }
  Position end() const { return end_; }
  std::uint32_t memberCount() const { return memberCount_; }
  /// Number of members of a kind; 0 for kinds from kKindLimit on.
  std::uint64_t kindCount(std::uint32_t kind) const { return kind < kKindLimit ? kindCounts_[kind] : 0; }
  /// A bit for each codec of a member (see SingleMessage::codec): for audio by the high nibble, for video by the low
  /// one.
  std::uint16_t audioCodecs() const { return audioCodecs_; }
  std::uint16_t videoCodecs() const { return videoCodecs_; }
  /// Bit 0 if a member is data (kind 18), bit 1 if one is data of the Ex kind (15).
  std::uint8_t dataKinds() const { return dataKinds_; }
  /// The composite that this part was split from; null for a root.
  const CompositeMessagePtr& parent() const { return parent_; }

  /// Splits before the first member whose timestamp is at least `time`, in milliseconds. A part without members is
  /// null, and the other is then this composite itself. `first` or `second` may be the pointer that keeps this
  /// composite alive.
  void splitByTime(std::uint32_t time, CompositeMessagePtr& first, CompositeMessagePtr& second);
  /// The same after `count` members.
  void splitByCount(std::uint32_t count, CompositeMessagePtr& first, CompositeMessagePtr& second);
  /// A new part with the members after this one, of the nearest ancestor that has any; null if none has.
  CompositeMessagePtr trailingRemainder() const;
  /// The same for the members before this one.
  CompositeMessagePtr leadingRemainder() const;

 private:
  void readMembers();
  /// Builds the header and counts the members.
  void describe(std::uint32_t length);
  void count(const SubMessage& member);
  void splitAt(Position position, CompositeMessagePtr& first, CompositeMessagePtr& second);
  CompositeMessagePtr part(Position begin, Position end);
  /// Byte offset of a member, or of the end, in the block of this composite.
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

/// One member of an aggregate. It has no separate count: a reference to it is a reference to the root, which owns it.
class SubMessage final : public SingleMessage {
 public:
  SubMessage(CompositeMessage& owner, std::uint32_t index, std::uint32_t offset, Header header, NQMemoryPtr payload);

  std::int32_t addRef() override { return owner_.addRef(); }
  std::int32_t release() override { return owner_.release(); }

  CompositeMessage& owner() const { return owner_; }
  /// Byte offset of its header in the root's body, also for members of a part.
  std::uint32_t offset() const { return offset_; }
  /// Its number among the members of the root, from 0.
  std::uint32_t index() const { return index_; }

 private:
  CompositeMessage& owner_;
  std::uint32_t offset_;
  std::uint32_t index_;
};

/// A view of a part of a block, all of it used; keeps the block alive. A view of a view refers to the block of the
/// latter, so that a body that is split again and again has no chain of views, whose release would be recursive.
class CompositeMessage::MemoryView : public NQMemory {
 protected:
  MemoryView(const NQMemoryPtr& source, std::byte* bytes, std::uint32_t length);

 private:
  NQMemoryPtr source_;
};

/// The bytes at an offset of the block. Throws NQException if they exceed it.
class CompositeMessage::PartialMemory final : public MemoryView {
 public:
  PartialMemory(const NQMemoryPtr& source, std::uint32_t offset, std::uint32_t length);
};

/// Bytes of the block given by address, which the caller has checked.
class CompositeMessage::ProxyMemory final : public MemoryView {
 public:
  ProxyMemory(const NQMemoryPtr& source, std::byte* bytes, std::uint32_t length) : MemoryView(source, bytes, length) {}
};

}  // namespace qvs
