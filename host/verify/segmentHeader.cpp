#include "host/verify/segmentHeader.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/files/smallFiles.h"
#include "host/files/tracks.h"
#include "platform/container/SegmentError.h"
#include "platform/container/moovReader.h"

namespace host {

using krvo::container::BoxSpan;
using krvo::container::Movie;
using krvo::container::SegmentError;
using krvo::container::Track;
using qvs::util::ByteReader;
using qvs::util::operator""_4cc;

namespace {

/// Major brand, minor version, compatible brands (ISO/IEC 14496-12, 4.3).
void checkFtyp(FileView& file, const BoxSpan& box, const FileFindings& out) {
  constexpr std::uint32_t kWords[] = {"iso6"_4cc, 1, "iso6"_4cc, "isom"_4cc, "mp41"_4cc};
  const auto bytes = loadBox(file, box);
  ByteReader in(bytes);
  in.skip(box.headerSize);
  const bool alike = in.remaining() == sizeof(kWords) &&
                     std::all_of(std::begin(kWords), std::end(kWords), [&in](auto word) { return in.u32() == word; });
  if (!alike) out.damage(box.offset, "ftyp: not as a recorder writes it");
}

Movie readMoov(FileView& file, const BoxSpan& box) {
  const auto payload = loadPayload(file, box);
  krvo::container::LoadedBox moov = loadedBox(box, payload);
  return readMovie(moov);
}

bool isSameTrack(const Track& a, const Track& b) {
  const bool alike = a.id == b.id && a.handler == b.handler && a.handlerName == b.handlerName &&
                     a.timescale == b.timescale && a.flags == b.flags && a.language == b.language &&
                     a.width == b.width && a.height == b.height && a.hintedTracks == b.hintedTracks;
  return alike && std::equal(a.descriptions.begin(), a.descriptions.end(), b.descriptions.begin(), b.descriptions.end(),
                             [](const auto& left, const auto& right) {
                               return left->formatCode == right->formatCode && left->codecHeader == right->codecHeader;
                             });
}

}  // namespace

Movie checkHeader(FileView& file, const SegmentMap& map, const FileFindings& out) {
  Movie movie;
  try {
    if (map.ftyp) checkFtyp(file, *map.ftyp, out);
    if (map.moov) movie = readMoov(file, *map.moov);
  } catch (const SegmentError& error) {
    out.damage(error.offset(), error.fault());
  }
  if (!movie.tracks.empty() && findTrack(movie, "hint"_4cc) == nullptr) {
    out.damage(map.moov->offset, "moov: no hint track");
  }
  return movie;
}

void compareTracks(const Movie& first, const Movie& movie, std::uint64_t moov, const FileFindings& out) {
  if (!out.expect(moov, "moov: tracks", first.tracks.size(), movie.tracks.size())) return;
  for (std::size_t i = 0; i < first.tracks.size(); ++i) {
    if (isSameTrack(*first.tracks[i], *movie.tracks[i])) continue;
    out.damage(moov, fmt::format("moov: track {}: another one than in the first segment", i + 1));
  }
}

}  // namespace host
