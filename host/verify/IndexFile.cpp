#include "host/verify/IndexFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "host/files/Malformed.h"
#include "host/files/imageFields.h"
#include "host/files/smallFiles.h"

namespace host {
namespace {

using ruvo::k2r::AfraEntry;
using ruvo::k2r::FragmentRunEntry;

/// The markers in the run table that may give the time of a number without a fragment.
struct SkipMarkers {
  /// Marks the number, or a range with it, as skipped because no key frame came. Or null.
  const FragmentRunEntry* own = nullptr;
  /// Such a marker followed by the marker of a jump in time. An append marks the jump to its first fragment at the
  /// number before that fragment, or at a lower one if its clock restarted. That number may already be marked as
  /// skipped. Or null.
  const FragmentRunEntry* beforeJump = nullptr;
};

SkipMarkers skipMarkers(const FragmentRuns& runs, std::uint32_t number) {
  const auto end = std::find_if(runs.begin(), runs.end(), [number](const FragmentRunEntry& run) {
    return run.firstFragment > number || run.isEndOfPresentation();
  });
  SkipMarkers markers;
  if (end == runs.begin()) return markers;
  const auto last = end - 1;
  if (last->isFragmentGap()) {
    markers.own = &*last;
  } else if (last->isTimestampGap() && last != runs.begin() && (last - 1)->isFragmentGap()) {
    markers.beforeJump = &*(last - 1);
  }
  return markers;
}

/// The grid line at which a skipped number begins. Number n begins at n - 1 times the grid's width, so the marker of
/// the first skipped number gives the width.
std::uint64_t gridLine(const FragmentRunEntry& marker, std::uint32_t number) {
  if (marker.firstFragment < 2) return marker.firstTimestamp;
  return marker.firstTimestamp / (marker.firstFragment - 1) * (number - 1);
}

/// Whether the times of both entries can be in the slot of `next`'s number, for any width of the grid. An append that
/// was stopped before its first fragment leaves its start time in the entry before; the next append may then begin with
/// the same number.
bool haveOneNumber(const AfraEntry& entry, const AfraEntry& next) {
  const auto [low, high] = std::minmax(entry.time, next.time);
  return low * next.fragment > high * (next.fragment - 1);
}

}  // namespace

IndexFile::IndexFile(const std::vector<std::byte>& bytes, std::uint32_t segment, FileFindings out)
    : out_(std::move(out)) {
  try {
    index_ = parseAfra(bytes);
  } catch (const Malformed& error) {
    out_.damage(error.offset(), error.what());
    return;
  }
  checkForm(bytes);
  checkNumbers();
  checkSegment(segment);
}

std::uint64_t IndexFile::offsetOf(std::size_t entry) const {
  return globalEntryOffset(index_, entry);
}

std::set<std::uint64_t> IndexFile::positions() const {
  std::set<std::uint64_t> positions;
  for (const AfraEntry& entry : entries()) {
    if (entry.isWritten()) positions.insert(entry.afraOffset);
  }
  return positions;
}

std::optional<std::size_t> IndexFile::lastWritten() const {
  const auto last =
      std::find_if(entries().rbegin(), entries().rend(), [](const AfraEntry& entry) { return entry.isWritten(); });
  if (last == entries().rend()) return std::nullopt;
  return static_cast<std::size_t>(entries().rend() - last) - 1;
}

void IndexFile::checkForm(const std::vector<std::byte>& bytes) {
  if (const auto place = firstDifference(imageOf(index_), bytes)) {
    const bool after = *place == imageOf(index_).size();
    out_.damage(*place, after ? "bytes after the box" : fieldNameAt(index_, *place) + ": not as a recorder writes it");
  }
  const ruvo::k2r::AfraIndex fresh;
  if (index_.longIds != fresh.longIds || index_.longOffsets != fresh.longOffsets) {
    out_.damage(kSizesByte, "sizes byte: entries are not of full width");
  }
  out_.expect(kSizesByte + 1, "timescale", fresh.timescale, index_.timescale);
  out_.expect(kSizesByte + 5, "local entry count", 0, index_.localEntries.size());
}

void IndexFile::checkNumbers() {
  // Each entry votes for the number of the first one, which is its own number minus its subscript. Entries that
  // disagree with the majority are wrong. Subtraction wraps, so that wrong numbers are votes like others.
  std::map<std::uint32_t, std::size_t> votes;
  for (std::size_t i = 0; i < entries().size(); ++i) ++votes[entries()[i].fragment - static_cast<std::uint32_t>(i)];
  const auto winner =
      std::max_element(votes.begin(), votes.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
  numbersAreSure_ = entries().size() > 1 && 2 * winner->second > entries().size();
  if (!numbersAreSure_) return;
  for (std::size_t i = 0; i < entries().size(); ++i) correctNumber(i, winner->first + static_cast<std::uint32_t>(i));
}

void IndexFile::correctNumber(std::size_t i, std::uint32_t number) {
  AfraEntry& entry = entries()[i];
  out_.expect(offsetOf(i) + kEntryFragment, fmt::format("entry {}: fragment", i + 1), number, entry.fragment);
  entry.fragment = number;
}

void IndexFile::checkSequence() {
  // The numbers of fragments are known to be right. So if an entry before a fragment has another number than expected,
  // the entry is wrong.
  for (std::size_t i = entries().size(); i-- > 1;) {
    if (entries()[i].isWritten() && !entries()[i - 1].isWritten()) correctNumber(i - 1, entries()[i].fragment - 1);
  }
  for (std::size_t i = 1; i < entries().size(); ++i) correctNumber(i, entries()[i - 1].fragment + 1);
}

void IndexFile::checkSegment(std::uint32_t segment) {
  for (std::size_t i = 0; i < entries().size(); ++i) {
    AfraEntry& entry = entries()[i];
    out_.expect(offsetOf(i) + kEntrySegment, fmt::format("entry {}: segment", i + 1), segment, entry.segment);
    out_.expect(offsetOf(i) + kEntryOffsetInside, fmt::format("entry {}: offset inside", i + 1), 0,
                entry.offsetFromAfra);
    entry.segment = segment;
  }
}

void IndexFile::checkSkippedTimes(const ruvo::k2r::BootstrapInfo& bootstrap) const {
  for (std::size_t i = 0; i < entries().size(); ++i) {
    if (entries()[i].afraOffset == ruvo::k2r::kNoFragmentOffset) checkSkippedTime(i, fragmentRuns(bootstrap));
  }
}

void IndexFile::checkSkippedTime(std::size_t i, const FragmentRuns& runs) const {
  const AfraEntry& entry = entries()[i];
  const std::uint64_t at = offsetOf(i);
  const std::string name = fmt::format("entry {}: time", i + 1);
  if (i == 0) {
    out_.expect(at, name, 0, entry.time);
    return;
  }
  const std::uint64_t before = entries()[i - 1].time;
  const SkipMarkers markers = skipMarkers(runs, entry.fragment);
  if (markers.own != nullptr) {
    // The recorder gives a number the time of the entry before it if not even a message fell into its slot.
    const bool passedOver = entry.fragment != markers.own->firstFragment && entry.time == before;
    if (!passedOver) out_.expect(at, name, gridLine(*markers.own, entry.fragment), entry.time);
    return;
  }
  if (markers.beforeJump != nullptr && entry.time == gridLine(*markers.beforeJump, entry.fragment)) return;
  if (entry.time == before || i + 1 == entries().size()) {
    if (entry.time < before) out_.expect(at, name, before, entry.time);
    return;
  }
  // An append gives the numbers between the recording's end and its first fragment the time at which it begins.
  const AfraEntry& next = entries()[i + 1];
  const bool fits = next.isWritten() ? entry.time == next.time || (before != next.time && haveOneNumber(entry, next))
                                     : entry.time > before && entry.time <= next.time;
  if (!fits) {
    out_.damage(at, fmt::format("{}: expected {}, as the entry before it, or the time of the next fragment, found {}",
                                name, before, entry.time));
  }
}

}  // namespace host
