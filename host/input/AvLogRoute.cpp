#include "host/input/AvLogRoute.h"

extern "C" {
#include <libavutil/log.h>
}

#include <fmt/format.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace host {
namespace {

// libav's callback has no argument for an object of ours, so the log is found here.

/// The log of this thread.
thread_local Log* threadLog = nullptr;

thread_local bool codecsAreSilent = false;

std::mutex mutex;
/// The log of libav's own threads. Guarded by `mutex`, which they have while they write.
Log* sharedLog = nullptr;

/// Whether messages of objects of that class are of no use to a user now.
bool isDropped(const AVClass& type) {
  const std::string_view name = type.class_name;
  // The tracks report themselves what a filter refuses, once and not for each frame.
  return name == "AVBSFContext" || (name == "AVCodecContext" && codecsAreSilent);
}

__attribute__((format(printf, 3, 0))) void onAvLog(void* object, int level, const char* format, va_list arguments) {
  if (level > AV_LOG_ERROR) return;
  const AVClass* const type = object != nullptr ? *static_cast<const AVClass* const*>(object) : nullptr;
  if (type != nullptr && isDropped(*type)) return;
  // Longer texts are cut; libav's own log does the same.
  char text[1024];
  std::vsnprintf(text, sizeof text, format, arguments);
  const std::string line =
      fmt::format("{}: {}", type != nullptr ? type->item_name(object) : "libav", std::string_view(text));
  if (threadLog != nullptr) return threadLog->warning(line);
  const std::lock_guard lock(mutex);
  if (sharedLog != nullptr) sharedLog->warning(line);
}

}  // namespace

AvLogRoute::AvLogRoute(Log& log) : outer_(std::exchange(threadLog, &log)) {
  const std::lock_guard lock(mutex);
  // For the rest of the process: libav's own one would print to standard error.
  av_log_set_callback(onAvLog);
  isOldest_ = sharedLog == nullptr;
  if (isOldest_) sharedLog = &log;
}

AvLogRoute::~AvLogRoute() {
  threadLog = outer_;
  const std::lock_guard lock(mutex);
  if (isOldest_) sharedLog = nullptr;
}

AvLogRoute::CodecSilence::CodecSilence(bool isWanted)
    : outer_(std::exchange(codecsAreSilent, codecsAreSilent || isWanted)) {}

AvLogRoute::CodecSilence::~CodecSilence() {
  codecsAreSilent = outer_;
}

}  // namespace host
