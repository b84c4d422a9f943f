#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "fragmentation/SampleInfo.h"
#include "packaging/tagCodec.h"

namespace ruvo::k2rpkgutil {

/// One media tag in its stored form: header and data, and in the data the sample, which is what stands behind the codec
/// header bytes.
class Message {
 public:
  virtual ~Message() = default;
  /// Milliseconds. Here the tag's timestamp; a message with a clock of its own answers that.
  virtual std::uint32_t time() const;
  /// The 11 bytes of the tag header.
  virtual const std::byte* header() const = 0;
  virtual const std::byte* data() const = 0;
  virtual std::uint32_t dataSize() const = 0;
  virtual const std::byte* sample() const = 0;
  /// Where the sample begins, counted as the class says.
  virtual std::uint32_t sampleOffset() const = 0;
  virtual std::uint32_t sampleSize() const = 0;

  /// The tag type without the bits beside the kind.
  std::uint8_t type() const;
  std::uint32_t timestamp() const;
  bool isVideo() const { return type() == kVideoTag; }
  bool isAudio() const { return type() == kAudioTag; }
  bool isAmf0() const { return type() == kAmf0DataTag; }
  bool isAmf3() const { return type() == kAmf3DataTag; }
  bool isData() const { return isAmf0() || isAmf3(); }
  bool isKeyFrame() const;
  bool isCommandFrame() const;
  FourCC formatCode() const;
  /// Of the data; 0 where there are none.
  std::uint8_t firstByte() const;
  /// The second data byte where the codec has one that tells the kind of packet, AVC and AAC, and the data reach it.
  std::optional<std::uint8_t> packetType() const;
  /// What a fragmenter sees of it, at time().
  ruvo::k2r::SampleInfo sampleInfo() const;
};

/// How many of `size` data bytes stand in front of the sample. A codec whose header does not fit has none.
std::uint32_t codecHeaderSize(std::uint8_t type, const std::byte* data, std::uint32_t size);

}  // namespace ruvo::k2rpkgutil
