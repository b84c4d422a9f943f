#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "host/Log.h"
#include "host/Recording.h"
#include "host/StreamContext.h"
#include "host/input/Input.h"
#include "host/record/Progress.h"
#include "host/record/QueueLimit.h"
#include "host/record/RealTimePacer.h"
#include "host/record/RecordAccount.h"
#include "host/record/StreamFollower.h"

namespace host {

/// How a session treats its stream.
struct SessionOptions {
  /// What the module drops of itself, ahead of the first line of the grid and behind the last fragment, is kept.
  bool keepsHead = true;
  bool keepsTail = true;
  /// Bytes that may wait for a fragment.
  std::uint64_t maxQueue = std::uint64_t{256} << 20;
  /// The first message that is recorded gets this time, and all others move by the same distance.
  std::optional<std::uint32_t> startMs = {};
};

/// Carries the messages of an input into a recording so that nothing of them is lost where that can be helped, and
/// keeps account of what is. Sends a message that the module does not take once more, so that a disk that was full for
/// a while costs none. Keeps references to all it is given, which outlive it.
class RecordSession {
 public:
  /// Without a `pacer`, which may be null, messages go as fast as they come. `follower` is a fresh one.
  RecordSession(Recording& recording, StreamContext& context, StreamFollower& follower, Log& log, Progress& progress,
                RealTimePacer* pacer, const SessionOptions& options)
      : recording_(recording),
        context_(context),
        follower_(follower),
        log_(log),
        progress_(progress),
        pacer_(pacer),
        options_(options),
        limit_(options.maxQueue, follower, account_, log) {}

  /// Called behind each message.
  void betweenMessages(std::function<void()> call) { betweenMessages_ = std::move(call); }
  /// Until the input ends. Throws InputError where it fails; what came before is recorded.
  void run(Input& input);
  /// Closes the last fragment. Once, ahead of the recording's stop.
  void finish();

  const RecordAccount& account() const { return account_; }

 private:
  void take(InputMessage message);
  void takeRefused(const InputMessage& message);
  void moveTime(InputMessage& message);
  /// False for a picture that nothing can be made of, since no key frame has come.
  bool isDecodable(const InputMessage& message);
  void recordHead(const InputMessage& message);
  void recordMessage(const InputMessage& message, Reception reception);
  bool sendOnceMore(const InputMessage& message);
  void note(const InputMessage& message, const FragmentModel::Step& step);
  void noteDiscarded(const FragmentModel::Step& step);
  void watchKeyFrames(const InputMessage& message);
  std::string reasonOfWaiting() const;

  Recording& recording_;
  StreamContext& context_;
  StreamFollower& follower_;
  Log& log_;
  Progress& progress_;
  RealTimePacer* pacer_;
  std::function<void()> betweenMessages_ = [] {};
  SessionOptions options_;
  RecordAccount account_;
  QueueLimit limit_;
  bool isVerbatim_ = false;
  bool headIsMissing_ = false;
  bool hasKeyFrame_ = false;
  bool toldOfKeyFrames_ = false;
  bool toldOfVideo_ = false;
  /// Since when there was no key frame.
  std::optional<std::uint32_t> noKeyFrameSinceMs_;
  std::optional<std::uint32_t> distanceMs_;
  /// The module's words where the last fragment could not be written.
  std::string writeFailure_;
};

}  // namespace host
