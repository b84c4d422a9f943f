#include "host/serve/play/RecordingCache.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <exception>

#include "host/errors.h"
#include "host/files/FileView.h"
#include "host/files/inFile.h"
#include "host/plain/plainHeader.h"

namespace host::serve {
namespace {

/// The reason may pass, such as too many open files.
constexpr std::chrono::seconds kRetryAfter(10);

/// A recording is named by the time of its first picture, before which sound may begin.
std::uint64_t namedMs(const RecordedTimeline& timeline) {
  if (timeline.fragments.empty()) return 0;
  const TimedFragment& first = timeline.fragments.front();
  for (const auto& track : timeline.segments.front().movie.tracks) {
    const auto found = std::ranges::find(first.tracks, track->id, &TimedTrack::id);
    if (track->isVideo() && found != first.tracks.end())
      return inMilliseconds(found->firstDecodeTime, found->timescale);
  }
  return first.startMs;
}

/// Throws CommandError for times that no recording has, so that times of day can be computed with them.
void requireSensibleTimes(const PlayedRecording& recording) {
  constexpr std::uint64_t kLongestMs = std::uint64_t{1} << 42;  // 139 years
  for (const TimedFragment& fragment : recording.timeline.fragments) {
    if (fragment.startMs <= kLongestMs && fragment.durationMs <= kLongestMs) continue;
    throw CommandError(
        fmt::format("'{}': fragment {} has a time beyond a century", recording.directory.path, fragment.number));
  }
}

}  // namespace

RecordingCache::RecordingCache(std::uint64_t limit, HeaderStore& headers, Log& log)
    : headers_(headers), log_(log), slots_(limit) {}

RecordingPointer RecordingCache::get(const std::string& path, const RecordingName& name) {
  const auto slot = slots_.findOrAdd(path, [] { return std::make_shared<Slot>(); });
  const std::lock_guard lock(slot->mutex);
  // Before the files are read: a fragment that comes meanwhile changes the stamp, so that the next call reads it.
  const auto stamp = stampOf(path + "/" + fileset::FileNames{recordingNameText(name)}.bootstrapName());
  const auto now = std::chrono::steady_clock::now();
  if (!stamp) {
    slot->recording = nullptr;
    slots_.setBytes(path, 0);
  }
  const bool isKnown = slot->stamp == stamp && (slot->recording || now < slot->retry);
  if (!stamp || isKnown) return slot->recording;
  // After a failure, too, so that not each request reads a damaged recording.
  slot->stamp = stamp;
  slot->retry = now + kRetryAfter;
  try {
    slot->recording = read(path, name, slot->recording);
    slots_.setBytes(path, slot->recording->bytes());
  } catch (const std::exception& error) {
    slot->recording = nullptr;
    log_.warning(fmt::format("a recording is not played: {}", error.what()));
  }
  return slot->recording;
}

std::optional<RecordingCache::Stamp> RecordingCache::stampOf(const std::string& bootstrap) {
  constexpr std::int64_t kNanoseconds = 1000000000;
  struct stat status {};
  if (::stat(bootstrap.c_str(), &status) != 0) return std::nullopt;
  return Stamp{.inode = status.st_ino,
               .changed = status.st_mtim.tv_sec * kNanoseconds + status.st_mtim.tv_nsec,
               .size = status.st_size};
}

RecordingPointer RecordingCache::read(const std::string& path, const RecordingName& name,
                                      const RecordingPointer& before) {
  auto recording = std::make_shared<PlayedRecording>();
  recording->name = name;
  recording->directory = readRecordingDirectory(path);
  // A recording that was stopped changes by a repair or an append only, and those may change anything.
  const bool continues = before && !before->timeline.ended;
  recording->timeline = continues ? extendRecordedTimeline(recording->directory, before->timeline)
                                  : readRecordedTimeline(recording->directory);
  requireSensibleTimes(*recording);
  if (continues) recording->headers = before->headers;
  for (const TimedSegment& segment : recording->timeline.segments) {
    if (recording->headers.contains(segment.number)) continue;
    const std::string file = recording->directory.pathOf(recording->directory.segmentName(segment.number));
    inSegment(file, [&] {
      FileView view(file, segment.headerSize);
      recording->headers.emplace(segment.number, headers_.add(readPlainHeader(view, segment.headerSize)));
    });
  }
  recording->namedMs = namedMs(recording->timeline);
  return recording;
}

}  // namespace host::serve
