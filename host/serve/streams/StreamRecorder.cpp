#include "host/serve/streams/StreamRecorder.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "host/errors.h"
#include "host/serve/config/maskedSource.h"
#include "host/serve/streams/StreamSession.h"
#include "host/serve/streams/streamSettings.h"

namespace host::serve {
namespace {

/// Takes the passwords of the stream out of a text.
Log::Filter filterOf(const StreamConfig& config) {
  return [source = config.source](std::string_view text) { return maskedText(text, source); };
}

}  // namespace

StreamRecorder::StreamRecorder(StreamConfig config, const StreamServices& services,
                               std::shared_ptr<StreamStatus> status, std::unique_ptr<StreamRecorder> predecessor,
                               std::function<void()> whenDone)
    : config_(std::move(config)),
      services_(services),
      status_(std::move(status)),
      predecessor_(std::move(predecessor)),
      whenDone_(std::move(whenDone)),
      log_(services.log, config_.name + ": ", filterOf(config_)),
      meter_(config_, *status_, services, filterOf(config_)),
      thread_([this] { run(); }) {}

void StreamRecorder::requestStop() noexcept {
  stop_.request();
}

void StreamRecorder::run() {
  // It has to finish: the source may allow one connection only.
  predecessor_.reset();
  try {
    recordAll();
  } catch (const std::exception& error) {
    log_.error(error.what());
    meter_.fail(error.what());
  }
  meter_.setState(StreamState::kStopped);
  isDone_ = true;
  whenDone_();
}

void StreamRecorder::recordAll() {
  if (stop_.requested()) return;
  meter_.setState(StreamState::kConnecting);
  try {
    if (services_.prepare) services_.prepare(config_);
  } catch (const std::exception& error) {
    log_.error(error.what());
    meter_.fail(error.what());
  }
  auto pause = services_.firstPause;
  while (true) {
    const auto recordingsBefore = status_->get().recordingsBegun;
    try {
      if (!recordOnce(settingsOf(config_))) return;
    } catch (const std::exception& error) {
      if (stop_.requested()) return;
      // Wrong settings are tried again, too, since a file that they name may appear.
      const bool isUsage = dynamic_cast<const UsageError*>(&error) != nullptr;
      log_.error(error.what());
      meter_.fail(error.what());
      meter_.setState(isUsage ? StreamState::kFailed : StreamState::kConnecting);
    }
    if (status_->get().recordingsBegun != recordingsBefore) pause = services_.firstPause;
    if (!stop_.waitUntil(std::chrono::steady_clock::now() + pause)) return;
    pause = std::min(2 * pause, services_.longestPause);
  }
}

bool StreamRecorder::recordOnce(const Settings& settings) {
  StreamSession session(config_, settings, services_, meter_, stop_, rotation_, log_);
  meter_.setState(StreamState::kConnecting);
  return !session.run() && !stop_.requested();
}

}  // namespace host::serve
