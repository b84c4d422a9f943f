#include "host/unprotect/ClearSegment.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>

#include "host/errors.h"
#include "host/files/SegmentMap.h"
#include "host/files/inFile.h"
#include "host/files/protection.h"
#include "host/files/tracks.h"
#include "host/unprotect/SegmentFile.h"
#include "packaging/Message.h"
#include "packaging/tagCodec.h"
#include "platform/container/SegmentError.h"
#include "platform/container/SegmentReader.h"
#include "platform/container/SegmentWriter.h"
#include "platform/container/StatusError.h"
#include "util/tagHeader.h"
#include "wrappers/k2m/Writer.h"
#include "wrappers/k2m/records.h"

namespace host {

using namespace krvo::container;
using namespace qvs::util;
using Bytes = std::vector<std::byte>;

namespace {

/// The movie without the protection of its tracks.
Movie clearMovie(const Movie& movie) {
  Movie clear = movie;
  for (auto& track : clear.tracks) {
    track = std::make_shared<krvo::container::Track>(*track);
    for (auto& description : track->descriptions) {
      if (auto protection = readProtection(*description)) {
        description = std::make_shared<SampleDescription>(std::move(protection->clear));
      }
    }
  }
  return clear;
}

Bytes readBytes(FileView& file, std::uint64_t offset, std::size_t size) {
  Bytes bytes(size);
  file.read(offset, bytes);
  return bytes;
}

/// The library's view of bytes that it gives back when it has done with them.
OwnedData owned(Bytes bytes) {
  auto held = std::make_unique<Bytes>(std::move(bytes));
  const auto* const data = held->data();
  const auto buffer = krvo::k2m::makeDataBuffer(
      data, held.release(), [](void* context) { const std::unique_ptr<Bytes> done(static_cast<Bytes*>(context)); });
  return OwnedData(&buffer);
}

/// What the first bytes of a clear tag say; `place` is that of the protected one.
TagContent contentOf(const Bytes& tag, const StoredTag& place) {
  TagContent content;
  content.place = place;
  content.place.rawType = tagRawType(tag.data());
  content.firstByte = std::to_integer<std::uint8_t>(tag[kTagHeaderSize]);
  content.secondByte = std::to_integer<std::uint8_t>(tag[kTagHeaderSize + 1]);
  return content;
}

/// The track that a clear tag is a sample of; null for a configuration, which the hint track alone has.
const krvo::container::Track* mediaTrack(const Movie& movie, const TagContent& tag) {
  if (tag.isSequenceHeader()) return nullptr;
  return findTrack(movie, tag.isVideo() ? "vide"_4cc : tag.isAudio() ? "soun"_4cc : "meta"_4cc);
}

/// The format that protection data give a track is not under their signature, but the tags tell it, too.
void requireFormat(const krvo::container::Track& track, const TagContent& tag) {
  const FourCC told = track.descriptions.empty() ? 0 : track.descriptions.front()->formatCode;
  if (tag.formatCode() == 0 || ruvo::k2rpkgutil::tagFormatCode(told) == tag.formatCode()) return;
  throw SegmentError(tag.place.offset,
                     fmt::format("a tag of {} in a track of {}", toText(tag.formatCode()), toText(told)));
}

class SegmentCopy {
 public:
  SegmentCopy(FileView& file, const std::string& name, SegmentFile& target, krvo::encryption::SampleDecipher& decipher)
      : file_(file),
        name_(name),
        reader_(file),
        writer_(std::make_unique<Stream>(krvo::k2m::makeCallBacks(target)), allocator_.callBacks(),
                SegmentState{.movie = clearMovie(reader_.movie())}),
        decipher_(decipher) {}

  std::map<std::uint64_t, std::uint64_t> run(const std::set<std::uint64_t>& positions) {
    std::map<std::uint64_t, std::uint64_t> moved;
    std::uint64_t begin = writer_.startFragment();
    for (const std::uint64_t position : positions) {
      copyFragment(reader_.readFragment(position));
      moved.emplace(position, begin);
      begin = writer_.startFragment();
    }
    // A segment that was not ended goes on without its table.
    if (mapSegment(file_, positions).randomAccess() != nullptr) writer_.finish();
    return moved;
  }

