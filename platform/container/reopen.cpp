#include "platform/container/reopen.h"

#include <algorithm>
#include <limits>

#include "platform/container/reading/RandomAccessTable.h"
#include "platform/container/reading/SegmentReader.h"
#include "platform/container/reading/fragmentReader.h"
#include "platform/container/reading/moofReader.h"
#include "util/narrow.h"

namespace krvo::container {
namespace {

constexpr std::uint64_t kNoPosition = std::numeric_limits<std::uint64_t>::max();

std::optional<FragmentBoxes> wholeFragmentAt(Source& source, std::uint64_t position) {
  // A torn fragment is what a crash leaves; the search continues, to find where whole ones end.
  try {
    return locateFragment(source, position);
  } catch (const SegmentError&) {
    return std::nullopt;
  }
}

std::optional<BoxSpan> wholeBoxAt(Source& source, std::uint64_t offset) {
  try {
    return readBoxAt(source, offset);
  } catch (const SegmentError&) {
    return std::nullopt;
  }
}

/// The last whole fragment from `offset` on. Other whole boxes in between are skipped; the first torn one ends the
/// search.
std::optional<FragmentBoxes> findLastFragment(Source& source, std::uint64_t offset) {
  std::optional<FragmentBoxes> last;
  for (;;) {
    if (const auto fragment = wholeFragmentAt(source, offset)) {
      last = fragment;
      offset = fragment->end();
    } else if (const auto box = wholeBoxAt(source, offset)) {
      offset = box->end();
    } else {
      return last;
    }
  }
}

/// The `mfra` that ends the file, with at most a `free` box between it and `end`. After other boxes it may be older
/// than the fragments before it.
std::optional<BoxSpan> findRandomAccess(Source& source, std::uint64_t end) {
  auto box = wholeBoxAt(source, end);
  if (box && box->type == "free"_4cc) box = wholeBoxAt(source, box->end());
  if (!box || box->type != "mfra"_4cc || box->end() != source.size()) return std::nullopt;
  return box;
}

std::optional<RandomAccessTable> readTable(Source& source, const BoxSpan& mfra) {
  try {
    return RandomAccessTable(source, mfra);
  } catch (const SegmentError&) {
    return std::nullopt;
  }
}

/// The table of the fragments from `begin` to `end`. Nothing if a fragment cannot be read, or if anything else is
/// between them: a table without all fragments would mislead players.
std::optional<RandomAccessTable> rebuildTable(Source& source, std::uint64_t begin, std::uint64_t end,
                                              const Movie& movie) {
  RandomAccessTable table;
  try {
    while (begin < end) {
      const Fragment fragment = readFragment(source, begin, movie);
      table.addFragment(fragment, movie);
      begin = fragment.boxes.end();
    }
  } catch (const SegmentError&) {
    return std::nullopt;
  }
  return begin == end ? std::optional(std::move(table)) : std::nullopt;
}

/// A box of size 0 reaches to the end of the file: a fragment written after it would become part of it.
void requireAnEnd(const BoxSpan& box) {
  if (box.reachesEnd) throw SegmentError(box.offset, "`" + qvs::util::toText(box.type) + "` has no size to end it");
}

/// The decode times of the last samples in a fragment. Empty if its samples cannot be read: they only improve a
/// duration.
LastTimes lastTimesOf(Source& source, const FragmentBoxes& boxes, const Movie& movie) {
  LastTimes times(movie.tracks.size());
  try {
    for (const TrackFragment& part : readTrackFragments(source, boxes, movie)) {
      const auto track = std::find_if(movie.tracks.begin(), movie.tracks.end(),
                                      [&part](const auto& known) { return known->id == part.trackId; });
      if (!part.samples.empty())
        times[static_cast<std::size_t>(track - movie.tracks.begin())] = part.samples.back().decodeTime;
    }
  } catch (const SegmentError&) {
    return {};
  }
  return times;
}

}  // namespace

ReopenedSegment reopenSegment(Source& source, std::uint64_t position) {
  const SegmentReader reader(source);
  const std::uint64_t begin = reader.firstFragment();
  std::optional<FragmentBoxes> last;
  if (position == 0 || position == kNoPosition) {
    last = findLastFragment(source, begin);
  } else {
    // An index that names a place in the header belongs to another segment.
    if (position < begin) throw SegmentError(position, "a fragment expected, not the header of the file");
    last = locateFragment(source, position);
  }
  requireAnEnd(last ? last->mdat : reader.moov());

  ReopenedSegment reopened;
  SegmentState& state = reopened.state;
  state.movie = reader.movie();
  state.headerWritten = true;
  state.end = last ? last->end() : begin;
  if (last) {
    state.lastTimes = lastTimesOf(source, *last, state.movie);
    state.nextSequenceNumber =
        qvs::util::narrow<std::uint32_t>(std::uint64_t{readSequenceNumber(source, last->moof)} + 1);
  }
  const auto mfra = findRandomAccess(source, state.end);
  // A writer itself leaves an `mfra` there. Anything else is worth a warning before it is overwritten.
  reopened.leftover = !mfra && source.size() > state.end;
  state.randomAccess = mfra ? readTable(source, *mfra) : std::nullopt;
  // A table torn by a loss of power is worth nothing, but the fragments still say where their sync samples are.
  if (!state.randomAccess) state.randomAccess = rebuildTable(source, begin, state.end, state.movie);
  return reopened;
}

}  // namespace krvo::container
