#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "shared_nqserver/nqmessagekinds.h"
#include "util/NQMemory.h"
#include "util/NQObject.h"
#include "util/NQPtr.h"
#include "util/Noncopyable.h"
#include "util/QVSThreadUtils.h"
#include "util/tagHeader.h"

namespace qvs {

/// How many messages there are of each kind.
using KindCounts = std::array<std::uint64_t, kKindLimit>;

/// One timed unit of a stream, or several packed into one. Its header stands in the object as on the wire (see
/// util/tagHeader.h) and the payload in a block that it shares with whoever holds that too. Filled by one thread, then
/// passed around by reference; only the reference count and the block's used length may be used by several at once.
class Message : public NQObject, private util::hidden::Noncopyable {
 public:
  using Header = std::span<const std::byte, util::kTagHeaderSize>;

  /// Milliseconds.
  virtual std::uint32_t timestamp() const { return util::tagTimestamp(header_.data()); }
  virtual bool isKeyFrame() const = 0;
  /// Not video, or video that is no picture.
  virtual bool isNonVideoOrInfoFrame() const = 0;
  /// A picture that no other one depends on.
  virtual bool isDisposableFrame() const = 0;
  /// Adds what is in here to `counts`, at its kind with bit 6 cleared; nothing for kinds from kKindLimit on.
  virtual void countKinds(KindCounts& counts) const = 0;

  std::uint8_t rawType() const { return util::tagRawType(header_.data()); }
  MessageKind kind() const { return MessageKind{static_cast<std::uint8_t>(rawType() & util::kTagTypeMask)}; }
  /// Of the payload, as the header says it.
  std::uint32_t length() const { return util::tagDataSize(header_.data()); }
  std::uint32_t streamId() const { return util::tagStreamId(header_.data()); }
  /// As `takeProtectedFlag` last found it.
  bool protectedFlag() const { return protectedFlag_; }
  Header header() const { return header_; }
  const NQMemoryPtr& data() const { return data_; }
  /// What the header, the block's used length and its capacity all have room for.
  std::span<const std::byte> payload() const;

  /// Sets the kind, and keeps what the type byte has beside it: the protection bit and bit 7.
  void setType(MessageKind kind);
  void setTimestamp(std::uint32_t timestamp) { util::setTagTimestamp(header_.data(), timestamp); }
  /// The low 24 bits.
  void setStreamId(std::uint32_t streamId) { util::setTagStreamId(header_.data(), streamId); }
  /// Up to kMaxTagDataSize; of a larger value, a diagnostic, the low 24 bits are stored. `alsoBlock`: as the block's
  /// used length too.
  void setLength(std::uint32_t length, bool alsoBlock);
  void setHeader(Header header);
  /// Moves the protection bit of the type into `protectedFlag`.
  void takeProtectedFlag();

 protected:
  void setData(NQMemoryPtr data) { data_ = std::move(data); }
  /// All zeros, `protectedFlag` too.
  void clearHeader();

 private:
  std::array<std::byte, util::kTagHeaderSize> header_ = {};
  NQMemoryPtr data_;
  bool protectedFlag_ = false;
};

/// One message with a header of its own.
class SingleMessage : public Message {
 public:
  /// What the server's code keeps with a message. Nothing here reads it.
  struct ServerState {
    NQObjectPtr object;
    std::uint64_t word = 0;
    std::uint8_t flag = 0;
    NQObjectPtr secondObject;
  };

  bool isKeyFrame() const override { return isVideoFrame(1); }
  bool isNonVideoOrInfoFrame() const override { return kind() != MessageKind::kVideo || isVideoFrame(5); }
  bool isDisposableFrame() const override { return isVideoFrame(3); }
  void countKinds(KindCounts& counts) const override;

  /// Of audio the high nibble of the first payload byte, in place; of video the low one; 0 of all else and without a
  /// payload.
  std::uint8_t codec() const;
  /// The first two payload bytes, as control messages have them; 0 where there are fewer.
  std::uint16_t controlSubtype() const;
  /// One of 250 locks that all messages share.
  util::IMutex& stripeMutex() const { return stripeMutex_; }
  ServerState& serverState() { return serverState_; }

 protected:
  SingleMessage();

 private:
  bool isVideoFrame(std::uint8_t frameType) const;
  /// Of the block, whatever that says of its used length; 0 where the header counts no payload.
  std::uint8_t firstByte() const;

  util::IMutex& stripeMutex_;
  ServerState serverState_;
};

using SingleMessagePtr = NQPtr<SingleMessage>;

}  // namespace qvs

/// A message with a block of its own, to be filled. The block grows while nobody else looks at its bytes.
class NQMessage : public qvs::SingleMessage {
 public:
  /// With room for `size` bytes, and 1 to 4 more. `pool` is null.
  explicit NQMessage(std::uint32_t size, NQPool* pool = nullptr);

  /// As new: another block, all zeros in the header and in the two numbers of the server's state.
  void reset(std::uint32_t size);
  /// Sets the length, the block's too, and makes room for it; the payload is kept. False, and nothing changed, above
  /// kMaxTagDataSize and where memory is short.
  bool ensureLength(std::uint32_t length);
  /// Puts bytes, not the message's own, behind the payload. False as above.
  bool append(std::span<const std::byte> bytes);
};

using NQMessagePtr = NQPtr<NQMessage>;
