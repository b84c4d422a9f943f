#include "fragmentation/AfraBox.h"

#include <cstdint>
#include <span>

#include "fragmentation/BoxHeader.h"
#include "fragmentation/writeBytes.h"
#include "util/StreamReader.h"
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

std::size_t offsetSize(const AfraIndex& index) {
  return index.longOffsets ? 8 : 4;
}

void appendLocalEntries(ByteWriter& out, const AfraIndex& index) {
  out.u32(narrow<std::uint32_t>(index.localEntries.size()));
  for (const AfraEntry& entry : index.localEntries) {
    out.u64(entry.time);
    appendOffset(out, index, entry.offset);
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

std::size_t afraHeadSize(const AfraIndex& index) {
  constexpr std::size_t kFixed = 21;
  constexpr std::size_t kGlobalCount = 4;
  return kFixed + (8 + offsetSize(index)) * index.localEntries.size() +
         (index.globalEntries.empty() ? 0 : kGlobalCount);
}

std::size_t afraEntrySize(const AfraIndex& index) {
  return 8 + 2 * (index.longIds ? 4 : 2) + 2 * offsetSize(index);
}

void appendAfra(ByteWriter& out, const AfraIndex& index) {
  // Growing step by step made a long index six times slower.
  out.reserve(out.size() + afraHeadSize(index) + afraEntrySize(index) * index.globalEntries.size());
  appendAfraHead(out, index);
  appendAfraEntries(out, index, 0);
}

void appendAfraHead(ByteWriter& out, const AfraIndex& index) {
  const bool hasGlobalEntries = !index.globalEntries.empty();
  const std::size_t entriesSize = afraEntrySize(index) * index.globalEntries.size();
  out.u32(static_cast<std::uint32_t>(afraHeadSize(index) + entriesSize));
  out.u32("afra"_4cc);
  out.u32(0);  // version and flags
  // Without global entries even their count is absent: an empty index has 21 bytes.
  out.u8(static_cast<std::uint8_t>((index.longIds ? kLongIds : 0) | (index.longOffsets ? kLongOffsets : 0) |
                                   (hasGlobalEntries ? kGlobalEntries : 0)));
  out.u32(index.timescale);
  appendLocalEntries(out, index);
  if (hasGlobalEntries) out.u32(narrow<std::uint32_t>(index.globalEntries.size()));
}

void appendAfraEntries(ByteWriter& out, const AfraIndex& index, std::size_t skipped) {
  for (const AfraEntry& entry : std::span(index.globalEntries).subspan(skipped)) {
    out.u64(entry.time);
    appendId(out, index, entry.segment);
    appendId(out, index, entry.fragment);
    appendOffset(out, index, entry.afraOffset);
    appendOffset(out, index, entry.offsetFromAfra);
  }
}

void writeAfra(std::ostream& out, const AfraIndex& index) {
  ByteWriter image;
  appendAfra(image, index);
  writeBytes(out, image.bytes());
}

}  // namespace ruvo::k2r
