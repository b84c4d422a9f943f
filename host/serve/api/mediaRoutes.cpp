#include "host/serve/api/mediaRoutes.h"

#include <fmt/format.h>

#include <chrono>
#include <memory>
#include <utility>

#include "host/output.h"
#include "host/serve/api/requestTime.h"
#include "host/serve/media/Exporter.h"
#include "host/serve/media/snapshot.h"
#include "host/serve/requestedStream.h"
#include "host/serve/streams/RecordingBegins.h"

namespace host::serve {
namespace {

HttpResponse playlist(Playback& playback, const HttpRequest& request) {
  const RequestedTime time = requestedTime(request);
  if (!time.startMs && !time.endMs) return playback.livePlaylist(requestedStream(request));
  if (!time.startMs) throw HttpError{.status = 400, .text = "start: a playlist that ends needs it"};
  return playback.timedPlaylist(requestedStream(request), *time.startMs,
                                time.endMs.value_or(*time.startMs + Playback::kLongestMs));
}

HttpResponse exported(Exporter& exporter, const RecordingSource& recordings, const HttpRequest& request) {
  const std::string& stream = requestedStream(request);
  const std::string folder = knownFolder(recordings.folderOf(stream));
  const RequestedTime time = requestedTime(request);
  if (!time.startMs || !time.endMs) {
    throw HttpError{.status = 400, .text = "an export needs start, and end or duration"};
  }
  ExportedFile file = exporter.make(mediaRecordings(folder, recordings.list(stream, *time.startMs, *time.endMs)),
                                    {.beginMs = *time.startMs, .endMs = *time.endMs});
  const std::string name = fmt::format("{}-{}.mp4", stream, recordingNameText({.beginMs = file.time.beginMs}));
  return {.type = "video/mp4",
          .body = std::move(file.body),
          .etag = std::move(file.etag),
          .cache = "no-cache",
          .headers = {{"Content-Disposition", fmt::format("attachment; filename=\"{}\"", name)}}};
}

/// Looks back further and further: a picture is nearly always found in the newest recording, and every list costs the
/// reading of what is in it.
Snapshot newestPicture(const RecordingSource& recordings, const std::string& stream, std::int64_t atMs) {
  using std::chrono::hours;
  using std::chrono::milliseconds;
  const std::string folder = knownFolder(recordings.folderOf(stream));
  for (const hours back : {hours(1), hours(25), hours(24 * 31)}) {
    try {
      const auto listed = recordings.list(stream, atMs - milliseconds(back).count(), atMs + 1);
      return snapshotAt(mediaRecordings(folder, listed), atMs);
    } catch (const HttpError& error) {
      if (error.status != 404) throw;
    }
  }
  return snapshotAt(mediaRecordings(folder, recordings.list(stream, 0, atMs + 1)), atMs);
}

HttpResponse snapshot(const RecordingSource& recordings, const HttpRequest& request) {
  Snapshot found =
      newestPicture(recordings, requestedStream(request), requestedMoment(request, "at").value_or(systemClockMs()));
  return {.type = "image/jpeg",
          .body = std::move(found.body),
          .cache = "no-cache",
          .headers = {{"K2R-Time", utcText(found.timeMs)}}};
}

}  // namespace

void addMediaRoutes(Router& router, Playback& playback, const RecordingSource& recordings) {
  Playback* const player = &playback;
  const RecordingSource* const source = &recordings;
  // One for all streams, since its limits are those of the process.
  const auto exporter = std::make_shared<Exporter>();
  router.add("GET", "/v1/streams/*/index.m3u8",
             [player](const HttpRequest& request) { return playlist(*player, request); });
  router.add("GET", "/v1/streams/*/export.mp4",
             [source, exporter](const HttpRequest& request) { return exported(*exporter, *source, request); });
  router.add("GET", "/v1/streams/*/snapshot.jpg",
             [source](const HttpRequest& request) { return snapshot(*source, request); });
  router.add("GET", "/v1/streams/*/init-*.mp4", [player](const HttpRequest& request) {
    return player->header(requestedStream(request), request.path.at(3));
  });
  router.add("GET", "/v1/streams/*/*/*.m4s", [player](const HttpRequest& request) {
    return player->fragment(requestedStream(request), request.path.at(3), request.path.at(4));
  });
}

}  // namespace host::serve
