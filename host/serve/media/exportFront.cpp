#include "host/serve/media/exportFront.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "platform/container/reading/moovWriter.h"
#include "util/box.h"
#include "util/narrow.h"

namespace host::serve {

using namespace krvo::container;
using qvs::util::BoxScope;
using qvs::util::ByteWriter;

namespace {

constexpr std::uint32_t kMovieTimescale = 1000;

/// `isom`, and the brands with edit lists and AVC, which old players look for.
void writeFtyp(ByteWriter& out) {
  constexpr std::uint32_t kMinorVersion = 0x200;
  const BoxScope ftyp(out, "ftyp"_4cc);
  out.u32("isom"_4cc);
  out.u32(kMinorVersion);
  for (const FourCC brand : {"isom"_4cc, "iso2"_4cc, "avc1"_4cc, "mp41"_4cc}) out.u32(brand);
}

/// The movie without its tracks. Its date is the time of day at which it begins.
Movie describeMovie(const ExportMedia& media, const FileSpan& presented) {
  const std::int64_t begunMs = media.timeOfDay(presented).beginMs;
  Movie movie;
  movie.created = static_cast<std::uint64_t>(std::max<std::int64_t>(begunMs / 1000 + std::int64_t{kFrom1904To1970}, 0));
  movie.modified = movie.created;
  movie.timescale = kMovieTimescale;
  movie.duration = static_cast<std::uint64_t>(presented.endMs - presented.beginMs);
  movie.rate = 1;
  movie.volume = 1;
  return movie;
}

/// `mediaOffset` is that of the first byte of the media in the file, `longOffsets` whether chunks have 64 bits.
ByteWriter writeFront(const ExportMedia& media, const FileSpan& presented, std::uint64_t mediaOffset,
                      bool longOffsets) {
  Movie movie = describeMovie(media, presented);
  std::vector<const ExportTrack*> sources;
  for (const auto& [id, track] : media.tracks()) {
    if (!track.isPresented(presented)) continue;
    sources.push_back(&track);
    movie.tracks.push_back(track.described(qvs::util::narrow<std::uint32_t>(sources.size())));
  }
  const auto sourceOf = [&sources](const Track& track) -> const ExportTrack& { return *sources[track.id - 1]; };
  ByteWriter out;
  writeFtyp(out);
  writeMovie(out, movie,
             {.duration = [&](const Track& track) { return sourceOf(track).presentedMs(presented); },
              .edits = [&](ByteWriter& to, const Track& track) { sourceOf(track).writeEdits(to, presented); },
              .tables = [&](ByteWriter& to,
                            const Track& track) { sourceOf(track).table().write(to, mediaOffset, longOffsets); }});
  qvs::util::writeSizeAndType(out, "mdat"_4cc, qvs::util::boxSizeFor(media.size()));
  return out;
}

}  // namespace

std::vector<std::byte> makeExportFront(const ExportMedia& media, const FileSpan& presented) {
  // More than any `moov` of the most samples has. Whether offsets have 64 bits must be known before its size is.
  constexpr std::uint64_t kLargestFront = std::uint64_t{512} << 20;
  const bool longOffsets = media.size() + kLargestFront > std::numeric_limits<std::uint32_t>::max();
  // The size of the front does not depend on the offsets in it, so one trial gives it.
  const std::uint64_t frontSize = writeFront(media, presented, 0, longOffsets).size();
  return writeFront(media, presented, frontSize, longOffsets).take();
}

}  // namespace host::serve
