#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "host/serve/api/apiRoutes.h"

namespace test {

/// The routes of the program over three streams: three recordings of `gate`, an hour each, without time between them;
/// `attic` is not recorded. A test may change what there is before a request.
class SampleApi {
 public:
  SampleApi() {
    using namespace host::serve;
    for (std::int64_t hour = 12; hour < 15; ++hour) {
      const std::int64_t begin = 1'795'564'800'000 + hour * 3'600'000;
      recordings.push_back({.name = "20261125T" + std::to_string(hour) + "0000.000Z",
                            .time = {begin, begin + 3'600'000},
                            .bytes = 100,
                            .gaps = {{begin + 1000, begin + 2000}}});
    }
    recordings[2].state = RecordingState::kInProgress;
    sources.views = [this] { return views; };
    sources.find = [this](const std::string& name) {
      const auto found = std::ranges::find(views, name, [](const auto& view) { return view.config.name; });
      return found == views.end() ? std::nullopt : std::optional(*found);
    };
    sources.start = sources.stop = [this](const std::string& name) { return sources.find(name).has_value(); };
    sources.rotate = [](const std::string& name) { return name == "gate"; };
    sources.maskedSource = [](const std::string& source) { return "***" + source.substr(source.find('@')); };
    sources.isReady = [this] { return isReady; };
    sources.folderOf = [this](const std::string& name) {
      return sources.find(name) ? std::optional("/r/" + name) : std::nullopt;
    };
    sources.list = [this](const std::string& name, std::int64_t from, std::int64_t to) {
      auto list = name == "gate" ? recordings : std::vector<RecordingInfo>();
      std::erase_if(list, [&](const auto& one) { return one.time.endMs <= from || one.time.beginMs >= to; });
      return list;
    };
    sources.totals = [](const std::string& name) {
      return Catalog::Totals{.recordings = name == "gate" ? 3U : 0, .bytes = 300};
    };
    addApiRoutes(router, sources);
  }
  SampleApi(const SampleApi&) = delete;
  SampleApi& operator=(const SampleApi&) = delete;

  std::vector<host::serve::Supervisor::View> views{stream("attic", host::serve::StreamState::kFailed),
                                                   stream("gate", host::serve::StreamState::kRecording),
                                                   stream("yard", host::serve::StreamState::kStopped)};
  std::vector<host::serve::RecordingInfo> recordings;
  bool isReady = true;
  host::serve::ApiSources sources;
  host::serve::Router router;

 private:
  static host::serve::Supervisor::View stream(const std::string& name, host::serve::StreamState state) {
    host::serve::Supervisor::View view{.config = {.name = name, .source = "rtsp://me:secret@" + name, .root = "/r"},
                                       .snapshot = {}};
    view.snapshot.state = state;
    view.snapshot.sinceMs = 1'795'615'400'500;
    view.snapshot.lastError = "no \xFF route";
    return view;
  }
};

}  // namespace test
