#include "fragmentation/AfraBox.h"

#include <cstdint>

#include "fragmentation/BoxHeader.h"
#include "fragmentation/writeBytes.h"
#include "util/StreamReader.h"
#include "util/box.h"
#include "util/fourcc.h"
#include "util/narrow.h"

namespace ruvo::k2r {
namespace {

using namespace qvs::util;

// Bits of the sizes byte.
constexpr std::uint8_t kLongIds = 0x80;
constexpr std::uint8_t kLongOffsets = 0x40;
constexpr std::uint8_t kGlobalEntries = 0x20;

std::uint32_t readId(StreamReader& in, const AfraIndex& index) {
  return index.longIds ? in.u32() : in.u16();
}

std::uint64_t readOffset(StreamReader& in, const AfraIndex& index) {
  return index.longOffsets ? in.u64() : in.u32();
}

AfraEntry readLocalEntry(StreamReader& in, const AfraIndex& index) {
  AfraEntry entry;
  entry.time = in.u64();
  entry.offset = readOffset(in, index);
  return entry;
}

AfraEntry readGlobalEntry(StreamReader& in, const AfraIndex& index) {
  AfraEntry entry;
  entry.time = in.u64();
  entry.segment = readId(in, index);
  entry.fragment = readId(in, index);
  entry.afraOffset = readOffset(in, index);
  entry.offsetFromAfra = readOffset(in, index);
  return entry;
}

void appendId(ByteWriter& out, const AfraIndex& index, std::uint32_t id) {
  if (index.longIds) {
    out.u32(id);
  } else {
    out.u16(static_cast<std::uint16_t>(id));
  }
}

void appendOffset(ByteWriter& out, const AfraIndex& index, std::uint64_t offset) {
  if (index.longOffsets) {
    out.u64(offset);
  } else {
    out.u32(static_cast<std::uint32_t>(offset));
  }
}

void appendLocalEntries(ByteWriter& out, const AfraIndex& index) {
  out.u32(narrow<std::uint32_t>(index.localEntries.size()));
  for (const AfraEntry& entry : index.localEntries) {
    out.u64(entry.time);
    appendOffset(out, index, entry.offset);
  }
}

void appendGlobalEntries(ByteWriter& out, const AfraIndex& index) {
  out.u32(narrow<std::uint32_t>(index.globalEntries.size()));
  for (const AfraEntry& entry : index.globalEntries) {
    out.u64(entry.time);
    appendId(out, index, entry.segment);
    appendId(out, index, entry.fragment);
    appendOffset(out, index, entry.afraOffset);
    appendOffset(out, index, entry.offsetFromAfra);
  }
}

}  // namespace

void readAfra(std::istream& stream, AfraIndex& index) {
  StreamReader in(stream);
  const BoxHeader header = readBoxHeader(in);
  if (header.type != "afra"_4cc || header.version != 0) throw InvalidAfraFormat();
  const std::uint8_t sizes = in.u8();
  index.longIds = (sizes & kLongIds) != 0;
  index.longOffsets = (sizes & kLongOffsets) != 0;
  index.timescale = in.u32();
  // No reserve() by the counts: they come from the file, and 2^32 entries would be 170 GB before the first is read.
  for (std::uint32_t left = in.u32(); left > 0; --left) index.localEntries.push_back(readLocalEntry(in, index));
  if ((sizes & kGlobalEntries) == 0) return;
  for (std::uint32_t left = in.u32(); left > 0; --left) index.globalEntries.push_back(readGlobalEntry(in, index));
}

void appendAfra(ByteWriter& out, const AfraIndex& index) {
  const bool hasGlobalEntries = !index.globalEntries.empty();
  // The index of a long recording is written anew for each fragment; growing step by step made that six times slower.
  constexpr std::size_t kLongestEntry = 32;
  out.reserve(out.size() + kLongestEntry * (1 + index.localEntries.size() + index.globalEntries.size()));
  const BoxScope box(out, "afra"_4cc, 0, 0);
  // Without global entries even their count is absent: an empty index has 21 bytes.
  out.u8(static_cast<std::uint8_t>((index.longIds ? kLongIds : 0) | (index.longOffsets ? kLongOffsets : 0) |
                                   (hasGlobalEntries ? kGlobalEntries : 0)));
  out.u32(index.timescale);
  appendLocalEntries(out, index);
  if (hasGlobalEntries) appendGlobalEntries(out, index);
}

void writeAfra(std::ostream& out, const AfraIndex& index) {
  ByteWriter image;
  appendAfra(image, index);
  writeBytes(out, image.bytes());
}

}  // namespace ruvo::k2r
