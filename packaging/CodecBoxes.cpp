#include "packaging/CodecBoxes.h"

#include <boost/iostreams/stream.hpp>
#include <cstdint>

#include "util/ByteSource.h"
#include "util/box.h"
#include "util/bytes.h"

namespace ruvo::k2rpkgutil {
namespace {

using namespace qvs::util;

// Descriptors of ISO/IEC 14496-1, 7.2.2.1.
constexpr std::uint8_t kEsDescriptor = 3;
constexpr std::uint8_t kDecoderConfig = 4;
constexpr std::uint8_t kDecoderSpecificInfo = 5;
constexpr std::uint8_t kSlConfig = 6;

constexpr std::size_t kBoxHeaderSize = 8;
constexpr std::size_t kFullBoxHeaderSize = 12;

/// Writes a descriptor's tag and length; `size` counts the bytes that follow. Always four bytes of length, also where
/// one would do: the sizes below and those in existing files count on it.
void beginDescriptor(ByteWriter& out, std::uint8_t tag, std::uint64_t size) {
  constexpr std::uint64_t kLimit = std::uint64_t{1} << 28;
  if (size >= kLimit) throw std::out_of_range("a descriptor is too long for its length field");
  out.u8(tag);
  for (const int shift : {21, 14, 7}) out.u8(static_cast<std::uint8_t>(0x80 | (size >> shift & 0x7F)));
  out.u8(static_cast<std::uint8_t>(size & 0x7F));
}

/// Reads a length of any number of bytes. The shift may lose high bits of a very long one, which does no harm: whatever
/// comes out is checked against the input by the reader of the bytes.
std::uint64_t readDescriptorLength(ByteReader& in) {
  std::uint64_t length = 0;
  for (;;) {
    const std::uint8_t byte = in.u8();
    length = length << 7 | (byte & 0x7FU);
    if ((byte & 0x80) == 0) return length;
  }
}

/// From the first box of `type` to the end of the bytes; empty if there is none. A search for the four characters, not
/// a walk over boxes: headers of other programs may begin with fields that are no box.
std::span<const std::byte> fromBox(const ByteBuffer& header, FourCC type) {
  ByteBuffer copy = header;  // a source can also be written through, which must not reach the header
  boost::iostreams::stream<k2r::ByteSource> stream{k2r::ByteSource(copy)};
  if (!k2r::findBox(stream, type)) return {};
  const auto found = header.bytes().subspan(static_cast<std::size_t>(stream.tellg()));
  // The four characters may be found so early that there is no room for a size before them.
  ByteReader in(found);
  in.skip(sizeof(std::uint32_t));
  return in.remaining() >= sizeof(FourCC) && in.u32() == type ? found : std::span<const std::byte>();
}

std::span<const std::byte> readDecoderSpecificInfo(ByteReader in) {
  in.skip(kFullBoxHeaderSize);
  if (in.u8() == kEsDescriptor) {
    readDescriptorLength(in);
    in.skip(3);  // ES id and flags
  } else {
    in.skip(2);  // some writers have the ES id alone instead of the descriptor
  }
  if (in.u8() != kDecoderConfig) return {};
  readDescriptorLength(in);
  in.skip(13);  // object type, stream type, buffer size and bit rates
  if (in.u8() != kDecoderSpecificInfo) return {};
  return in.bytes(readDescriptorLength(in));
}

}  // namespace

ByteBuffer makeAvcCBox(std::span<const std::byte> record) {
  ByteWriter out;
  {
    BoxScope box(out, "avcC"_4cc);
    out.bytes(record);
  }
  return ByteBuffer(out.bytes());
}

ByteBuffer makeEsdsBox(std::span<const std::byte> config) {
  // 13 bytes of decoder config fields, 5 of the next descriptor's tag and length.
  constexpr std::uint64_t kSpecificOverhead = 18;
  // 3 bytes of ES fields, 5 + 18 of the decoder config, 6 of the SL config.
  constexpr std::uint64_t kEsOverhead = 32;
  ByteWriter out;
  {
    BoxScope box(out, "esds"_4cc, 0, 0);
    beginDescriptor(out, kEsDescriptor, config.size() + kEsOverhead);
    out.u16(0x0040);  // ES id; players ignore it, existing files have this one
    out.u8(0x10);     // stream priority 16, and no flag for a further field
    beginDescriptor(out, kDecoderConfig, config.size() + kSpecificOverhead);
    out.u8(0x40);       // object type: audio of ISO/IEC 14496-3
    out.u8(0x15);       // audio stream, downstream, reserved bit 1
    out.u24(0x000600);  // buffer size: 6144 bits for each of two channels (14496-3, 4.5.3)
    out.u32(0);         // maximum bit rate
    out.u32(0);         // average bit rate
    beginDescriptor(out, kDecoderSpecificInfo, config.size());
    out.bytes(config);
    beginDescriptor(out, kSlConfig, 1);
    out.u8(0x02);  // the predefined value that 14496-14 demands in files
  }
  return ByteBuffer(out.bytes());
}

std::span<const std::byte> fromAvcCBox(const ByteBuffer& header) {
  return fromBox(header, "avcC"_4cc);
}

std::span<const std::byte> findAvcCBox(const ByteBuffer& header) {
  const auto found = fromAvcCBox(header);
  if (found.empty()) return {};
  const std::uint32_t size = ByteReader(found).u32();
  return size < kBoxHeaderSize || size > found.size() ? std::span<const std::byte>() : found.first(size);
}

std::span<const std::byte> findAacConfig(const ByteBuffer& header) {
  try {
    return readDecoderSpecificInfo(ByteReader(fromBox(header, "esds"_4cc)));
  } catch (const MalformedInput&) {
    return {};
  }
}

std::span<const std::byte> fromSinfBox(const ByteBuffer& header) {
  return fromBox(header, "sinf"_4cc);
}

}  // namespace ruvo::k2rpkgutil
