#include "host/verify/tagCheck.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/files/tracks.h"
#include "host/verify/protectionCheck.h"
#include "packaging/CodecBoxes.h"
#include "packaging/tagCodec.h"
#include "platform/container/reading/SegmentError.h"
#include "util/tagHeader.h"

namespace host {

using namespace qvs::util;
using namespace ruvo::k2rpkgutil;
using krvo::container::BoxSpan;
using krvo::container::SegmentError;
using krvo::container::StoredSample;
using krvo::container::Track;

namespace {

/// Reads the tags of one `mdat`, and recovers from a wrong size as long as two of three witnesses agree on it: the
/// tag's header, its hint sample and its back pointer.
class TagChecker {
 public:
  TagChecker(const SegmentContext& segment, const BoxSpan& mdat, const std::vector<StoredSample>& hints)
      : file_(segment.file),
        out_(segment.out),
        hints_(hints),
        offset_(mdat.payloadOffset()),
        end_(mdat.end()),
        protected_(hasProtectedTrack(segment.movie)) {}

  std::vector<TagContent> run() {
    try {
      while (offset_ < end_) step();
    } catch (const SegmentError& error) {
      out_.damage(error.offset(), error.fault());
    }
    return std::move(tags_);
  }

 private:
  void step() {
    const std::uint64_t own = tagSizeAt(file_, offset_, end_);
    const std::size_t place = tags_.size();
    std::uint64_t size = own;
    if (place < hints_.size() && hints_[place].size != own) size = settle(own, hints_[place]);
    const TagContent tag = readTag(file_, offset_, size, end_, protected_);
    out_.expect(tag.place.end() - kTagBackPointerSize, "tag: back pointer", size - kTagBackPointerSize,
                tag.backPointer);
    tags_.push_back(tag);
    offset_ = tag.place.end();
  }

  /// Returns the size that the back pointer confirms. Throws SegmentError if it confirms neither.
  std::uint64_t settle(std::uint64_t own, const StoredSample& sample) {
    if (fits(sample.size)) {
      out_.damage(offset_,
                  fmt::format("tag: data size: expected {}, found {}", sample.size - kTagOverhead, own - kTagOverhead));
      return sample.size;
    }
    if (!fits(own)) {
      throw SegmentError(offset_, fmt::format("tag: {} bytes by its header, {} by its sample, and no back pointer "
                                              "confirms either; the rest of the mdat cannot be read",
                                              own, sample.size));
    }
    out_.damage(sample.fieldsOffset,
                fmt::format("hint sample of the tag at {}: size: expected {}, found {}", offset_, own, sample.size));
    return own;
  }

  bool fits(std::uint64_t size) {
    if (size < kTagOverhead || size > end_ - offset_) return false;
    ByteReader pointer(file_.view(offset_ + size - kTagBackPointerSize, kTagBackPointerSize));
    return pointer.u32() == size - kTagBackPointerSize;
  }

