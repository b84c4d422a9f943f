#include "host/serve/api/documents.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "host/serve/api/requestTime.h"
#include "host/serve/recordingName.h"
#include "host/serve/requestedStream.h"

namespace host::serve {
namespace {

constexpr std::size_t kUsualLimit = 1000;
constexpr std::size_t kMostRecordings = 10'000;

/// RFC 3339, or null for none.
Json timeOrNull(std::int64_t ms) {
  return ms == 0 ? Json(nullptr) : Json(utcText(ms));
}

Json lastError(const StreamSnapshot& snapshot) {
  if (snapshot.lastError.empty()) return nullptr;
  return {{"text", snapshot.lastError}, {"time", timeOrNull(snapshot.lastErrorAtMs)}};
}

Json streamEntry(const ApiSources& sources, const Supervisor::View& view) {
  const StreamSnapshot& now = view.snapshot;
  const Catalog::Totals totals = sources.totals(view.config.name);
  return {{"name", view.config.name},
          {"state", streamStateText(now.state)},
          {"since", timeOrNull(now.sinceMs)},
          {"lastError", lastError(now)},
          {"source", sources.maskedSource(view.config.source)},
          {"receivedBytesPerSecond", now.receivedBytesPerSecond},
          {"lastFragment", timeOrNull(now.lastFragmentAtMs)},
          {"recording", now.recording},
          {"recordings", totals.recordings},
          {"bytes", totals.bytes}};
}

Json spanDocument(const TimeSpan& span) {
  return {{"begin", utcText(span.beginMs)}, {"end", utcText(span.endMs)}};
}

Json recordingEntry(const RecordingInfo& recording) {
  Json gaps = Json::array();
  for (const TimeSpan& gap : recording.gaps) gaps.push_back(spanDocument(gap));
  return {{"name", recording.name},
          {"begin", utcText(recording.time.beginMs)},
          {"end", utcText(recording.time.endMs)},
          {"bytes", recording.bytes},
          {"state", recordingStateText(recording.state)},
          {"protected", recording.isProtected},
          {"gaps", std::move(gaps)}};
}

std::size_t requestedLimit(const HttpRequest& request) {
  const std::string* text = request.parameter("limit");
  if (text == nullptr) return kUsualLimit;
  std::size_t limit = 0;
  const auto result = std::from_chars(text->data(), text->data() + text->size(), limit);
  if (result.ec != std::errc() || result.ptr != text->data() + text->size() || limit == 0 || limit > kMostRecordings) {
    throw HttpError{.status = 400, .text = "limit: not a number from 1 to 10000"};
  }
  return limit;
}

std::optional<RecordingName> requestedAfter(const HttpRequest& request) {
  const std::string* text = request.parameter("after");
  if (text == nullptr) return std::nullopt;
  const auto name = parseRecordingName(*text);
  if (!name) throw HttpError{.status = 400, .text = "after: not the name of a recording"};
  return name;
}

/// What the request asks for, without its limit.
std::vector<RecordingInfo> requestedRecordings(const ApiSources& sources, const HttpRequest& request,
                                               const std::string& stream) {
  const RequestedTime time = requestedTime(request);
  const auto after = requestedAfter(request);
  std::int64_t from = time.startMs.value_or(0);
  // Recordings that begin later end later, too.
  if (after) from = std::max(from, after->beginMs);
  auto recordings = sources.list(stream, from, time.endMs.value_or(std::numeric_limits<std::int64_t>::max()));
  if (after) {
    std::erase_if(recordings, [&](const RecordingInfo& recording) {
      const auto name = parseRecordingName(recording.name);
      return !name || *name <= *after;
    });
  }
  return recordings;
}

}  // namespace

Json streamsDocument(const ApiSources& sources) {
  Json streams = Json::array();
  for (const auto& view : sources.views()) streams.push_back(streamEntry(sources, view));
  return {{"streams", std::move(streams)}};
}

Json healthDocument(const ApiSources& sources) {
  bool isHealthy = true;
  Json streams = Json::array();
  for (const auto& view : sources.views()) {
    const StreamSnapshot& now = view.snapshot;
    if (now.state == StreamState::kRecording) continue;
    // One that is stopped is as somebody wanted it.
    if (now.state != StreamState::kStopped) isHealthy = false;
    streams.push_back({{"name", view.config.name},
                       {"state", streamStateText(now.state)},
                       {"since", timeOrNull(now.sinceMs)},
                       {"lastError", lastError(now)},
                       {"lastFragment", timeOrNull(now.lastFragmentAtMs)}});
  }
  Json hooks = Json::array();
  for (const auto& [stream, counts] : sources.hooks ? sources.hooks() : std::map<std::string, HookStatus>()) {
    if (counts.alarms == 0) continue;
    isHealthy = false;
    hooks.push_back({{"stream", stream}, {"recordings", counts.alarms}, {"lastError", counts.lastError}});
  }
  return {{"status", isHealthy ? "ok" : "degraded"},
          {"ready", sources.isReady()},
          {"notRecording", std::move(streams)},
          {"failingHooks", std::move(hooks)}};
}

Json recordingsDocument(const ApiSources& sources, const HttpRequest& request, const std::string& stream) {
  if (!sources.folderOf(stream)) throw noSuchStream();
  const std::size_t limit = requestedLimit(request);
  const auto recordings = requestedRecordings(sources, request, stream);
  const std::size_t count = std::min(limit, recordings.size());
  Json entries = Json::array();
  for (std::size_t i = 0; i < count; ++i) entries.push_back(recordingEntry(recordings[i]));
  Json next = count < recordings.size() ? Json(recordings[count - 1].name) : Json(nullptr);
  return {{"recordings", std::move(entries)}, {"next", std::move(next)}};
}

}  // namespace host::serve
