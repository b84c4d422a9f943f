#include "platform/container/reading/fragmentReader.h"

#include <array>

#include "platform/container/reading/fragmentFlags.h"
#include "platform/container/reading/moofReader.h"
#include "util/tagHeader.h"

namespace krvo::container {

using qvs::util::ByteReader;
using qvs::util::kTagBackPointerSize;
using qvs::util::kTagHeaderSize;
using qvs::util::kTagOverhead;

namespace {

/// The bits of an `afra` that give the sizes of its fields.
constexpr std::uint8_t kSizesMask = 0xE0;

void expectVersion0(ByteReader& in) {
  demand(qvs::util::readVersionAndFlags(in).version == 0, "version 0 expected");
}

std::vector<AccessPoint> readAfra(Source& source, const BoxSpan& box) {
  const auto payload = loadPayload(source, box);
  LoadedBox afra = loadedBox(box, payload);
  return readBox(afra, [](ByteReader& in) {
    expectVersion0(in);
    demand((in.u8() & kSizesMask) == kAfraLongIdsAndOffsets, "long ids and offsets, and no more, expected");
    demand(in.u32() == kAfraTimescale, "timescale 1000 expected");
    const std::uint32_t count = in.u32();
    in.need(count * kAfraEntrySize);  // before memory is allocated for what the file claims
    std::vector<AccessPoint> points;
    points.reserve(count);
    for (std::uint32_t i = 0; i < count; ++i) {
      const std::uint64_t time = in.u64();
      points.push_back({.time = time, .offset = in.u64()});
    }
    return points;
  });
}

std::vector<std::byte> readAbst(Source& source, const BoxSpan& box) {
  const auto payload = loadPayload(source, box);
  LoadedBox abst = loadedBox(box, payload);
  return readBox(abst, [](ByteReader& in) {
    expectVersion0(in);
    // Not parsed here: the form of the body is that of the bootstrap file, and fragmentation/ reads both.
    const auto body = in.bytes(in.remaining());
    return std::vector<std::byte>(body.begin(), body.end());
  });
}

/// Reads the header at `offset` of a tag that ends at `end` or before it.
StoredTag readTagHeader(Source& source, std::uint64_t offset, std::uint64_t end) {
  if (end - offset < kTagOverhead) {
    throw SegmentError(offset, "a tag expected, " + std::to_string(end - offset) + " bytes left in the `mdat`");
  }
  std::array<std::byte, kTagHeaderSize> header{};
  source.read(offset, header);
  const StoredTag tag{.offset = offset,
                      .rawType = qvs::util::tagRawType(header.data()),
                      .timestamp = qvs::util::tagTimestamp(header.data()),
                      .dataSize = qvs::util::tagDataSize(header.data())};
  if (tag.dataSize > end - offset - kTagOverhead) {
    throw SegmentError(offset, "a tag of " + std::to_string(tag.dataSize) + " bytes of data, with " +
                                   std::to_string(end - offset - kTagOverhead) + " left in the `mdat`");
  }
  return tag;
}

/// Nobody needs the back pointer of a segment's tag, but a wrong one shows that the sizes do not fit the content.
void checkBackPointer(Source& source, const StoredTag& tag) {
  const std::uint64_t offset = tag.end() - kTagBackPointerSize;
  std::array<std::byte, kTagBackPointerSize> image{};
  source.read(offset, image);
  const std::uint32_t found = ByteReader(image).u32();
  const std::uint64_t expected = tag.dataSize + kTagHeaderSize;
  if (found != expected) {
    throw SegmentError(offset,
                       "back pointer " + std::to_string(expected) + " expected, " + std::to_string(found) + " found");
  }
}

}  // namespace

std::uint64_t StoredTag::dataOffset() const {
  return offset + kTagHeaderSize;
}

std::uint64_t StoredTag::end() const {
  return offset + dataSize + kTagOverhead;
}

FragmentBoxes locateFragment(Source& source, std::uint64_t position) {
  FragmentBoxes boxes;
  boxes.afra = expectBoxAt(source, position, "afra"_4cc);
  boxes.abst = expectBoxAt(source, boxes.afra.end(), "abst"_4cc);
  boxes.moof = expectBoxAt(source, boxes.abst.end(), "moof"_4cc);
  boxes.mdat = expectBoxAt(source, boxes.moof.end(), "mdat"_4cc);
  return boxes;
}

// An append needs only this number of the last fragment, so the rest of its `moof` may be unreadable.
std::uint32_t readSequenceNumber(Source& source, const BoxSpan& moof) {
  constexpr std::uint64_t kMfhdSize = 16;
  std::array<std::byte, kMfhdSize> image{};
  if (moof.payloadSize() < kMfhdSize) throw SegmentError(moof.offset, "`moof` without `mfhd`");
  source.read(moof.payloadOffset(), image);
  LoadedBox front{moof.type, moof.offset, moof.payloadOffset(), ByteReader(image)};
  return readBox(front, [](ByteReader& in) {
    ByteReader mfhd = qvs::util::openBox(in, "mfhd"_4cc);
    expectVersion0(mfhd);
    return mfhd.u32();
  });
}

// From the front to the back of the file, so that the first error reported is the one nearest to the start.
Fragment readFragment(Source& source, std::uint64_t position, const Movie& movie) {
  Fragment fragment;
  fragment.boxes = locateFragment(source, position);
  fragment.sequenceNumber = readSequenceNumber(source, fragment.boxes.moof);
  fragment.accessPoints = readAfra(source, fragment.boxes.afra);
  fragment.abstBody = readAbst(source, fragment.boxes.abst);
  fragment.tracks = readTrackFragments(source, fragment.boxes, movie);
  return fragment;
}

std::vector<StoredTag> readTags(Source& source, const BoxSpan& mdat) {
  std::vector<StoredTag> tags;
  // Each tag is checked to end inside the `mdat`, so the loop ends exactly at its end.
  for (std::uint64_t offset = mdat.payloadOffset(); offset < mdat.end(); offset = tags.back().end()) {
    tags.push_back(readTagHeader(source, offset, mdat.end()));
    checkBackPointer(source, tags.back());
  }
  return tags;
}

}  // namespace krvo::container