  FileView& file_;
  const FileFindings& out_;
  const std::vector<StoredSample>& hints_;
  std::uint64_t offset_;
  std::uint64_t end_;
  bool protected_;
  std::vector<TagContent> tags_;
};

bool isTagType(std::uint8_t rawType) {
  constexpr std::uint8_t kTypes[] = {kAudioTag, kVideoTag, kAmf3DataTag, kAmf0DataTag};
  return std::any_of(std::begin(kTypes), std::end(kTypes),
                     [rawType](std::uint8_t type) { return rawType == type || rawType == (type | kTagProtectedBit); });
}

const Track* trackOf(const SegmentContext& segment, const TagContent& tag) {
  return findTrack(segment.movie, tag.isVideo() ? "vide"_4cc : tag.isAudio() ? "soun"_4cc : "meta"_4cc);
}

/// Checks that a sequence header contains the configuration in the sample entry of its track. The recorder makes these
/// tags itself, so the bytes before the configuration are always the same.
void checkConfiguration(const SegmentContext& segment, const TagContent& tag) {
  const Track* const track = trackOf(segment, tag);
  if (track == nullptr || track->descriptions.empty() || !tag.sampleOffset || tag.isProtected) return;
  constexpr std::uint8_t kAvcKeyFrame = 0x17;
  constexpr std::uint8_t kAacAnyRate = 0xAF;
  segment.out.expect(tag.place.dataOffset(), "sequence header: first data byte",
                     tag.isVideo() ? kAvcKeyFrame : kAacAnyRate, tag.firstByte);
  if (tag.compositionTime != 0) {
    segment.out.damage(tag.place.dataOffset(),
                       fmt::format("sequence header: composition time: expected 0, found {}", tag.compositionTime));
  }
  const ByteBuffer header{std::span<const std::byte>(track->descriptions.front()->codecHeader)};
  auto expected = tag.isVideo() ? findAvcCBox(header) : findAacConfig(header);
  constexpr std::size_t kBoxHeader = 8;
  if (tag.isVideo() && expected.size() >= kBoxHeader) expected = expected.subspan(kBoxHeader);
  const std::uint64_t size = tag.place.dataSize - *tag.sampleOffset;
  const std::uint64_t offset = tag.place.offset + kTagHeaderSize + *tag.sampleOffset;
  const bool alike = size == expected.size() && size <= FileView::kWindow &&
                     std::ranges::equal(segment.file.view(offset, expected.size()), expected);
  if (!alike) segment.out.damage(offset, "sequence header: the configuration differs from that of its track");
}

void checkTag(const SegmentContext& segment, const TagContent& tag) {
  const FileFindings& out = segment.out;
  if (!isTagType(tag.place.rawType)) {
    out.damage(tag.place.offset, fmt::format("tag: type: expected 8, 9, 15 or 18, found {}", tag.place.rawType));
    return;
  }
  out.expect(tag.place.offset + kTagStreamIdOffset, "tag: stream id", 0, tag.streamId);
  if (tag.isProtected) checkTagFilter(segment, tag);
  if (tag.hidesCodec()) return;
  const Track* const track = trackOf(segment, tag);
  if (tag.place.dataSize == 0 || !tag.isRecordable() || track == nullptr ||
      tagFormatCode(clearFormat(*track)) != tag.formatCode()) {
    out.damage(tag.place.offset,
               fmt::format("tag: type {} and first data byte {}: the codec differs from that of the track",
                           tag.place.rawType, tag.firstByte));
    return;
  }
  // The recorder takes a tag that is too short for a packet type for a sequence header. It has no configuration to
  // check.
  constexpr std::uint32_t kWithPacketType = 2;
  if (tag.isSequenceHeader() && tag.place.dataSize >= kWithPacketType) checkConfiguration(segment, tag);
}

}  // namespace

std::vector<StoredSample> hintSamples(const SegmentContext& segment, const FragmentContent& content) {
  const Track* const hint = findTrack(segment.movie, "hint"_4cc);
  if (hint == nullptr || !content.tracks) return {};
  const auto own = std::find_if(content.tracks->begin(), content.tracks->end(),
                                [hint](const auto& track) { return track.trackId == hint->id; });
  return own == content.tracks->end() ? std::vector<StoredSample>() : own->samples;
}

std::vector<TagContent> checkTags(const SegmentContext& segment, const BoxSpan& mdat,
                                  const std::vector<StoredSample>& hints) {
  return TagChecker(segment, mdat, hints).run();
}

void checkTagContents(const SegmentContext& segment, const std::vector<TagContent>& tags) {
  for (const TagContent& tag : tags) checkTag(segment, tag);
}

void checkTagOrder(const SegmentContext& segment, const std::vector<TagContent>& tags) {
  const auto back = std::adjacent_find(tags.begin(), tags.end(), [](const TagContent& before, const TagContent& after) {
    return after.place.timestamp < before.place.timestamp;
  });
  if (back == tags.end()) return;
  const TagContent& late = *(back + 1);
  segment.out.damage(late.place.offset + kTagTimeOffset, fmt::format("tag: time: expected {} or later, found {}",
                                                                     back->place.timestamp, late.place.timestamp));
}

}  // namespace host
