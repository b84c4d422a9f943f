#include "host/serve/play/Playback.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <system_error>
#include <utility>

#include "host/errors.h"
#include "host/files/inFile.h"
#include "host/output.h"
#include "host/serve/play/TimedPlaylist.h"
#include "host/serve/requestedStream.h"
#include "platform/container/reading/fragmentReader.h"

namespace host::serve {
namespace {

/// How far back the newest fragments of a stream are searched.
constexpr std::int64_t kRecentMs = 600000;
constexpr std::int64_t kForEverMs = std::numeric_limits<std::int64_t>::max();

RecordingName nameOf(const RecordingInfo& info) {
  return parseRecordingName(info.name).value_or(RecordingName{});
}

HttpResponse playlistResponse(std::string text) {
  HttpResponse response;
  response.type = "application/vnd.apple.mpegurl";
  response.body = Body(std::move(text));
  return response;
}

/// An answer that never changes under its address.
HttpResponse lastingResponse(const std::string& name, Body body) {
  HttpResponse response;
  response.type = "video/mp4";
  response.etag = '"' + name + '"';
  response.cache = HttpResponse::kForEver;
  response.body = std::move(body);
  return response;
}

/// Drops the recordings after the one in progress: it has the newest fragments, and what seems to come later was
/// recorded before the clock was set back.
std::vector<RecordingInfo> upToCurrent(std::vector<RecordingInfo> infos) {
  const auto current = std::find_if(infos.rbegin(), infos.rend(), [](const RecordingInfo& info) {
    return info.state == RecordingState::kInProgress;
  });
  if (current != infos.rend()) infos.erase(current.base(), infos.end());
  return infos;
}

}  // namespace

Playback::Playback(const RecordingSource& source, Log& log, Clock clock, Limits limits)
    : source_(source),
      log_(log),
      clock_(std::move(clock)),
      headers_(log),
      recordings_(limits.timelines, headers_, log),
      fragments_(limits.fragments),
      copies_(limits.copies),
      wholeFragments_(limits.keptCopies) {}

bool Playback::isPlayable(const RecordingInfo& info) {
  return info.isWhole() && !info.isProtected && parseRecordingName(info.name);
}

std::string Playback::folderOf(const std::string& stream) const {
  return knownFolder(source_.folderOf(stream));
}

RecordingPointer Playback::open(const std::string& stream, const RecordingInfo& info) {
  if (!isPlayable(info)) return nullptr;
  return recordings_.get(folderOf(stream) + "/" + info.name, nameOf(info));
}

std::vector<RecordingPointer> Playback::openAll(const std::string& stream, const std::vector<RecordingInfo>& infos) {
  // The newest first. A recording must not miss a fragment that came meanwhile if the next recording has one: a list
  // would have to insert it later.
  std::vector<RecordingPointer> recordings;
  for (auto info = infos.rbegin(); info != infos.rend(); ++info) {
    if (RecordingPointer recording = open(stream, *info)) recordings.push_back(std::move(recording));
  }
  std::ranges::reverse(recordings);
  return recordings;
}

Playback::Live& Playback::liveOf(const std::string& stream) {
  const std::lock_guard lock(mutex_);
  auto& live = live_[stream];
  if (!live) live = std::make_unique<Live>();
  return *live;
}

HttpResponse Playback::livePlaylist(const std::string& stream) {
  // After such a time without requests nobody remembers the list, and it is cheaper to begin anew than to catch up.
  constexpr std::int64_t kForgottenMs = 300000;
  folderOf(stream);
  Live& live = liveOf(stream);
  const std::lock_guard lock(live.mutex);
  const std::int64_t nowMs = clock_();
  const bool isForgotten = nowMs - live.lastRequestMs > kForgottenMs;
  live.lastRequestMs = nowMs;
  if (!live.window.empty() && !isForgotten) {
    if (const auto added = following(stream, live.window.newest(), nowMs)) {
      live.window.append(*added);
      return playlistResponse(live.window.playlist());
    }
  }
  const auto newest = newestFragments(stream, nowMs);
  if (newest.empty()) throwNothing(stream, 0, kForEverMs);
  live.window.restart(newest, nowMs, source_.fragmentDurationMs(stream));
  return playlistResponse(live.window.playlist());
}

std::vector<PlayedFragment> Playback::newestFragments(const std::string& stream, std::int64_t nowMs) {
  std::vector<PlayedFragment> fragments;
  const auto collect = [&](std::int64_t fromMs) {
    const auto infos = upToCurrent(source_.list(stream, fromMs, kForEverMs));
    std::uint64_t lengthMs = 0;
    for (auto info = infos.rbegin(); info != infos.rend(); ++info) {
      const RecordingPointer recording = open(stream, *info);
      if (!recording) continue;
      for (std::size_t i = recording->timeline.fragments.size(); i-- > 0;) {
        if (fragments.size() >= LiveWindow::kLeastFragments && lengthMs >= LiveWindow::kLeastMs) return;
        fragments.push_back({recording, i});
        lengthMs += recording->timeline.fragments[i].durationMs;
      }
    }
  };
  collect(nowMs - kRecentMs);
  if (fragments.empty()) collect(0);
  std::ranges::reverse(fragments);
  return fragments;
}

std::optional<std::vector<PlayedFragment>> Playback::following(const std::string& stream, const PlayedFragment& newest,
                                                               std::int64_t nowMs) {
  std::vector<PlayedFragment> fragments;
  const RecordingName& name = newest.recording->name;
  auto infos = upToCurrent(source_.list(stream, name.beginMs, kForEverMs));
  std::erase_if(infos, [&name](const RecordingInfo& info) { return nameOf(info) < name; });
  for (const RecordingPointer& recording : openAll(stream, infos)) {
    const auto& all = recording->timeline.fragments;
    const auto first = recording->name == name
                           ? std::ranges::upper_bound(all, newest.timed().number, {}, &TimedFragment::number)
                           : all.begin();
    for (auto i = first; i != all.end(); ++i)
      fragments.push_back({recording, static_cast<std::size_t>(i - all.begin())});
  }
  if (!fragments.empty()) return fragments;
  // A clock that was set back gives new recordings names before this one.
  for (const RecordingInfo& info : source_.list(stream, nowMs - kRecentMs, name.beginMs + 1)) {
    if (info.state == RecordingState::kInProgress && nameOf(info) < name && open(stream, info)) return std::nullopt;
  }
  return fragments;
}

HttpResponse Playback::timedPlaylist(const std::string& stream, std::int64_t fromMs, std::int64_t toMs) {
  folderOf(stream);
  if (fromMs >= toMs) throw HttpError{.status = 400, .text = "the time ends before it begins"};
  if (static_cast<std::uint64_t>(toMs) - static_cast<std::uint64_t>(fromMs) > std::uint64_t{kLongestMs}) {
    throw HttpError{.status = 400, .text = "a playlist covers 25 hours at most; ask for less time"};
  }
  // Before the recordings are read: they have all fragments if it was over by then.
  const bool isRecording = source_.isRecording(stream);
  TimedPlaylist playlist(fragmentsIn(stream, fromMs, toMs), source_.fragmentDurationMs(stream));
  // How late the last fragment of that time may come.
  constexpr std::int64_t kLateMs = 60000;
  const bool grows = isRecording && clock_() - kLateMs < toMs && playlist.endMs() < toMs;
  auto text = playlist.text(grows);
  if (!text) throwNothing(stream, fromMs, toMs);
  return playlistResponse(*std::move(text));
}

std::vector<PlayedFragment> Playback::fragmentsIn(const std::string& stream, std::int64_t fromMs, std::int64_t toMs) {
  std::vector<PlayedFragment> fragments;
  for (const RecordingPointer& recording : openAll(stream, source_.list(stream, fromMs, toMs))) {
    for (std::size_t i = 0; i < recording->timeline.fragments.size(); ++i) {
      PlayedFragment fragment{recording, i};
      const std::int64_t beginMs = fragment.wallMs();
      const std::int64_t endMs = beginMs + static_cast<std::int64_t>(fragment.timed().durationMs);
      if (beginMs < toMs && endMs > fromMs) fragments.push_back(std::move(fragment));
    }
  }
  return fragments;
}

void Playback::throwNothing(const std::string& stream, std::int64_t fromMs, std::int64_t toMs) const {
  const auto infos = source_.list(stream, fromMs, toMs);
  if (!infos.empty() && std::ranges::all_of(infos, &RecordingInfo::isProtected)) {
    throw HttpError{.status = 403, .text = "the recordings are protected, and k2r serve has no keys to play them"};
  }
  throw HttpError{.status = 404, .text = "nothing is recorded there"};
}

HttpResponse Playback::header(const std::string& stream, const std::string& name) {
  const std::string folder = folderOf(stream);
  HeaderPointer header = headers_.find(name, {});
  if (!header) {
    std::vector<HeaderStore::Place> places;
    for (const RecordingInfo& info : source_.list(stream, 0, kForEverMs)) {
      if (!isPlayable(info)) continue;
      places.push_back({.path = folder + "/" + info.name, .isFinished = info.state == RecordingState::kFinished});
    }
    std::ranges::reverse(places);
    header = headers_.find(name, places);
  }
  if (!header) throw HttpError{.status = 404, .text = "there is no such header"};
  Body body;
  body.add(header->bytes);
  return lastingResponse(header->name, std::move(body));
}

HttpResponse Playback::fragment(const std::string& stream, const std::string& recording, const std::string& address) {
  const auto missing = [] { return HttpError{.status = 404, .text = "there is no such fragment"}; };
  folderOf(stream);
  const auto info = source_.find(stream, recording);
  const auto parsed = parseFragmentAddress(address);
  if (!info || !parsed) throw missing();
  const RecordingPointer opened = open(stream, *info);
  const auto index = opened ? opened->find(parsed->number) : std::nullopt;
  if (!index) throw missing();
  const PlayedFragment fragment{opened, *index};
  // Without durations the address means one with a successor in its recording, which the newest does not have yet.
  const bool isComplete = parsed->lastDurations.empty()
                              ? !fragment.isLast()
                              : parsed->lastDurations.size() == fragment.timed().tracks.size();
  if (!isComplete) throw missing();
  const std::string path = opened->directory.pathOf(opened->directory.segmentName(fragment.timed().segment));
  try {
    return lastingResponse(recording + "/" + address, *wholeFragment(fragment, *parsed, path));
  } catch (const std::system_error& error) {
    // Removed meanwhile.
    if (error.code() == std::errc::no_such_file_or_directory) throw missing();
    log_.warning(fmt::format("'{}': {}", path, error.what()));
  } catch (const CommandError& error) {
    log_.warning(error.what());
  }
  throw HttpError{.status = 500, .text = "the fragment cannot be read"};
}

std::shared_ptr<const Body> Playback::wholeFragment(const PlayedFragment& fragment, const FragmentAddress& address,
                                                    const std::string& path) {
  const std::string key = fmt::format("{}/{}", fragment.recording->directory.path, address.text());
  if (auto known = wholeFragments_.find(key)) return known;
  const auto file = files_.open(path);
  const auto made = makeFragment(key, fragment, address, path, file);
  Body body;
  body.add(made->boxes);
  for (std::size_t i = 0; i < made->spans.size(); ++i) {
    if (i > 0) body.add(made->inserted);
    body.add(file, made->spans[i].offset, made->spans[i].size);
  }
  auto copy = copies_.copy(body);
  // Not kept: it would keep a segment open that is removed.
  if (!copy) return std::make_shared<const Body>(std::move(body));
  const auto whole = std::make_shared<const Body>(*std::move(copy));
  wholeFragments_.put(key, whole, whole->size());
  return whole;
}

std::shared_ptr<const PlainFragment> Playback::makeFragment(const std::string& key, const PlayedFragment& fragment,
                                                            const FragmentAddress& address, const std::string& path,
                                                            const OpenFiles::File& file) {
  if (auto known = fragments_.find(key)) return known;
  const TimedFragment& timed = fragment.timed();
  PlainPlace place{.sequenceNumber = address.sequenceNumber(), .shiftMs = shiftTo(address.placeMs, timed)};
  if (address.lastDurations.empty()) {
    const TimedFragment& next = fragment.recording->timeline.fragments[fragment.index + 1];
    place.lastDurations = durationsUntil(timed, place.shiftMs, next, shiftTo(address.placeMs + timed.durationMs, next));
  }
  for (std::size_t i = 0; i < address.lastDurations.size(); ++i) {
    place.lastDurations[timed.tracks[i].id] = address.lastDurations[i];
  }
  auto made = inSegment(path, [&] {
    OpenFileSource source(*file);
    const auto& movie = fragment.recording->timeline.segment(timed.segment).movie;
    const auto stored = krvo::container::readFragment(source, timed.boxes.position(), movie);
    return std::make_shared<const PlainFragment>(makePlainFragment(source, movie, stored, place));
  });
  fragments_.put(key, made, made->boxes.size() + made->inserted.size() + made->spans.size() * sizeof(made->spans[0]));
  return made;
}

}  // namespace host::serve
