#include "host/serve/catalog/RecordingFacts.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <system_error>

#include "host/errors.h"
#include "host/files/FileView.h"
#include "host/files/RecordedSegments.h"
#include "host/files/RecordingDirectory.h"
#include "host/files/inFile.h"
#include "host/plain/FragmentExtent.h"

namespace host::serve {
namespace {

/// A fragment, as its index describes it.
struct Place {
  std::uint32_t segment = 0;
  std::uint64_t timeMs = 0;
  std::uint64_t offset = 0;
};

std::vector<Place> placesOf(const RecordedContent& content) {
  std::vector<Place> places;
  for (const RecordedSegment& segment : content.segments) {
    for (const auto& entry : segment.fragments) places.push_back({segment.number, entry.time, entry.afraOffset});
  }
  return places;
}

/// Reads the times of single fragments.
class ExtentReader {
 public:
  explicit ExtentReader(const RecordingDirectory& directory) : directory_(directory) {}

  /// Nothing if the fragment has neither video nor audio. Throws CommandError if it cannot be read.
  std::optional<FragmentExtent> read(const Place& place) {
    const std::string path = directory_.pathOf(directory_.segmentName(place.segment));
    return inFile(path, [&] {
      krvo::container::SegmentReader& reader = open(place.segment, path).reader();
      return extentOf(reader.readFragment(place.offset), reader.movie());
    });
  }

 private:
  OpenSegment& open(std::uint32_t segment, const std::string& path) {
    // Few bytes are read at each place: a larger window would read most of a short segment.
    constexpr std::size_t kWindow = std::size_t{8} << 10;
    if (!segment_ || number_ != segment) {
      segment_ = std::make_unique<OpenSegment>(path, kWindow);
      number_ = segment;
    }
    return *segment_;
  }

  const RecordingDirectory& directory_;
  /// The segment that was read last; `number_` is its number.
  std::unique_ptr<OpenSegment> segment_;
  std::uint32_t number_ = 0;
};

/// The fragments after which there may be a gap: their successors come later than usual. By rising time.
///
/// The bootstrap does not show it: it gives a gap to the duration of the fragment in which it began. The index has the
/// times at which fragments begin, so a gap makes a distance longer.
std::vector<std::size_t> beforeGaps(const std::vector<Place>& places) {
  // Limits how many fragments are read if key frames come at irregular times.
  constexpr std::size_t kMost = 64;
  constexpr std::uint64_t kMuchLongerMs = 500;
  // With fewer distances, the distance over a gap could be the usual one.
  constexpr std::size_t kEnough = 8;
  std::vector<std::uint64_t> distances;
  for (std::size_t i = 0; i + 1 < places.size(); ++i) {
    const std::uint64_t next = places[i + 1].timeMs;
    // A time that falls is a gap, too, and counts as the longest one.
    distances.push_back(next > places[i].timeMs ? next - places[i].timeMs : UINT64_MAX);
  }
  std::uint64_t usual = 0;
  if (distances.size() >= kEnough) {
    std::vector<std::uint64_t> sorted = distances;
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
    std::nth_element(sorted.begin(), middle, sorted.end());
    usual = *middle;
  }
  std::vector<std::size_t> found;
  for (std::size_t i = 0; i < distances.size(); ++i) {
    if (distances[i] > kMuchLongerMs && distances[i] - kMuchLongerMs > usual) found.push_back(i);
  }
  if (found.size() > kMost) {
    std::ranges::nth_element(found, found.begin() + kMost, std::ranges::greater(),
                             [&](std::size_t i) { return distances[i]; });
    found.resize(kMost);
    std::ranges::sort(found);
  }
  return found;
}

/// Fills in the times of a recording that begins at `beginMs` and has the fragments `places`, at least one.
class TimesReader {
 public:
  TimesReader(const RecordingDirectory& directory, std::int64_t beginMs, RecordingFacts& facts)
      : extents_(directory), beginMs_(beginMs), facts_(facts) {}

