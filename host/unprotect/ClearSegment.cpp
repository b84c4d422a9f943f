#include "host/unprotect/ClearSegment.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>

#include "host/errors.h"
#include "host/files/SegmentMap.h"
#include "host/files/inFile.h"
#include "host/files/protection.h"
#include "host/files/tracks.h"
#include "host/unprotect/NewSegmentFile.h"
#include "packaging/Message.h"
#include "packaging/tagCodec.h"
#include "platform/container/reading/SegmentError.h"
#include "platform/container/reading/SegmentReader.h"
#include "platform/container/reading/moovWriter.h"
#include "util/tagHeader.h"
#include "wrappers/k2m/Exception.h"
#include "wrappers/k2m/Writer.h"
#include "wrappers/k2m/records.h"

namespace host {

using namespace krvo::container;
using namespace qvs::util;
using Bytes = std::vector<std::byte>;

namespace {

/// A copy of the movie whose tracks have their unprotected sample descriptions.
Movie clearMovie(const Movie& movie) {
  Movie clear = movie;
  for (auto& track : clear.tracks) {
    // The tracks and descriptions are shared with the reader's movie, which must not change.
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

/// Hands bytes over to the container library, which frees them when it has written them.
KrvoK2MDataBuffer handOver(Bytes bytes) {
  auto held = std::make_unique<Bytes>(std::move(bytes));
  const auto* const data = held->data();
  return krvo::k2m::makeDataBuffer(
      data, held.release(), [](void* context) { const std::unique_ptr<Bytes> done(static_cast<Bytes*>(context)); });
}

/// The content of a clear tag. `place` is the place of the protected one, for error messages.
TagContent contentOf(const Bytes& tag, const StoredTag& place) {
  TagContent content;
  content.place = place;
  content.place.rawType = tagRawType(tag.data());
  content.firstByte = std::to_integer<std::uint8_t>(tag[kTagHeaderSize]);
  content.secondByte = std::to_integer<std::uint8_t>(tag[kTagHeaderSize + 1]);
  return content;
}

/// Throws SegmentError if the codec of a tag is not that of its track. The track's format comes from protection data
/// that no signature covers, so a changed one would otherwise produce a wrong recording without an error.
void requireFormat(const krvo::container::Track& track, const TagContent& tag) {
  const FourCC trackFormat = track.descriptions.empty() ? 0 : track.descriptions.front()->formatCode;
  if (tag.formatCode() == 0 || ruvo::k2rpkgutil::tagFormatCode(trackFormat) == tag.formatCode()) return;
  throw SegmentError(tag.place.offset,
                     fmt::format("a tag of {} in a track of {}", toText(tag.formatCode()), toText(trackFormat)));
}

/// Writes the header of the new file with all fields of the tracks. The container library continues a file with a
/// header, and would lose some of them if it made the tracks itself.
void writeHeader(const Movie& movie, std::uint64_t moovOffset, NewSegmentFile& target) {
  const auto isEmpty = [](const auto& track) { return track->descriptions.empty(); };
  if (movie.tracks.empty() || std::any_of(movie.tracks.begin(), movie.tracks.end(), isEmpty)) {
    throw SegmentError(moovOffset, "`moov` without a track, or with a track without a sample description");
  }
  ByteWriter header;
  krvo::container::writeHeader(header, movie);
  target.write(header.bytes().data(), header.size());
}

/// The library warns of the remains of a crash, which a new file cannot have.
class NoWarnings final : public krvo::k2m::WarningHandler {
 public:
  std::uint32_t warning(std::uint32_t) override { return 0; }
};

/// Copies one segment fragment by fragment with the container library's writer, so that the result is what a recorder
/// would have written.
class SegmentCopy {
 public:
  SegmentCopy(FileView& file, const std::string& name, krvo::encryption::SampleDecipher& decipher)
      : file_(file), name_(name), reader_(file), movie_(clearMovie(reader_.movie())), decipher_(decipher) {}

  /// Writes the file. Returns the new position of each fragment by its old one.
  std::map<std::uint64_t, std::uint64_t> run(const std::set<std::uint64_t>& positions, NewSegmentFile& target) {
    writeHeader(movie_, reader_.moov().offset, target);
    NoWarnings warnings;
    const krvo::k2m::Allocator allocator;
    krvo::k2m::K2RWriter writer(target, warnings, allocator, 0);
    tracks_ = writer.k2mWriter().tracks();
    std::map<std::uint64_t, std::uint64_t> moved;
    // Returns the position of the fragment that is written next, so it is asked for before each one.
    std::uint64_t begin = writer.startFragment();
    for (const std::uint64_t position : positions) {
      const Fragment fragment = reader_.readFragment(position);
      copyFragment(writer, fragment);
      moved.emplace(position, begin);
      begin = writer.startFragment();
    }
    end_ = begin;
    return moved;
  }

  /// End of the last fragment in the new file.
  std::uint64_t end() const { return end_; }

 private:
  void copyFragment(krvo::k2m::K2RWriter& writer, const Fragment& fragment) {
    writer.addAbst(fragment.abstBody);
    const krvo::container::Track* const hint = findTrack(reader_.movie(), "hint"_4cc);
    const auto hintTrack = std::find_if(fragment.tracks.begin(), fragment.tracks.end(), [hint](const auto& track) {
      return hint != nullptr && track.trackId == hint->id;
    });
    const auto tags = reader_.readTags(fragment);
    // A fragment may have no hint samples at all, if all its messages had a codec that is not stored.
    const std::size_t hintSamples = hintTrack == fragment.tracks.end() ? 0 : hintTrack->samples.size();
    if (hintSamples != tags.size()) {
      throw SegmentError(fragment.boxes.moof.offset, "the hint track does not have one sample for each tag");
    }
    // Positions of tags change with the filter fields, so the entries are matched by tag and not copied.
    std::set<std::uint64_t> indexed;
    for (const AccessPoint& point : fragment.accessPoints) indexed.insert(fragment.boxes.afra.offset + point.offset);
    for (std::size_t i = 0; i < tags.size(); ++i) {
      copyTag(writer, tags[i], hintTrack->samples[i].decodeTime, indexed.contains(tags[i].offset));
    }
  }

  void copyTag(krvo::k2m::K2RWriter& writer, const StoredTag& place, std::uint64_t time, bool isIndexed) {
    const TagContent stored = readTag(file_, place.offset, place.end() - place.offset, place.end(), true);
    Bytes bytes = clearTag(file_, stored, decipher_, name_);
    const TagContent tag = contentOf(bytes, place);
    const std::size_t hint = *placeOf("hint"_4cc);
    const auto media = mediaTrack(tag);
    if (media && (tag.isVideo() || tag.isAudio())) requireFormat(*movie_.tracks[*media], tag);

    auto info = krvo::k2m::makeRecord<K2MHintInfo>();
    info.sample.length = narrow<std::uint32_t>(bytes.size());
    // From the hint sample and not from the tag: the container has relative times in the track's timescale.
    info.sample.time = time;
    info.sample.timescale = movie_.tracks[hint]->timescale;
    info.sample.sampleType = "hint"_4cc;
    info.sample.flags = tag.isKeyFrame() ? 1 : 0;
    const auto dataSize = static_cast<std::uint32_t>(bytes.size() - kTagOverhead);
    const auto codecHeader =
        ruvo::k2rpkgutil::codecHeaderSize(tag.place.rawType, bytes.data() + kTagHeaderSize, dataSize);
    info.media.offset = static_cast<std::uint32_t>(kTagHeaderSize) + codecHeader;
    info.media.length = dataSize - codecHeader;
    const KrvoK2MDataBuffer data = handOver(std::move(bytes));
    if (media) {
      writer.addHintSample(tracks_[hint], tracks_[*media], data, info, isIndexed);
    } else {
      writer.addSampleWithAfra(tracks_[hint], data, info.sample, isIndexed);
    }
  }

  /// The track of which a clear tag is a sample. Nothing for a configuration, which is a sample of the hint track only.
  std::optional<std::size_t> mediaTrack(const TagContent& tag) const {
    if (tag.isSequenceHeader()) return std::nullopt;
    return placeOf(tag.isVideo() ? "vide"_4cc : tag.isAudio() ? "soun"_4cc : "meta"_4cc);
  }

  /// Index of the first track of that handler type, in `movie_` and in `tracks_` alike.
  std::optional<std::size_t> placeOf(FourCC handler) const {
    for (std::size_t i = 0; i < movie_.tracks.size(); ++i) {
      if (movie_.tracks[i]->handler == handler) return i;
    }
    return std::nullopt;
  }

  FileView& file_;
  const std::string& name_;
  SegmentReader reader_;
  Movie movie_;
  krvo::encryption::SampleDecipher& decipher_;
  std::vector<krvo::k2m::Track> tracks_;
  std::uint64_t end_ = 0;
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
  const auto afterFront = std::copy(front.begin(), front.end(), bytes.begin());
  std::copy(payload.begin(), payload.end(), afterFront);
  // Without the bit that marks a protected tag, or readers would look for filter fields.
  bytes.front() &= ~std::byte{ruvo::k2rpkgutil::kTagProtectedBit};
  setTagDataSize(bytes.data(), dataSize);
  writeTagBackPointer(bytes.data() + kTagHeaderSize + dataSize, dataSize);
  return bytes;
}

/// The container library writes the boxes around the clear tags, as it would have done in the clear. Recording them
/// again would give other fragments, since these depend on settings that are not stored.
std::map<std::uint64_t, std::uint64_t> writeClearSegment(const std::string& from, const std::string& to,
                                                         const std::set<std::uint64_t>& positions,
                                                         krvo::encryption::SampleDecipher& decipher) {
  FileView file(from);
  NewSegmentFile target(to);
  return inFile(from, [&] {
    try {
      SegmentCopy copy(file, from, decipher);
      auto moved = copy.run(positions, target);
      // The writer ends the file with a table. A segment that was not ended must have none: an append continues it.
      const bool ended = mapSegment(file, positions).randomAccess() != nullptr;
      target.close(ended ? std::nullopt : std::optional(copy.end()));
      return moved;
    } catch (const krvo::k2m::Exception& error) {
      throw CommandError(fmt::format("'{}' cannot be written: container status {}", to, error.status()));
    }
  });
}

}  // namespace host
