#include "host/serve/streams/StreamStatus.h"

namespace host::serve {

std::string_view lossReasonText(LossReason reason) {
  constexpr std::string_view kTexts[kLossReasons] = {"source", "no_key_frame", "queue", "refused", "tail"};
  return kTexts[static_cast<std::size_t>(reason)];
}

std::string_view streamStateText(StreamState state) {
  constexpr std::string_view kTexts[] = {"stopped", "connecting", "recording", "blocked", "failed"};
  return kTexts[static_cast<std::size_t>(state)];
}

}  // namespace host::serve
