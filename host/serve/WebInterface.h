#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/Log.h"
#include "host/serve/DiskWatch.h"
#include "host/serve/ServeConfig.h"
#include "host/serve/Storage.h"
#include "host/serve/api/ApiSources.h"
#include "host/serve/api/Router.h"
#include "host/serve/http/HttpServer.h"
#include "host/serve/play/Playback.h"
#include "host/serve/play/RecordingSource.h"
#include "host/serve/streams/Supervisor.h"

namespace host::serve {

/// What playback needs, from streams and storage.
class PlayedStreams final : public RecordingSource {
 public:
  /// Both outlive it.
  PlayedStreams(const Supervisor& streams, const Catalog& catalog) : streams_(streams), catalog_(catalog) {}

  std::optional<std::string> folderOf(const std::string& stream) const override { return catalog_.folderOf(stream); }
  std::vector<RecordingInfo> list(const std::string& stream, std::int64_t fromMs, std::int64_t toMs) const override {
    return catalog_.list(stream, fromMs, toMs);
  }
  std::optional<RecordingInfo> find(const std::string& stream, const std::string& recording) const override {
    return catalog_.find(stream, recording);
  }
  bool isRecording(const std::string& stream) const override;
  std::uint64_t fragmentDurationMs(const std::string& stream) const override;

 private:
  const Supervisor& streams_;
  const Catalog& catalog_;
};

/// The program's face on the network: the page, lists, playback, control, metrics and health.
class WebInterface {
 public:
  /// Serves from here on. Throws CommandError if it cannot listen. All references outlive it.
  WebInterface(HttpOptions options, Supervisor& streams, const Storage& storage,
               const DurationHistogram& fragmentWrites, Log& log);
  ~WebInterface();
  WebInterface(const WebInterface&) = delete;
  WebInterface& operator=(const WebInterface&) = delete;

  const HttpOptions& options() const { return options_; }
  /// What a configuration asks for, with the token that is in its file now. Throws UsageError if that cannot be read.
  static HttpOptions optionsOf(const ServeConfig& config);

 private:
  ApiSources makeSources(Supervisor& streams, const Storage& storage, const DurationHistogram& fragmentWrites);
  Router makeRouter();

  const HttpOptions options_;
  DiskWatch disks_;
  PlayedStreams played_;
  ApiSources sources_;
  Playback playback_;
  const Router router_;
  /// Last: its threads use all of the above.
  HttpServer server_;
};

}  // namespace host::serve
