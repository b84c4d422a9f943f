#include "host/serve/api/ApiSources.h"

namespace host::serve {

ApiSources sourcesOf(Supervisor& supervisor, const Catalog& catalog) {
  ApiSources sources;
  sources.views = [&supervisor] { return supervisor.views(); };
  sources.find = [&supervisor](const std::string& stream) { return supervisor.find(stream); };
  sources.start = [&supervisor](const std::string& stream) { return supervisor.start(stream); };
  sources.stop = [&supervisor](const std::string& stream) { return supervisor.stop(stream); };
  sources.rotate = [&supervisor](const std::string& stream) { return supervisor.rotate(stream); };
  sources.isReady = [&catalog] { return catalog.isReady(); };
  sources.folderOf = [&catalog](const std::string& stream) { return catalog.folderOf(stream); };
  sources.list = [&catalog](const std::string& stream, std::int64_t fromMs, std::int64_t toMs) {
    return catalog.list(stream, fromMs, toMs);
  };
  sources.totals = [&catalog](const std::string& stream) { return catalog.totals(stream); };
  return sources;
}

}  // namespace host::serve
