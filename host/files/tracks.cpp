#include "host/files/tracks.h"

#include <algorithm>

#include "util/box.h"

namespace host {

using krvo::container::Movie;
using krvo::container::Track;
using qvs::util::ByteReader;
using qvs::util::FourCC;
using qvs::util::operator""_4cc;

namespace {

/// The payload of the first box of that type; empty if there is none, or the boxes before it are malformed.
ByteReader findInnerBox(ByteReader boxes, FourCC type) {
  try {
    while (boxes.remaining() > 0) {
      const qvs::util::BoxView box = qvs::util::nextBox(boxes);
      if (box.type == type) return box.payload;
    }
  } catch (const qvs::util::MalformedInput&) {
    // A box that cannot be found is the same as none: the format code is then that of the sample entry.
  }
  return ByteReader({});
}

FourCC formatOf(const Track& track) {
  return track.descriptions.empty() ? 0 : track.descriptions.front()->formatCode;
}

}  // namespace

FourCC clearFormat(const Track& track) {
  if (track.descriptions.empty()) return 0;
  ByteReader frma =
      findInnerBox(findInnerBox(ByteReader(track.descriptions.front()->codecHeader), "sinf"_4cc), "frma"_4cc);
  return frma.remaining() == sizeof(FourCC) ? frma.u32() : formatOf(track);
}

bool isProtected(const Track& track) {
  const FourCC code = formatOf(track);
  return code == "encv"_4cc || code == "enca"_4cc || code == "encr"_4cc;
}

bool hasProtectedTrack(const Movie& movie) {
  return std::any_of(movie.tracks.begin(), movie.tracks.end(), [](const auto& track) { return isProtected(*track); });
}

const Track* findTrack(const Movie& movie, FourCC handler) {
  const auto found = std::find_if(movie.tracks.begin(), movie.tracks.end(),
                                  [handler](const auto& track) { return track->handler == handler; });
  return found == movie.tracks.end() ? nullptr : found->get();
}

}  // namespace host
