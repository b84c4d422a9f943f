#pragma once

#include <string>
#include <vector>

#include "host/serve/api/apiRoutes.h"

namespace test {

/// The routes of the program over two streams, of which `gate` has three recordings of an hour.
class SampleApi {
 public:
  SampleApi() {
    using namespace host::serve;
    sources.views = [] {
      return std::vector{view("attic", StreamState::kFailed), view("gate", StreamState::kRecording)};
    };
    sources.find = [](const std::string& name) {
      return isKnown(name) ? std::optional(view(name, StreamState::kRecording)) : std::nullopt;
    };
    sources.start = sources.stop = isKnown;
    sources.rotate = [](const std::string& name) { return name == "gate"; };
    sources.maskedSource = [](const std::string&) { return "***"; };
    sources.isReady = [] { return true; };
    sources.folderOf = [](const std::string& name) {
      return isKnown(name) ? std::optional("/r/" + name) : std::nullopt;
    };
    sources.list = &recordings;
    sources.totals = [](const std::string&) { return Catalog::Totals{.recordings = 3, .bytes = 300}; };
    addApiRoutes(router, sources);
  }
  SampleApi(const SampleApi&) = delete;
  SampleApi& operator=(const SampleApi&) = delete;

  host::serve::ApiSources sources;
  host::serve::Router router;

 private:
  static bool isKnown(const std::string& name) { return name == "attic" || name == "gate"; }

  static host::serve::Supervisor::View view(const std::string& name, host::serve::StreamState state) {
    host::serve::Supervisor::View view{.config = {.name = name, .source = "udp://" + name, .root = "/r"},
                                       .snapshot = {}};
    view.snapshot.state = state;
    view.snapshot.lastError = "no \xFF route";
    return view;
  }

  static std::vector<host::serve::RecordingInfo> recordings(const std::string&, std::int64_t from, std::int64_t to) {
    std::vector<host::serve::RecordingInfo> list;
    for (std::int64_t hour = 12; hour < 15; ++hour) {
      const std::int64_t begin = 1'795'564'800'000 + hour * 3'600'000;
      if (begin + 3'600'000 <= from || begin >= to) continue;
      list.push_back({.name = "20261125T" + std::to_string(hour) + "0000.000Z",
                      .time = {begin, begin + 3'600'000},
                      .bytes = 100,
                      .gaps = {{begin + 1000, begin + 2000}}});
    }
    return list;
  }
};

}  // namespace test
