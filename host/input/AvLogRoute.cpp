#include "host/input/AvLogRoute.h"

extern "C" {
#include <libavutil/log.h>
}

#include <fmt/format.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <string_view>

namespace host {
namespace {

/// libav's callback has no argument for an object of ours, so the log is found here. Atomic: libav's own threads log.
std::atomic<Log*> target = nullptr;

__attribute__((format(printf, 3, 0))) void onAvLog(void* object, int level, const char* format, va_list arguments) {
  Log* const log = target.load();
  if (level > AV_LOG_ERROR || log == nullptr) return;
  // Longer texts are cut; libav's own log does the same.
  char text[1024];
  std::vsnprintf(text, sizeof text, format, arguments);
  const AVClass* const type = object != nullptr ? *static_cast<const AVClass* const*>(object) : nullptr;
  log->warning(fmt::format("{}: {}", type != nullptr ? type->item_name(object) : "libav", std::string_view(text)));
}

}  // namespace

AvLogRoute::AvLogRoute(Log& log) {
  target = &log;
  av_log_set_callback(onAvLog);
}

AvLogRoute::~AvLogRoute() {
  // First the callback, then the target: a message of another thread must not find a log that is gone.
  av_log_set_callback(av_log_default_callback);
  target = nullptr;
}

}  // namespace host
