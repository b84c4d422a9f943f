#include "host/serve/media/DatedRecording.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <ranges>
#include <system_error>

#include "host/files/inFile.h"
#include "host/files/tracks.h"
#include "host/plain/FragmentExtent.h"
#include "host/plain/plainHeader.h"
#include "host/serve/http/HttpMessage.h"
#include "host/serve/recordingName.h"
#include "platform/container/reading/numbers.h"
#include "util/milliseconds.h"

namespace host::serve {

using qvs::util::kMillisecondsPerSecond;

using namespace krvo::container;

namespace {

/// Each fragment is read in a few small pieces: a larger window would read most of the file.
constexpr std::size_t kWindow = std::size_t{16} << 10;

}  // namespace

std::vector<MediaRecording> mediaRecordings(const std::string& folder, const std::vector<RecordingInfo>& listed) {
  std::vector<MediaRecording> recordings;
  for (const RecordingInfo& info : listed) {
    const auto name = parseRecordingName(info.name);
    // A repair may cut bytes off an interrupted recording, and a body must not refer to these.
    if (name && info.isWhole()) recordings.push_back({folder + "/" + info.name, name->beginMs});
  }
  return recordings;
}

DatedRecording::Segment::Segment(std::uint32_t segmentNumber, const std::string& path)
    : number(segmentNumber),
      open(path, kWindow),
      shared(std::make_shared<platform::os::Descriptor>(path, O_RDONLY)),
      header(readPlainHeader(open.file(), open.reader().firstFragment())) {
  if (!*shared) throw std::system_error(errno, std::generic_category(), path);
}

DatedRecording::DatedRecording(const MediaRecording& recording)
    : directory_(readRecordingDirectory(recording.directory)),
      name_(std::filesystem::path(recording.directory).filename().string()) {
  // A recording that has just begun has a directory and no file yet.
  if (directory_.empty()) return;
  for (const RecordedSegment& segment : readRecordedContent(directory_).segments) {
    for (const auto& entry : segment.fragments) places_.push_back({segment.number, entry.fragment, entry.afraOffset});
  }
  for (std::size_t i = 0; i < places_.size(); ++i) {
    // A fragment of script data alone has no such moment, so the next one is tried.
    const auto named = namedMs(read(i).fragment);
    if (!named) continue;
    shiftMs_ = recording.beginMs - *named;
    break;
  }
}

std::optional<std::int64_t> DatedRecording::namedMs(const Fragment& fragment) const {
  const Track* const video = findTrack(movie(), "vide"_4cc);
  for (const TrackFragment& part : fragment.tracks) {
    if (video == nullptr || part.trackId != video->id || part.samples.empty()) continue;
    return decodedAt(part.samples.front(), *video);
  }
  return startOf(fragment);
}

void DatedRecording::openSegment(std::uint32_t number) {
  if (segment_ && segment_->number == number) return;
  const std::string path = directory_.pathOf(directory_.segmentName(number));
  segment_ = inSegment(path, [&] { return std::make_unique<Segment>(number, path); });
  if (!hasProtectedTrack(movie())) return;
  throw HttpError{409, fmt::format("the recording {} is protected; k2r unprotect makes a clear one", name())};
}

DatedRecording::Numbered DatedRecording::read(std::size_t index) {
  const Place& place = places_.at(index);
  openSegment(place.segment);
  return inFile(directory_.pathOf(directory_.segmentName(place.segment)), [&] {
    return Numbered{place.segment, place.number, segment_->open.reader().readFragment(place.position)};
  });
}

std::int64_t DatedRecording::decodedAt(const StoredSample& sample, const Track& track) const {
  // A time that only damage can make is limited, so that sums of a few do not overflow.
  constexpr std::uint64_t kLatestMs = std::uint64_t{1} << 53;
  return static_cast<std::int64_t>(std::min(inMilliseconds(sample.decodeTime, track.timescale), kLatestMs)) + shiftMs_;
}

std::int64_t DatedRecording::presentedAt(const StoredSample& sample, const Track& track) const {
  const std::int64_t offset = std::int64_t{sample.compositionOffset} * kMillisecondsPerSecond;
  return decodedAt(sample, track) + offset / std::max(track.timescale, 1U);
}

std::optional<std::int64_t> DatedRecording::startOf(const Fragment& fragment) const {
  std::optional<std::int64_t> start;
  for (const TrackFragment& part : fragment.tracks) {
    const Track* const track = presentedTrack(movie(), part.trackId);
    if (track == nullptr || part.samples.empty()) continue;
    const std::int64_t time = decodedAt(part.samples.front(), *track);
    start = std::min(start.value_or(time), time);
  }
  return start;
}

std::vector<DatedRecording::Entry> DatedRecording::entriesOf(std::size_t index) {
  const Fragment fragment = read(index).fragment;
  const Track* const video = findTrack(movie(), "vide"_4cc);
  const Track* const leading = video != nullptr ? video : findTrack(movie(), "soun"_4cc);
  std::vector<Entry> entries;
  for (const TrackFragment& part : fragment.tracks) {
    if (leading == nullptr || part.trackId != leading->id) continue;
    for (const StoredSample& sample : part.samples) {
      if (!sample.sync) continue;
      entries.push_back({index, sample, decodedAt(sample, *leading), presentedAt(sample, *leading)});
    }
  }
  return entries;
}

std::optional<DatedRecording::Entry> DatedRecording::lastEntry(std::int64_t atMs) {
  // The first fragment that begins after `atMs`, by bisection, since a recording may have very many.
  const auto indexes = std::views::iota(std::size_t{0}, places_.size());
  const auto later = std::ranges::partition_point(indexes, [&](std::size_t index) {
    const auto start = startOf(read(index).fragment);
    return !start || *start <= atMs;
  });
  // Key frames may be rarer than fragments, and may be presented later than they are decoded.
  for (auto index = static_cast<std::size_t>(later - indexes.begin()); index-- > 0;) {
    const auto entries = entriesOf(index);
    const auto found =
        std::find_if(entries.rbegin(), entries.rend(), [atMs](const Entry& entry) { return entry.presentMs <= atMs; });
    if (found != entries.rend()) return *found;
  }
  return std::nullopt;
}

std::optional<DatedRecording::Entry> DatedRecording::firstEntry() {
  for (std::size_t index = 0; index < places_.size(); ++index) {
    const auto entries = entriesOf(index);
    if (!entries.empty()) return entries.front();
  }
  return std::nullopt;
}

}  // namespace host::serve
