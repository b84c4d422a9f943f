#include "host/verify/segmentHeader.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/files/smallFiles.h"
#include "host/files/tracks.h"
#include "host/verify/protectionCheck.h"
#include "platform/container/reading/SegmentError.h"
#include "platform/container/reading/moovReader.h"
#include "platform/container/reading/moovWriter.h"

namespace host {

using krvo::container::BoxSpan;
using krvo::container::Movie;
using krvo::container::SegmentError;
using krvo::container::Track;
using qvs::util::operator""_4cc;

namespace {

Movie readMoov(FileView& file, const BoxSpan& box) {
  const auto payload = loadPayload(file, box);
  krvo::container::LoadedBox moov = loadedBox(box, payload);
  return readMovie(moov);
}

/// Checks that both boxes have exactly the bytes that a recorder writes for what was read from them.
void checkForm(FileView& file, const Movie& movie, const BoxSpan& moov, const FileFindings& out) {
  qvs::util::ByteWriter image;
  try {
    writeHeader(image, movie);
  } catch (const std::out_of_range&) {
    out.damage(moov.offset, "moov: numbers that no recorder writes");
    return;
  }
  const auto place = firstDifference(image.bytes(), loadBox(file, {.size = moov.end()}));
  if (place) out.damage(*place, "ftyp or moov: not as a recorder writes it");
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
  if (!map.moov) return movie;
  try {
    movie = readMoov(file, *map.moov);
    checkForm(file, movie, *map.moov, out);
    checkProtectedTracks(movie, map.moov->offset, out);
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
    out.damage(moov, fmt::format("moov: track {}: differs from that of the first segment", i + 1));
  }
}

}  // namespace host
