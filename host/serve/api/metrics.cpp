#include "host/serve/api/metrics.h"

#include "host/serve/api/MetricsText.h"

namespace host::serve {
namespace {

using Views = std::vector<Supervisor::View>;

/// A metric with one sample for each stream.
struct StreamMetric {
  const char* name;
  const char* type;
  const char* help;
  double (*value)(const StreamSnapshot&);
};

constexpr StreamMetric kStreamMetrics[] = {
    {"k2r_stream_up", "gauge", "Whether the stream is recorded.",
     [](const StreamSnapshot& s) { return s.state == StreamState::kRecording ? 1.0 : 0.0; }},
    {"k2r_stream_received_bytes_total", "counter", "Bytes of frames from the source.",
     [](const StreamSnapshot& s) { return static_cast<double>(s.received.bytes); }},
    {"k2r_stream_received_frames_total", "counter", "Frames from the source.",
     [](const StreamSnapshot& s) { return static_cast<double>(s.received.frames); }},
    {"k2r_stream_stored_bytes_total", "counter", "Bytes of frames on disk.",
     [](const StreamSnapshot& s) { return static_cast<double>(s.stored.bytes); }},
    {"k2r_stream_stored_frames_total", "counter", "Frames on disk.",
     [](const StreamSnapshot& s) { return static_cast<double>(s.stored.frames); }},
    {"k2r_stream_gaps_total", "counter", "Stretches without media inside recordings.",
     [](const StreamSnapshot& s) { return static_cast<double>(s.gaps); }},
    {"k2r_stream_reconnects_total", "counter", "How often the source was opened again.",
     [](const StreamSnapshot& s) { return static_cast<double>(s.reconnects); }},
    {"k2r_stream_recordings_begun_total", "counter", "Recordings begun.",
     [](const StreamSnapshot& s) { return static_cast<double>(s.recordingsBegun); }},
    {"k2r_stream_queue_bytes", "gauge", "Memory of the messages that wait for their fragment.",
     [](const StreamSnapshot& s) { return static_cast<double>(s.queueBytes); }},
    {"k2r_stream_last_fragment_timestamp_seconds", "gauge", "When the last fragment was on disk; 0 if none was.",
     [](const StreamSnapshot& s) { return static_cast<double>(s.lastFragmentAtMs) / 1000; }},
};

void addStreams(MetricsText& out, const Views& views) {
  for (const StreamMetric& metric : kStreamMetrics) {
    out.begin(metric.name, metric.type, metric.help);
    for (const auto& view : views) out.sample({{"stream", view.config.name}}, metric.value(view.snapshot));
  }
}

/// All reasons are there from the start: a rate needs the zero before the first loss.
void addLosses(MetricsText& out, const Views& views) {
  const auto samples = [&](const auto& ofReason) {
    for (const auto& view : views) {
      for (std::size_t i = 0; i < kLossReasons; ++i) {
        out.sample({{"stream", view.config.name}, {"reason", lossReasonText(static_cast<LossReason>(i))}},
                   static_cast<double>((view.snapshot.*ofReason)[i]));
      }
    }
  };
  out.begin("k2r_stream_lost_seconds_total", "counter", "Media time that is in no recording.");
  samples(&StreamSnapshot::lostSeconds);
  out.begin("k2r_stream_lost_frames_total", "counter", "Frames that were received and are in no recording.");
  samples(&StreamSnapshot::lostFrames);
}

void addRecordings(MetricsText& out, const ApiSources& sources, const Views& views) {
  std::vector<Catalog::Totals> totals;
  for (const auto& view : views) totals.push_back(sources.totals(view.config.name));
  out.begin("k2r_stream_recordings", "gauge", "Recordings on disk.");
  for (std::size_t i = 0; i < views.size(); ++i) {
    out.sample({{"stream", views[i].config.name}}, static_cast<double>(totals[i].recordings));
  }
  out.begin("k2r_stream_recordings_bytes", "gauge", "Bytes of the recordings on disk.");
  for (std::size_t i = 0; i < views.size(); ++i) {
    out.sample({{"stream", views[i].config.name}}, static_cast<double>(totals[i].bytes));
  }
}

void addDisks(MetricsText& out, const ApiSources& sources) {
  out.begin("k2r_disk_free_bytes", "gauge", "Bytes that may still be written below a folder of recordings.");
  for (const DiskSpace& disk : sources.disks ? sources.disks() : std::vector<DiskSpace>()) {
    if (disk.freeBytes) out.sample({{"root", disk.root}}, static_cast<double>(*disk.freeBytes));
  }
  out.begin("k2r_removed_recordings_total", "counter", "Recordings removed, by the limit that removed them.");
  for (const RemovedCount& count : sources.removed ? sources.removed() : std::vector<RemovedCount>()) {
    out.sample({{"reason", count.reason}}, static_cast<double>(count.recordings));
  }
}

void addHooks(MetricsText& out, const ApiSources& sources) {
  const auto hooks = sources.hooks ? sources.hooks() : std::map<std::string, HookStatus>();
  out.begin("k2r_hook_runs_total", "counter", "Hooks that ended, by result.");
  for (const auto& [stream, counts] : hooks) {
    out.sample({{"stream", stream}, {"result", "success"}}, static_cast<double>(counts.succeeded));
    out.sample({{"stream", stream}, {"result", "failure"}}, static_cast<double>(counts.failed));
    out.sample({{"stream", stream}, {"result", "timeout"}}, static_cast<double>(counts.timedOut));
  }
  out.begin("k2r_hooks_waiting", "gauge", "Recordings whose hook has not succeeded yet.");
  for (const auto& [stream, counts] : hooks) out.sample({{"stream", stream}}, static_cast<double>(counts.waiting));
  out.begin("k2r_hooks_failing", "gauge", "Recordings whose hook has failed so often that somebody has to look.");
  for (const auto& [stream, counts] : hooks) out.sample({{"stream", stream}}, static_cast<double>(counts.alarms));
}

}  // namespace

std::string metricsText(const ApiSources& sources) {
  MetricsText out;
  out.begin("k2r_build_info", "gauge", "1, with the version of the program.");
  out.sample({{"version", K2R_VERSION}}, 1);
  out.begin("k2r_catalog_ready", "gauge", "Whether all recordings on disk are known.");
  out.sample({}, sources.isReady() ? 1 : 0);
  const Views views = sources.views();
  addStreams(out, views);
  addLosses(out, views);
  addRecordings(out, sources, views);
  out.histogram("k2r_fragment_write_duration_seconds", "How long fragments took to be on disk.",
                sources.fragmentWrites == nullptr ? DurationHistogram::Snapshot() : sources.fragmentWrites->get());
  addDisks(out, sources);
  addHooks(out, sources);
  return out.text();
}

}  // namespace host::serve
