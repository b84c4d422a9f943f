#include "host/serve/WebInterface.h"

#include <fmt/format.h>

#include <utility>

#include "fragmentation/FragmentationConfig.h"
#include "host/OpenContext.h"
#include "host/Settings.h"
#include "host/serve/api/StaticFiles.h"
#include "host/serve/api/apiRoutes.h"
#include "host/serve/api/mediaRoutes.h"
#include "host/serve/catalog/Surroundings.h"
#include "host/serve/config/maskedSource.h"
#include "host/serve/config/secretFiles.h"
#include "host/serve/streams/RecordingBegins.h"
#include "platform/os/paths.h"

namespace host::serve {
namespace {

std::vector<DiskSpace> disksOf(const Storage& storage, DiskWatch& watch) {
  std::vector<DiskSpace> disks;
  for (const std::string& root : storage.roots()) {
    disks.push_back({.root = root, .freeBytes = watch.look(root).freeBytes});
  }
  return disks;
}

/// What was known before its disk hung must do then: one disk must not take the page and the metrics of all streams.
Catalog::Totals totalsOf(const Catalog& catalog, const std::string& stream, DiskWatch& watch) {
  const auto folder = catalog.folderOf(stream);
  const bool hangs = folder && watch.look(platform::os::directoryOf(*folder)).hangs;
  return hangs ? catalog.knownTotals(stream) : catalog.totals(stream);
}

std::vector<RemovedCount> removedOf(const Retention& retention) {
  std::vector<RemovedCount> counts;
  for (std::size_t i = 0; i < kRemovalReasons; ++i) {
    const auto reason = static_cast<RemovalReason>(i);
    counts.push_back({.reason = std::string(removalReasonText(reason)), .recordings = retention.removed(reason)});
  }
  return counts;
}

}  // namespace

bool PlayedStreams::isRecording(const std::string& stream) const {
  const auto view = streams_.find(stream);
  return view && view->snapshot.state != StreamState::kStopped;
}

std::uint64_t PlayedStreams::fragmentDurationMs(const std::string& stream) const {
  Settings settings;
  if (const auto view = streams_.find(stream)) {
    for (const std::string& assignment : view->config.settings) settings.assign(assignment);
  }
  OpenContext context(settings);
  return ruvo::k2r::readFragmentationConfig(context).fragmentDuration;
}

WebInterface::WebInterface(HttpOptions options, Supervisor& streams, const Storage& storage,
                           const DurationHistogram& fragmentWrites, Log& log)
    : options_(std::move(options)),
      disks_([](const std::string& root) { return systemSurroundings().freeBytes(root); }),
      played_(streams, storage.catalog()),
      sources_(makeSources(streams, storage, fragmentWrites)),
      playback_(played_, log, systemClockMs, {}),
      router_(makeRouter()),
      server_(
          options_, [this](const HttpRequest& request) { return router_(request); },
          [&log](const std::string& line) { log.error(line); }) {
  const bool isV6 = options_.address.find(':') != std::string::npos;
  log.note(fmt::format("listening on {}:{}", isV6 ? "[" + options_.address + "]" : options_.address, server_.port()));
}

WebInterface::~WebInterface() {
  server_.stop();
}

HttpOptions WebInterface::optionsOf(const ServeConfig& config) {
  return {.address = config.listenAddress,
          .port = config.listenPort,
          .access = {.token = config.tokenFile.empty() ? "" : readToken(config.tokenFile),
                     .readToken = config.readToken,
                     .allowOrigins = config.allowOrigins}};
}

ApiSources WebInterface::makeSources(Supervisor& streams, const Storage& storage,
                                     const DurationHistogram& fragmentWrites) {
  ApiSources sources = sourcesOf(streams, storage.catalog());
  sources.maskedSource = [](const std::string& source) { return maskedSource(source); };
  sources.disks = [this, &storage] { return disksOf(storage, disks_); };
  sources.totals = [this, &storage](const std::string& stream) { return totalsOf(storage.catalog(), stream, disks_); };
  sources.removed = [&storage] { return removedOf(storage.retention()); };
  sources.hooks = [&storage] { return storage.hooks().status(); };
  sources.fragmentWrites = &fragmentWrites;
  return sources;
}

Router WebInterface::makeRouter() {
  Router router;
  StaticFiles(webFolder()).addRoutes(router);
  addApiRoutes(router, sources_);
  addMediaRoutes(router, playback_, played_);
  return router;
}

}  // namespace host::serve
