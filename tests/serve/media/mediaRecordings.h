#pragma once

#include "host/serve/media/Exporter.h"
#include "tests/endtoend/mediaTools.h"
#include "tests/host/hostTools.h"
#include "tests/serve/http/contentOf.h"

namespace test {

/// 12:00 of a day.
constexpr std::int64_t kNoon = 1'764'072'000'000;

/// The messages of a clip of 15 s with a key frame every 2 s, made once.
inline const std::vector<StreamMessage>& clipMessages(const std::string& coding = "") {
  static std::map<std::string, std::vector<StreamMessage>> made;
  auto& messages = made[coding];
  if (messages.empty()) {
    const TempDirectory place;
    makeClip(coding.empty() ? both() : both(coding), place.file("clip.mp4"));
    messages = messagesOf(place.file("clip.mp4"));
  }
  return messages;
}

/// Those of a clip with times in [from, to), after its headers. At a time with a key frame, that one is the first, or
/// the one that completes the last fragment, which is the last.
inline std::vector<StreamMessage> partOf(const std::vector<StreamMessage>& clip, std::uint32_t from, std::uint32_t to) {
  std::vector<StreamMessage> part;
  bool complete = false;
  for (const StreamMessage& message : clip) {
    const bool isMedia = (message.type == 8 || message.type == 9) && !isSequenceHeader(message);
    if (isMedia && message.time < from) continue;
    if (isMedia && message.time >= to && (complete || message.type != 9)) continue;
    complete = complete || (isMedia && message.time >= to);
    part.push_back(message);
    if (!isMedia) part.back().time = from;
  }
  return part;
}

inline RecordingPlan shortFragments(std::vector<StreamMessage> messages) {
  return {.messages = std::move(messages), .settings = {{"Recording/FragmentDuration", "2000"}}};
}

}  // namespace test
