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
#include "host/record/RecordObserver.h"
#include "host/record/StreamFollower.h"

namespace host {

/// How a session records its stream.
struct SessionOptions {
  /// Whether to keep what the module would drop: messages before the first line of the fragment grid, and messages
  /// after the last fragment.
  bool keepsHead = true;
  bool keepsTail = true;
  /// Limit in bytes of the messages that wait for a fragment.
  std::uint64_t maxQueue = std::uint64_t{256} << 20;
  /// If set, the first message gets this time, and all others move by the same distance.
  std::optional<std::uint32_t> startMs = {};
};

/// Records the messages of an input, and counts those that are lost. A message for which `record` returns false is sent
/// a second time, so that a disk that was full for a while costs no message. Belongs to the thread that records the
/// stream. Keeps references to all arguments, which outlive it.
class RecordSession {
 public:
  /// `pacer` may be null: messages are then recorded as fast as they come. `follower` must not have seen a message.
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

  /// Sets a function to call after each message.
  void betweenMessages(std::function<void()> call) { betweenMessages_ = std::move(call); }
  /// Null for none. Outlives the session.
  void observe(RecordObserver* observer) { observer_ = observer; }
  /// Records until the input ends. Throws InputError if the input fails; all messages before that are recorded.
  void run(Input& input);
  /// Closes the last fragment. Call it once, before the recording is stopped.
  void finish();

  const RecordAccount& account() const { return account_; }

 private:
  /// The way of one message: judged, timed, limited, recorded, counted.
  void take(InputMessage message);
  /// Records it nevertheless, so that the module's log says why it is refused.
  void takeRefused(const InputMessage& message);
  /// Applies `startMs`. The first message gives the distance.
  void moveTime(InputMessage& message);
  /// Ends the fragment at a break of the source, if there is a grid line in the gap: the message begins the next one.
  void beginAfterBreak(const InputMessage& message);
  /// False for a video message before the first key frame, or the first one after a break: no decoder could use it.
  bool isDecodable(const InputMessage& message);
  /// Records the made-up message that must come first, if one is needed.
  void recordHead(const InputMessage& message);
  /// Records a message of the follower.
  void recordMadeUp(const InputMessage& message);
  void recordMessage(const InputMessage& message, Reception reception);
  /// Returns whether the second attempt succeeded; if not, the message is counted as lost.
  bool sendOnceMore(const InputMessage& message);
  /// Counts and logs what the fragmenter dropped, and logs that the recording has no later times.
  void note(const InputMessage& message, const FragmentModel::Step& step);
  void noteDiscarded(const FragmentModel::Step& step);
  /// Warns once if no key frame has come for 10 s of media time.
  void watchKeyFrames(const InputMessage& message);
  /// Counts what is still queued at the end.
  void settleWaiting();
  void report() const;
  /// Why messages are still queued at the end, for the summary.
  std::string reasonOfWaiting() const;

  Recording& recording_;
  StreamContext& context_;
  StreamFollower& follower_;
  Log& log_;
  Progress& progress_;
  RealTimePacer* pacer_;
  std::function<void()> betweenMessages_ = [] {};
  RecordObserver* observer_ = nullptr;
  SessionOptions options_;
  RecordAccount account_;
  QueueLimit limit_;
  /// The input is a tag stream, which is recorded without additions where that is possible.
  bool isVerbatim_ = false;
  bool headIsMissing_ = false;
  bool hasKeyFrame_ = false;
  bool hasWarnedOfKeyFrames_ = false;
  bool hasWarnedOfVideo_ = false;
  /// Time of the last key frame, or of the first message that needed one.
  std::optional<std::uint32_t> noKeyFrameSinceMs_;
  /// What moveTime() adds to each time, modulo 2^32; nothing before the first message.
  std::optional<std::uint32_t> distanceMs_;
  /// The module's error message, if the last fragment could not be written.
  std::string writeFailure_;
};

}  // namespace host
