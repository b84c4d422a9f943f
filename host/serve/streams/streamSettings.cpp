#include "host/serve/streams/streamSettings.h"

namespace host::serve {

Settings settingsOf(const StreamConfig& config) {
  Settings settings;
  for (const std::string& assignment : config.settings) settings.assign(assignment);
  settings.requireComplete();
  return settings;
}

}  // namespace host::serve
