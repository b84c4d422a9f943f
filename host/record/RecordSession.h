#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "host/Log.h"
#include "host/Recording.h"
#include "host/StreamContext.h"
#include "host/input/Input.h"
#include "host/record/Progress.h"
#include "host/record/RealTimePacer.h"

namespace host {

/// Carries the messages of an input into a recording, and keeps count of those that did not get in. Sends each message
/// that the module does not take once more, so that a disk that was full for a while costs none. Keeps references to
/// all it is given, which outlive it.
class RecordSession {
 public:
  /// Without a `pacer`, which may be null, messages go as fast as they come.
  RecordSession(Recording& recording, StreamContext& context, Log& log, Progress& progress, RealTimePacer* pacer)
      : recording_(recording), context_(context), log_(log), progress_(progress), pacer_(pacer) {}

  /// For an append: messages from this time on go behind what is there. Refused earlier ones get a line that says so.
  void expectFrom(std::uint32_t timeMs) { expectedMs_ = timeMs; }
  /// Called behind each message.
  void betweenMessages(std::function<void()> call) { betweenMessages_ = std::move(call); }
  /// Until the input ends. Throws InputError where it fails; what came before is recorded.
  void run(Input& input);

  std::uint64_t messages() const { return messages_; }
  std::uint64_t refused() const { return refused_; }
  /// Why the first message was refused.
  const std::string& firstReason() const { return firstReason_; }

 private:
  void take(const InputMessage& message);
  void refuse(const InputMessage& message, const std::string& reason);

  Recording& recording_;
  StreamContext& context_;
  Log& log_;
  Progress& progress_;
  RealTimePacer* pacer_;
  std::function<void()> betweenMessages_ = [] {};
  std::uint64_t messages_ = 0;
  std::uint64_t refused_ = 0;
  std::string firstReason_;
  std::uint32_t expectedMs_ = 0;
};

}  // namespace host