  void read(const std::vector<Place>& places, std::uint64_t mediaEndMs) {
    const auto first = extents_.read(places.front());
    const auto last = extents_.read(places.back());
    if (!first || !last) {
      // Fragments with script data alone have no exact times; the index is used.
      facts_.endMs = at(std::max(mediaEndMs, places.back().timeMs), places.front().timeMs);
      return;
    }
    facts_.endMs = at(last->endMs, first->startMs);
    for (const std::size_t i : beforeGaps(places))
      addGap(extents_.read(places[i]), extents_.read(places[i + 1]), *first);
  }

 private:
  std::int64_t at(std::uint64_t timeMs, std::uint64_t startMs) const {
    // Bounds damaged times, so that no sum of them overflows.
    constexpr std::uint64_t kLongestMs = std::uint64_t{1} << 45;
    return beginMs_ + static_cast<std::int64_t>(timeMs > startMs ? std::min(timeMs - startMs, kLongestMs) : 0);
  }

  void addGap(const std::optional<FragmentExtent>& before, const std::optional<FragmentExtent>& next,
              const FragmentExtent& first) {
    if (!before || !next || !before->isGapBefore(*next)) return;
    const TimeSpan gap{.beginMs = at(before->shownUntilMs(), first.startMs), .endMs = at(next->startMs, first.startMs)};
    if (gap.beginMs < gap.endMs) facts_.gaps.push_back(gap);
  }

  ExtentReader extents_;
  std::int64_t beginMs_;
  RecordingFacts& facts_;
};

/// Whether a segment ends with its random access index (`mfro` is the last box, ISO/IEC 14496-12, 8.8.11).
bool isClosed(const std::string& path) {
  constexpr std::size_t kSize = 16;
  FileView file(path, kSize);
  std::array<std::byte, kSize> last{};
  if (file.size() < last.size()) return false;
  file.read(file.size() - last.size(), last);
  constexpr std::array kType = {std::byte{'m'}, std::byte{'f'}, std::byte{'r'}, std::byte{'o'}};
  return std::ranges::equal(std::span(last).subspan(4, kType.size()), kType);
}

/// A recording is finished if a stop has ended it, and damaged if it cannot be read.
void readContent(const RecordingDirectory& directory, std::int64_t beginMs, RecordingFacts& facts) {
  std::vector<std::string> faults;
  const RecordedContent content = readRecordedContent(directory, faults);
  // A stop writes the end of the last segment after the bootstrap, and may be interrupted in between.
  const bool isFinished =
      content.stopped &&
      (content.segments.empty() || isClosed(directory.pathOf(directory.segmentName(content.segments.back().number))));
  facts.state = isFinished ? RecordingState::kFinished : RecordingState::kInterrupted;
  const std::vector<Place> places = placesOf(content);
  if (!places.empty()) TimesReader(directory, beginMs, facts).read(places, content.endMs);
  const bool hasNothing = content.stopped && places.empty();
  if (!faults.empty() || hasNothing) facts.state = RecordingState::kDamaged;
}

}  // namespace

RecordingFacts readFacts(const std::string& folder, const RecordingName& name) {
  const std::string stem = recordingNameText(name);
  std::error_code error;
  const RecordingDirectory directory = fileset::examineRecordingDirectory(folder + "/" + stem, stem, error);
  if (error == std::errc::no_such_file_or_directory) return {.kind = RecordingFacts::Kind::kMissing};
  const bool isNone = error == std::errc::not_a_directory || error == std::errc::too_many_symbolic_link_levels;
  if (error && !isNone) return {.kind = RecordingFacts::Kind::kUnread};
  if (error || !directory.foreign.empty()) return {.kind = RecordingFacts::Kind::kForeign};
  RecordingFacts facts{.state = RecordingState::kInterrupted,
                       .endMs = name.beginMs,
                       .bytes = sizeOfFiles(directory),
                       .isProtected = directory.hasDrmMeta};
  if (directory.empty()) return facts;
  try {
    readContent(directory, name.beginMs, facts);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) {
    facts.state = RecordingState::kDamaged;
  }
  return facts;
}

}  // namespace host::serve
