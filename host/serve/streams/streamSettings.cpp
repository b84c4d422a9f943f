#include "host/serve/streams/streamSettings.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace host::serve {
namespace {

/// Whether data of that kind of source may be read a fifth of a second later without loss: the sender waits (TCP), or
/// a thread of libavformat reads into a large buffer (UDP).
bool mayGather(const std::string& source, const std::vector<std::string>& options) {
  constexpr std::string_view kKinds[] = {"tcp:", "udp:", "http:", "https:", "rtmp"};
  const auto isKind = [&](std::string_view kind) { return source.starts_with(kind); };
  // RTP over UDP comes into the small buffers of the system only.
  const bool isRtspOverTcp =
      source.starts_with("rtsp:") && std::ranges::find(options, "rtsp_transport=tcp") != options.end();
  return isRtspOverTcp || std::ranges::any_of(kKinds, isKind);
}

}  // namespace

Settings settingsOf(const StreamConfig& config) {
  Settings settings;
  for (const std::string& assignment : config.settings) settings.assign(assignment);
  settings.requireComplete();
  return settings;
}

InputOptions inputOptionsOf(const StreamConfig& config) {
  InputOptions options;
  options.avOptions = config.inputOptions;
  // libavformat takes 5 MB of memory for each UDP input by default. This is a third of a second at 20 Mbit/s.
  const auto hasSize = [](const std::string& text) { return text.find("fifo_size=") != std::string::npos; };
  const bool isUdp = config.source.starts_with("udp:");
  const bool hasOwnSize = hasSize(config.source) || std::ranges::any_of(options.avOptions, hasSize);
  if (isUdp && !hasOwnSize) options.avOptions.emplace_back("fifo_size=4096");
  options.mayGather = !(isUdp && hasOwnSize) && mayGather(config.source, config.inputOptions);
  options.stallTimeout = config.stallTimeout;
  options.maxGap = config.maxGap;
  options.reconnect = true;
  return options;
}

}  // namespace host::serve
