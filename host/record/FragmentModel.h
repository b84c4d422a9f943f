#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <vector>

#include "fragmentation/FragmenterChoice.h"
#include "host/input/Input.h"
#include "host/record/Tally.h"

namespace host {

/// Set in the type of a message that the host makes up. The module's record path masks it out, so that the message
/// moves the fragmenter like any other; the writer of segments passes over such a type, so that it is never stored.
inline constexpr std::uint8_t kMadeUpBit = 0x80;

/// What the module holds of a stream: the state of its fragmenter, and what waits in its queue. Fed with the messages
/// that the module's fragmenter sees, it knows at any moment what is not on disk yet. A copy goes on by itself, and so
/// shows what further messages would do. Costs the fragmenter's few operations a message.
class FragmentModel {
 public:
  /// What one message did.
  struct Step {
    ruvo::k2r::FragmentAction action = ruvo::k2r::FragmentAction::None;
    /// The message kept its time: it was not older than one before it.
    bool keptTime = true;
    /// The fragment, if one was due, could be written: the first picture in it is a key frame.
    bool possible = true;
    /// What was in the queue when the action threw it away, and its stretch of time.
    Tally discarded = {};
    std::uint32_t discardedMs = 0;
  };

  /// Of a new recording. `fragmentDuration` in milliseconds, not 0.
  explicit FragmentModel(std::uint32_t fragmentDuration);
  /// Of one that is continued, whose times count from `baseMs`.
  FragmentModel(std::uint32_t fragmentDuration, bool hasVideo, std::uint32_t baseMs);

  /// Takes a message as the module does. `recorded` is the module's answer: without it the message is not queued, and
  /// what it should have written stays in the queue.
  Step add(const InputMessage& message, bool recorded);
  /// What the message would make the fragmenter do.
  ruvo::k2r::FragmentAction actionFor(const InputMessage& message) const;
  /// Whether these messages would leave nothing in the queue that is not made up.
  bool isEmptiedBy(std::span<const InputMessage> messages) const;

  std::uint32_t fragmentDuration() const { return fragmentDuration_; }
  /// No message has come.
  bool isFresh() const { return !started_; }
  /// The last time that the fragmenter saw.
  std::uint32_t lastTimeMs() const { return lastTimeMs_; }
  /// Real messages that wait for a fragment.
  const Tally& waiting() const { return waiting_; }
  /// Of the first of them; the last time where there is none.
  std::uint32_t firstWaitingMs() const;
  /// Bytes of memory, about, that the queue takes in the module.
  std::uint64_t queueSize() const { return queueSize_; }

 private:
  struct Queued {
    std::uint32_t timeMs = 0;
    std::uint32_t bytes = 0;
    bool isVideo = false;
    bool isKeyFrame = false;
    bool isMadeUp = false;
  };

  /// The time that the fragmenter sees.
  std::uint32_t lift(std::uint32_t timeMs) const;
  void settle(const ruvo::k2r::FragmentDecision& decision, bool recorded, Step& step);
  bool beginsWithKeyFrame() const;
  void dropBelow(std::uint32_t limitMs);
  void push(const Queued& message);
  void popFront();

  std::uint32_t fragmentDuration_;
  ruvo::k2r::FragmenterChoice fragmenter_;
  std::deque<Queued> queue_;
  Tally waiting_;
  std::uint64_t queueSize_ = 0;
  /// A fragment is announced and not written.
  bool isHeld_ = false;
  bool started_ = false;
  std::optional<std::uint32_t> baseMs_;
  std::uint32_t lastTimeMs_ = 0;
  /// Counted from the base, modulo 2^32.
  std::uint32_t lastRelativeMs_ = 0;
};

}  // namespace host
