#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "host/input/Input.h"
#include "host/record/FragmentModel.h"
#include "host/record/MessageCheck.h"
#include "host/record/RecordingEnd.h"

namespace host {

/// Follows a stream into the module, and makes up the messages that keep all of it: one before the first message, and
/// those that close the last fragment, because the module drops its queue when it is stopped. Made-up messages have
/// kMadeUpBit in their type, belong to an existing track, and are never stored.
///
///     switch (follower.judge(message)) ...           for every message, in order
///     if (auto head = follower.headFor(message, true)) follower.take(*head, record(*head));
///     follower.take(message, record(message));
///     for (message : follower.closing()) ...         once, before the stop
///
/// Made-up messages are views of data of this object and must not outlive it. Belongs to the thread that records the
/// stream.
class StreamFollower {
 public:
  /// For a new recording. `fragmentDuration` in ms, not 0.
  StreamFollower(std::uint32_t fragmentDuration, bool isProtected)
      : check_(std::nullopt, isProtected), model_(fragmentDuration) {}
  /// For an append to a recording that ends at `end`.
  StreamFollower(std::uint32_t fragmentDuration, bool isProtected, const RecordingEnd& end);

  /// What the module will do with the message. Call it once for each message, in order, before it is recorded.
  Reception judge(const InputMessage& message);
  /// Whether the message that was judged last creates its track. If it were dropped, a later message might be too late
  /// to create it.
  bool madeTrack() const { return check_.madeTrack(); }
  /// The message to record before the first message that reaches the fragmenter, or nothing if none is needed. It
  /// begins the recording on a grid line, since the module drops everything before the first line. With `keepsLeadIn`
  /// it also keeps sound that comes before the first picture, if a sequence header has announced video: the module
  /// would drop that sound at the first key frame.
  std::optional<InputMessage> headFor(const InputMessage& message, bool keepsLeadIn);
  /// Takes a message that reached the fragmenter, made up or not, and what `record` returned for it.
  FragmentModel::Step take(const InputMessage& message, bool recorded);
  /// The messages that make the module write everything it has queued: the first of a few sequences for which a copy of
  /// the model shows this. Empty if nothing is queued, or if no sequence achieves it.
  std::vector<InputMessage> closing() const;

  /// A made-up key frame of that time in ms, if with it the module writes everything it has queued; nothing if it would
  /// not, and without video, where any message ends a fragment.
  std::optional<InputMessage> keyFrameThatCloses(std::uint32_t timeMs) const;

  /// Whether key frames decide where fragments begin.
  bool goesByVideo() const { return goesByVideo_; }
  const FragmentModel& model() const { return model_; }
  /// The first time, in ms, that does not belong to a stored fragment.
  std::uint32_t firstLineMs() const { return firstLineMs_; }

 private:
  /// A made-up message of this kind. Its payload must be known.
  InputMessage madeUp(ruvo::k2r::SampleKind kind, std::uint64_t timeMs) const;
  InputMessage madeUpInterFrame(std::uint64_t timeMs) const;
  /// Keeps data of which made-up messages of that kind can be made: the module checks codec and packet type of them,
  /// too.
  void learnPayload(const InputMessage& message, ruvo::k2r::SampleKind kind);
  /// The sequences of made-up messages that closing() tries, the least intrusive first.
  std::vector<std::vector<InputMessage>> candidates() const;

  MessageCheck check_;
  FragmentModel model_;
  std::uint32_t firstLineMs_ = 0;
  bool goesByVideo_ = false;
  /// By SampleKind: the data of made-up messages; empty before the first real message of the kind.
  std::array<std::vector<std::byte>, 3> payloads_;
  std::vector<std::byte> interFrame_;
  /// Data of a key frame of the codec that a sequence header has announced; empty if none has.
  std::vector<std::byte> announced_;
  /// Message type of script data in this stream: 18 (AMF0) or 15 (AMF3).
  std::uint8_t dataType_ = 0;
};

}  // namespace host
