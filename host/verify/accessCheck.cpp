#include "host/verify/accessCheck.h"

#include <fmt/format.h>

#include "host/files/imageFields.h"
#include "host/files/smallFiles.h"
#include "host/files/tracks.h"
#include "host/verify/tagCheck.h"
#include "platform/container/reading/SegmentError.h"
#include "util/bytes.h"

namespace host {

using qvs::util::operator""_4cc;

namespace {

/// Whether every recorder writes an entry for the tag: for AVC the configuration before a key frame, for other codecs
/// the key frame itself.
bool isEntry(const TagContent& tag) {
  if (!tag.isVideo() || !tag.isRecordable()) return false;
  return tag.formatCode() == "H264"_4cc ? tag.isSequenceHeader() : tag.isKeyFrame();
}

/// Whether a recorder may write an entry for the tag. Without video it writes some for audio. A protected tag that is
/// too short does not show its codec, and may be either.
bool mayBeEntry(const SegmentContext& segment, const TagContent& tag) {
  if (isEntry(tag) || (tag.isVideo() && tag.hidesCodec())) return true;
  return tag.isAudio() && !tag.isSequenceHeader() && findTrack(segment.movie, "vide"_4cc) == nullptr;
}

/// The base time that the fragment's own samples imply, in ms. BaseTimes reports it if it is wrong; here it must not
/// make every entry wrong as well.
std::uint32_t baseOf(const SegmentContext& segment, const FragmentContent& content) {
  const auto hints = hintSamples(segment, content);
  if (hints.empty() || content.tags.empty()) return segment.bases.base().value_or(0);
  return content.tags.front().place.timestamp - static_cast<std::uint32_t>(hints.front().decodeTime);
}

/// Steps through the tags of a fragment and the entries of its `afra` in parallel.
class EntryWalk {
 public:
  EntryWalk(const SegmentContext& segment, const FragmentContent& content, const ruvo::k2r::AfraIndex& afra)
      : segment_(segment),
        tags_(content.tags),
        afra_(afra),
        start_(content.boxes.position()),
        base_(baseOf(segment, content)) {}

  void run() {
    for (std::size_t i = 0; i < afra_.localEntries.size(); ++i) {
      if (!step(i)) return;
    }
    passOver(UINT64_MAX, start_);
  }

 private:
  bool step(std::size_t i) {
    const auto& entry = afra_.localEntries[i];
    const std::uint64_t at = start_ + localEntryOffset(afra_, i);
    passOver(entry.offset, at);
    if (next_ == tags_.size() || offsetOf(tags_[next_]) != entry.offset || !mayBeEntry(segment_, tags_[next_])) {
      segment_.out.damage(at, fmt::format("afra: entry {}: expected the offset of a tag where decoding can start, "
                                          "found {}",
                                          i + 1, entry.offset));
      return false;
    }
    const std::uint32_t time = tags_[next_].place.timestamp - base_;
    segment_.out.expect(at, fmt::format("afra: entry {}: time", i + 1), time, entry.time);
    ++next_;
    return true;
  }

  /// Steps over the tags before `offset`, which have no entry. `at` is the offset at which one is missing.
  void passOver(std::uint64_t offset, std::uint64_t at) {
    for (; next_ < tags_.size() && offsetOf(tags_[next_]) < offset; ++next_) {
      if (!isEntry(tags_[next_])) continue;
      segment_.out.damage(
          at, fmt::format("afra: no entry of the tag at {}, where decoding can start", tags_[next_].place.offset));
    }
  }

  std::uint64_t offsetOf(const TagContent& tag) const { return tag.place.offset - start_; }

  const SegmentContext& segment_;
  const std::vector<TagContent>& tags_;
  const ruvo::k2r::AfraIndex& afra_;
  std::uint64_t start_;
  std::uint32_t base_;
  std::size_t next_ = 0;
};

/// Whether the box can be read. An append rebuilds one that cannot from the fragments, so that is less than damage.
bool isTable(FileView& file, const krvo::container::BoxSpan& mfra) {
  try {
    krvo::container::RandomAccessTable(file, mfra);
    return true;
  } catch (const krvo::container::SegmentError&) {
    return false;
  }
}

}  // namespace

void checkAccessEntries(const SegmentContext& segment, const FragmentContent& content,
                        const ruvo::k2r::AfraIndex& afra) {
  EntryWalk(segment, content, afra).run();
}

void checkRandomAccess(const SegmentContext& segment, const krvo::container::BoxSpan& mfra,
                       const krvo::container::RandomAccessTable& expected, Severity torn) {
  qvs::util::ByteWriter image;
  expected.write(image, segment.movie);
  try {
    const auto place = firstDifference(image.bytes(), loadBox(segment.file, mfra));
    if (!place) return;
    segment.out.add(isTable(segment.file, mfra) ? Severity::kDamage : torn, mfra.offset + *place,
                    "mfra: another table than that of the fragments");
  } catch (const krvo::container::SegmentError& error) {
    segment.out.damage(error.offset(), error.fault());
  }
}

}  // namespace host
