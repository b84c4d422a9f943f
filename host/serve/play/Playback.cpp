#include "host/serve/play/Playback.h"

#include <fmt/format.h>

#include <algorithm>
#include <system_error>
#include <utility>

#include "host/errors.h"
#include "host/serve/play/FragmentAddress.h"
#include "host/serve/play/TimedPlaylist.h"
#include "host/serve/requestedStream.h"

namespace host::serve {
namespace {

HttpResponse playlistResponse(std::string text) {
  HttpResponse response;
  response.type = "application/vnd.apple.mpegurl";
  response.body = Body(std::move(text));
  return response;
}

/// A response that never changes under its address.
HttpResponse lastingResponse(const std::string& name, Body body) {
  HttpResponse response;
  response.type = "video/mp4";
  response.etag = '"' + name + '"';
  response.cache = HttpResponse::kForEver;
  response.body = std::move(body);
  return response;
}

}  // namespace

Playback::Playback(const RecordingSource& source, Log& log, Clock clock, Limits limits)
    : source_(source),
      log_(log),
      clock_(std::move(clock)),
      headers_(log),
      recordings_(limits.timelines, headers_, log),
      fragments_(source, recordings_),
      bodies_(limits.fragments) {}

std::string Playback::folderOf(const std::string& stream) const {
  return knownFolder(source_.folderOf(stream));
}

Playback::Live& Playback::liveOf(const std::string& stream) {
  const std::lock_guard lock(mutex_);
  auto& live = live_[stream];
  if (!live) live = std::make_unique<Live>();
  return *live;
}

HttpResponse Playback::livePlaylist(const std::string& stream) {
  // After so long without requests no player still has the list, and a new one is cheaper than catching up.
  constexpr std::int64_t kForgottenMs = 300000;
  folderOf(stream);
  Live& live = liveOf(stream);
  const std::lock_guard lock(live.mutex);
  const std::int64_t nowMs = clock_();
  const bool isForgotten = nowMs - live.lastRequestMs > kForgottenMs;
  live.lastRequestMs = nowMs;
  if (!live.window.empty() && !isForgotten) {
    if (const auto added = fragments_.following(stream, live.window.newest(), nowMs)) {
      live.window.append(*added);
      return playlistResponse(live.window.playlist());
    }
  }
  const auto newest = fragments_.newest(stream, nowMs);
  if (newest.empty()) throwNothing(stream, 0, RecordingSource::kForEverMs);
  live.window.restart(newest, nowMs, source_.fragmentDurationMs(stream));
  return playlistResponse(live.window.playlist());
}

HttpResponse Playback::timedPlaylist(const std::string& stream, std::int64_t fromMs, std::int64_t toMs) {
  folderOf(stream);
  if (fromMs >= toMs) throw HttpError{.status = 400, .text = "the time ends before it begins"};
  if (static_cast<std::uint64_t>(toMs) - static_cast<std::uint64_t>(fromMs) > std::uint64_t{kLongestMs}) {
    throw HttpError{.status = 400, .text = "a playlist covers 25 hours at most; ask for less time"};
  }
  // Asked before the recordings are read: if recording had ended by then, they have all fragments.
  const bool isRecording = source_.isRecording(stream);
  TimedPlaylist playlist(fragments_.in(stream, fromMs, toMs), source_.fragmentDurationMs(stream));
  // The longest delay after which the last fragment of that time is on disk.
  constexpr std::int64_t kLateMs = 60000;
  const bool grows = isRecording && clock_() - kLateMs < toMs && playlist.endMs() < toMs;
  auto text = playlist.text(grows);
  if (!text) throwNothing(stream, fromMs, toMs);
  return playlistResponse(*std::move(text));
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
    for (const RecordingInfo& info : source_.list(stream, 0, RecordingSource::kForEverMs)) {
      if (!StreamFragments::isPlayable(info)) continue;
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
  const RecordingPointer opened = fragments_.open(stream, *info);
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
    return lastingResponse(recording + "/" + address, *bodies_.get(fragment, *parsed, path));
  } catch (const std::system_error& error) {
    // The recording was removed meanwhile.
    if (error.code() == std::errc::no_such_file_or_directory) throw missing();
    log_.warning(fmt::format("'{}': {}", path, error.what()));
  } catch (const CommandError& error) {
    log_.warning(error.what());
  }
  throw HttpError{.status = 500, .text = "the fragment cannot be read"};
}

}  // namespace host::serve
