#include "host/Recording.h"

#include <fmt/format.h>

#include "host/errors.h"
#include "platform/os/paths.h"
#include "util/narrow.h"

namespace host {

Recording::Recording(IMOStreamAdaptor& adaptor, IMOStreamOpenContext& settings, const std::string& path, bool append)
    : adaptor_(adaptor) {
  const std::uint32_t flags = kOpenRecord | (append ? kOpenAppend : 0u);
  if (adaptor_.open(&settings, path.c_str(), flags, nullptr, handle_) != kStreamOpened) {
    throw CommandError(fmt::format("the module cannot open the recording '{}'", platform::os::toNative(path)));
  }
}

bool Recording::record(const InputMessage& message) {
  return adaptor_.record(handle_, message.type, message.data.data(),
                         qvs::util::narrow<std::uint32_t>(message.data.size()), message.timeMs);
}

}  // namespace host