 private:
  void copyFragment(const Fragment& fragment) {
    const auto size = static_cast<std::uint32_t>(fragment.abstBody.size());
    writer_.beginContent(owned(fragment.abstBody), size);
    const krvo::container::Track* const hint = findTrack(reader_.movie(), "hint"_4cc);
    const auto told = std::find_if(fragment.tracks.begin(), fragment.tracks.end(),
                                   [hint](const auto& track) { return hint != nullptr && track.trackId == hint->id; });
    const auto tags = reader_.readTags(fragment);
    // A fragment whose messages are all of a codec that is not written has no tag, and no track fragment at all.
    const std::size_t toldTags = told == fragment.tracks.end() ? 0 : told->samples.size();
    if (toldTags != tags.size()) {
      throw SegmentError(fragment.boxes.moof.offset, "a hint track that does not tell of each tag");
    }
    std::set<std::uint64_t> indexed;
    for (const AccessPoint& point : fragment.accessPoints) indexed.insert(fragment.boxes.afra.offset + point.offset);
    for (std::size_t i = 0; i < tags.size(); ++i) {
      copyTag(tags[i], told->samples[i].decodeTime, indexed.contains(tags[i].offset));
    }
  }

  void copyTag(const StoredTag& place, std::uint64_t time, bool isIndexed) {
    const TagContent stored = readTag(file_, place.offset, place.end() - place.offset, place.end(), true);
    Bytes bytes = clearTag(file_, stored, decipher_, name_);
    const TagContent tag = contentOf(bytes, place);
    const krvo::container::Track* const track = mediaTrack(writer_.movie(), tag);
    if (track != nullptr && (tag.isVideo() || tag.isAudio())) requireFormat(*track, tag);

    auto info = krvo::k2m::makeRecord<K2MSampleInfo>();
    info.length = narrow<std::uint32_t>(bytes.size());
    info.time = time;
    info.timescale = findTrack(writer_.movie(), "hint"_4cc)->timescale;
    info.sampleType = "hint"_4cc;
    info.flags = tag.isKeyFrame() ? 1 : 0;
    const auto dataSize = static_cast<std::uint32_t>(bytes.size() - kTagOverhead);
    const auto codecHeader =
        ruvo::k2rpkgutil::codecHeaderSize(tag.place.rawType, bytes.data() + kTagHeaderSize, dataSize);
    K2MMediaRange media{};
    media.offset = static_cast<std::uint32_t>(kTagHeaderSize) + codecHeader;
    media.length = dataSize - codecHeader;
    writer_.addTag(owned(std::move(bytes)), *findTrack(writer_.movie(), "hint"_4cc), track, info, media, isIndexed);
  }

  FileView& file_;
  const std::string& name_;
  SegmentReader reader_;
  krvo::k2m::Allocator allocator_;
  SegmentWriter writer_;
  krvo::encryption::SampleDecipher& decipher_;
};

}  // namespace

Bytes clearTag(FileView& file, const TagContent& tag, krvo::encryption::SampleDecipher& decipher,
               const std::string& name) {
  if (!tag.isProtected) return readBytes(file, tag.place.offset, static_cast<std::size_t>(tag.size()));
  const TagFilter filter = inFile(name, [&] { return readTagFilter(file, tag); });
  const std::uint64_t payloadOffset = tag.place.dataOffset() + filter.payloadOffset;
  Bytes payload = readBytes(file, payloadOffset, tag.place.dataSize - filter.payloadOffset);
  if (filter.encrypted) {
    auto clear = decipher.decrypt(payload, filter.vector);
    if (!clear) {
      throw CommandError(
          fmt::format("'{}': offset {}: the cipher text does not end in the padding of a sample: it was changed, or "
                      "encrypted under another key",
                      name, payloadOffset));
    }
    payload = *std::move(clear);
  }

  const Bytes front = readBytes(file, tag.place.offset, kTagHeaderSize + filter.clearBytes);
  const auto dataSize = static_cast<std::uint32_t>(filter.clearBytes + payload.size());
  Bytes bytes(dataSize + kTagOverhead);
  const auto behindFront = std::copy(front.begin(), front.end(), bytes.begin());
  std::copy(payload.begin(), payload.end(), behindFront);
  bytes.front() &= ~std::byte{ruvo::k2rpkgutil::kTagFilterBit};
  setTagDataSize(bytes.data(), dataSize);
  writeTagBackPointer(bytes.data() + kTagHeaderSize + dataSize, dataSize);
  return bytes;
}

std::map<std::uint64_t, std::uint64_t> writeClearSegment(const std::string& from, const std::string& to,
                                                         const std::set<std::uint64_t>& positions,
                                                         krvo::encryption::SampleDecipher& decipher) {
  FileView file(from);
  SegmentFile target(to);
  return inFile(from, [&] {
    try {
      return SegmentCopy(file, from, target, decipher).run(positions);
    } catch (const StatusError& error) {
      throw CommandError(fmt::format("'{}' cannot be written: container status {}", to, error.status()));
    }
  });
}

}  // namespace host
