#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "fragmentation/SampleInfo.h"
#include "packaging/tagCodec.h"

namespace ruvo::k2rpkgutil {

/// One media tag in its stored form: header and data. The data consist of the codec header bytes and, after them, the
/// sample, which is what a media track of the segment refers to.
///
/// The header and the data need not be adjacent (in a RefMessage they are not). Belongs to one thread. All pointers
/// point into the message's bytes and are valid as long as those are.
class Message {
 public:
  virtual ~Message() = default;
  /// Milliseconds from the start of the recording. This version returns the timestamp of the tag; a message that has
  /// both clocks overrides it.
  virtual std::uint32_t time() const;
  /// The 11 bytes of the tag header; layout in util/tagHeader.h.
  virtual const std::byte* header() const = 0;
  /// The first byte after the header; `dataSize()` bytes, possibly none.
  virtual const std::byte* data() const = 0;
  /// Bytes, at most 2^24 - 1.
  virtual std::uint32_t dataSize() const = 0;
  /// The part of the data after the codec header bytes.
  virtual const std::byte* sample() const = 0;
  /// Bytes before the sample. Classes count from different starts: RefMessage from its data, NQMessage from its
  /// header.
  virtual std::uint32_t sampleOffset() const = 0;
  /// Bytes of the sample, up to the end of the data.
  virtual std::uint32_t sampleSize() const = 0;

  /// The kind of tag: the type byte without the protection bit and the reserved bit.
  std::uint8_t type() const;
  /// Milliseconds on the stream's own clock, from the header.
  std::uint32_t timestamp() const;
  // These use type() alone, so a protected tag is of the kind of the clear one.
  bool isVideo() const { return type() == kVideoTag; }
  bool isAudio() const { return type() == kAudioTag; }
  bool isAmf0() const { return type() == kAmf0DataTag; }
  bool isAmf3() const { return type() == kAmf3DataTag; }
  bool isData() const { return isAmf0() || isAmf3(); }
  /// True for a video tag of frame type 1; false for any other kind, and for a video tag without data.
  bool isKeyFrame() const;
  /// True for a video tag that carries a command to the player instead of a picture.
  bool isCommandFrame() const;
  /// The codec by the tables of tagCodec(); 0 for one that is unknown.
  FourCC formatCode() const;
  /// The first byte of the data, or 0 if there are none: no codec has the number 0 there.
  std::uint8_t firstByte() const;
  /// The second data byte of AVC and AAC, which says what kind of packet follows; nothing for other codecs and for data
  /// of fewer than two bytes.
  std::optional<std::uint8_t> packetType() const;
  /// The view of this message that a fragmenter takes decisions on, at time().
  ruvo::k2r::SampleInfo sampleInfo() const;
};

/// Bytes of the data before the sample, for `size` bytes at `data` of a tag of that type. Returns 0 if the codec's
/// header does not fit: the whole data are then the sample, and the message is still stored.
std::uint32_t codecHeaderSize(std::uint8_t type, const std::byte* data, std::uint32_t size);

}  // namespace ruvo::k2rpkgutil
