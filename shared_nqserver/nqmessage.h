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

/// Numbers of messages by kind.
using KindCounts = std::array<std::uint64_t, kKindLimit>;

/// One timed unit of a stream, or several packed into one. The object contains the header in its wire form (see
/// util/tagHeader.h); the payload is in a counted block, which may be shared. One thread fills a message, then it is
/// passed around by reference and no longer changed; only the reference count and the block's used length may be
/// changed by several threads. The order of the virtual operations is part of the interface.
class Message : public NQObject, private util::hidden::Noncopyable {
 public:
  using Header = std::span<const std::byte, util::kTagHeaderSize>;

  /// In milliseconds.
  virtual std::uint32_t timestamp() const { return util::tagTimestamp(header_.data()); }
  /// Whether it is a picture from which decoding can begin.
  virtual bool isKeyFrame() const = 0;
  /// Whether it is not video, or video without a picture.
  virtual bool isNonVideoOrInfoFrame() const = 0;
  /// Whether it is a picture on which no other depends.
  virtual bool isDisposableFrame() const = 0;
  /// Adds the messages in this one to `counts`, at their kinds with bit 6 cleared; none for kinds from kKindLimit on.
  virtual void countKinds(KindCounts& counts) const = 0;

  /// The type byte: kind, protection bit and bit 7.
  std::uint8_t rawType() const { return util::tagRawType(header_.data()); }
  /// The type byte without the protection bit and bit 7.
  MessageKind kind() const { return MessageKind{static_cast<std::uint8_t>(rawType() & util::kTagTypeMask)}; }
  /// Bytes of the payload by the header, 24 bits; the block may have fewer.
  std::uint32_t length() const { return util::tagDataSize(header_.data()); }
  /// 24 bits.
  std::uint32_t streamId() const { return util::tagStreamId(header_.data()); }
  /// The protection bit that `takeProtectedFlag` last found.
  bool protectedFlag() const { return protectedFlag_; }
  Header header() const { return header_; }
  /// The block of the payload; null before one is set.
  const NQMemoryPtr& data() const { return data_; }
  /// The front of the block, cut to the length in the header, the used length and the capacity, whichever is least. A
  /// view.
  std::span<const std::byte> payload() const;

  /// Sets the kind, and keeps the protection bit and bit 7 of the type byte.
  void setType(MessageKind kind);
  /// In milliseconds.
  void setTimestamp(std::uint32_t timestamp) { util::setTagTimestamp(header_.data(), timestamp); }
  /// Stores the low 24 bits.
  void setStreamId(std::uint32_t streamId) { util::setTagStreamId(header_.data(), streamId); }
  /// Sets the length in the header and, with `alsoBlock`, the block's used length. A value above kMaxTagDataSize is a
  /// diagnostic, and the header gets its low 24 bits.
  void setLength(std::uint32_t length, bool alsoBlock);
  /// Copies all 11 bytes; `protectedFlag` stays.
  void setHeader(Header header);
  /// Moves the protection bit of the type byte to `protectedFlag`: afterwards the type byte has none.
  void takeProtectedFlag();

 protected:
  void setData(NQMemoryPtr data) { data_ = std::move(data); }
  /// Sets header and `protectedFlag` to zero.
  void clearHeader();

 private:
  std::array<std::byte, util::kTagHeaderSize> header_ = {};
  NQMemoryPtr data_;
  bool protectedFlag_ = false;
};

/// One message with a header of its own.
class SingleMessage : public Message {
 public:
  /// Fields for other code that uses messages. The module neither reads nor sets them, except in NQMessage::reset.
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

  /// For audio the high nibble of the first payload byte, not shifted (AAC is 0xA0); for video the low nibble (AVC is
  /// 7); 0 for other messages and without a payload.
  std::uint8_t codec() const;
  /// The first two payload bytes of a control message; 0 if there are fewer.
  std::uint16_t controlSubtype() const;
  /// One of 250 locks shared by all messages. The module takes none of them.
  util::IMutex& stripeMutex() const { return stripeMutex_; }
  ServerState& serverState() { return serverState_; }

 protected:
  SingleMessage();

 private:
  bool isVideoFrame(std::uint8_t frameType) const;
  /// First byte of the block, whatever its used length is; 0 if the header has the length 0.
  std::uint8_t firstByte() const;

  util::IMutex& stripeMutex_;
  ServerState serverState_;
};

using SingleMessagePtr = NQPtr<SingleMessage>;

}  // namespace qvs

/// A message with a block of its own, to be filled. The block moves when it grows: no view of it may be in use then.
class NQMessage : public qvs::SingleMessage {
 public:
  /// An empty message whose block has room for `size` bytes. `pool` is null; another one is a diagnostic. Throws
  /// std::out_of_range for a `size` of 2^32 - 4 or more, and std::bad_alloc.
  explicit NQMessage(std::uint32_t size, NQPool* pool = nullptr);

  /// Back to an empty message with another block; header and the two numbers of ServerState are zero.
  void reset(std::uint32_t size);
  /// Sets the length of header and block and makes room for it; the payload is kept, and what is new is not
  /// initialised. Returns false, with nothing changed, above kMaxTagDataSize and if memory is short.
  bool ensureLength(std::uint32_t length);
  /// Appends bytes, which are not those of this message, to the payload. Returns false like `ensureLength`.
  bool append(std::span<const std::byte> bytes);
};

using NQMessagePtr = NQPtr<NQMessage>;
