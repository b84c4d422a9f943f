#include "packaging/CodecBoxes.h"

#include <boost/iostreams/stream.hpp>
#include <cstdint>

#include "util/ByteSource.h"
#include "util/box.h"
#include "util/bytes.h"
#include "util/narrow.h"

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

/// A descriptor being written: its tag and 4 bytes of length, seven bits in each; `size` counts what follows.
void beginDescriptor(ByteWriter& out, std::uint8_t tag, std::uint64_t size) {
  constexpr std::uint64_t kLimit = std::uint64_t{1} << 28;
  if (size >= kLimit) throw std::out_of_range("a descriptor is too long for its length field");
  out.u8(tag);
  for (const int shift : {21, 14, 7}) out.u8(static_cast<std::uint8_t>(0x80 | (size >> shift & 0x7F)));
  out.u8(static_cast<std::uint8_t>(size & 0x7F));
}

/// A length of any number of bytes; one that 64 bits do not hold is as good as any that leads out of the input.
std::uint64_t readDescriptorLength(ByteReader& in) {
  std::uint64_t length = 0;
  for (;;) {
    const std::uint8_t byte = in.u8();
    length = length << 7 | (byte & 0x7FU);
    if ((byte & 0x80) == 0) return length;
  }
}

/// From the first box of `type` to the end of the bytes; empty where there is none.
std::span<const std::byte> fromBox(const ByteBuffer& header, FourCC type) {
  ByteBuffer copy = header;  // a source may be written through, codec headers stay as they are
  boost::iostreams::stream<k2r::ByteSource> stream{k2r::ByteSource(copy)};
  if (!k2r::findBox(stream, type)) return {};
  const auto found = header.bytes().subspan(static_cast<std::size_t>(stream.tellg()));
  // The characters may stand so early that there is no size in front of them.
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
    in.skip(2);
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
  constexpr std::uint64_t kSpecificOverhead = 18;  // decoder config fields and the header of what they hold
  constexpr std::uint64_t kEsOverhead = 32;
  ByteWriter out;
  {
    BoxScope box(out, "esds"_4cc, 0, 0);
    beginDescriptor(out, kEsDescriptor, config.size() + kEsOverhead);
    out.u16(0x0040);  // ES id
    out.u8(0x10);     // stream priority 16, no further fields
    beginDescriptor(out, kDecoderConfig, config.size() + kSpecificOverhead);
    out.u8(0x40);  // audio of 14496-3
    out.u8(0x15);  // audio stream, downstream
    out.u24(0x000600);
    out.u32(0);  // maximum bit rate
    out.u32(0);  // average bit rate
    beginDescriptor(out, kDecoderSpecificInfo, config.size());
    out.bytes(config);
    beginDescriptor(out, kSlConfig, 1);
    out.u8(0x02);  // predefined for MP4 files
  }
  return ByteBuffer(out.bytes());
}

std::span<const std::byte> findAvcCBox(const ByteBuffer& header) {
  const auto found = fromBox(header, "avcC"_4cc);
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
