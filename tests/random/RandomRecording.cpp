#include "tests/random/RandomRecording.h"

#include <fmt/format.h>

#include <random>

#include "tests/support/hex.h"

namespace test {
namespace {

/// Numbers that are the same with every standard library.
class Dice {
 public:
  explicit Dice(std::uint32_t seed) : engine_(seed) {}
  std::uint32_t below(std::uint32_t limit) { return limit == 0 ? 0 : static_cast<std::uint32_t>(engine_() % limit); }
  bool oneIn(std::uint32_t count) { return below(count) == 0; }
  template <typename Value>
  Value oneOf(std::initializer_list<Value> values) {
    return values.begin()[below(static_cast<std::uint32_t>(values.size()))];
  }

 private:
  std::mt19937 engine_;
};

/// What the messages of a recording are made of.
struct Codecs {
  /// First bytes of frames; empty where there are none of that kind. "17" and "af" stand for AVC and AAC.
  const char* keyFrame;
  const char* frame;
  const char* audio;
};

constexpr Codecs kAvcAndAac = {"17 01 000000", "27 01 000000", "af 01"};
// The last rows have codecs that get a track, and are not written.
constexpr Codecs kAll[] = {kAvcAndAac,
                           kAvcAndAac,
                           {"17 01 000000", "27 01 000000", ""},
                           {"", "", "af 01"},
                           {"14 00", "24 00", "2f"},
                           {"12", "22", "b6"},
                           {"", "", "2f"},
                           {"13", "23", "2f"},
                           {"17 01 000000", "27 01 000000", "0f"},
                           {"13", "23", ""},
                           {"", "", "3f"}};

class Maker {
 public:
  Maker(Dice& dice, std::uint32_t fragmentMs)
      : dice_(dice),
        fragmentMs_(fragmentMs),
        codecs_(kAll[dice.below(std::size(kAll))]),
        keysOneIn_(dice.oneOf({1U, 2U, 5U, 12U})),
        keysEveryMs_(dice.oneIn(3) ? fragmentMs * dice.oneOf({1U, 2U, 5U, 8U, 10U}) / 4 : 0),
        oddTimesOneIn_(dice.oneOf({6U, 20U, 100U, 100000U})),
        stepMs_(std::max(1U, fragmentMs / dice.oneOf({1U, 2U, 4U, 10U}))),
        time_(firstTime()) {}

  RandomSession session(bool first) {
    RandomSession session;
    if (!first) time_ = nextStart();
    start_ = time_;
    if (!first || !dice_.oneIn(40)) session.messages.push_back(metadata(time_));
    if (first || dice_.oneIn(2)) addConfigurations(session.messages);
    for (std::uint32_t count = dice_.below(dice_.oneOf({4U, 30U, 120U, 250U})); count > 0; --count) {
      session.messages.push_back(message());
      if (dice_.oneIn(oddTimesOneIn_)) {
        oddTime();
      } else if (!dice_.oneIn(5)) {
        time_ += dice_.below(2 * stepMs_);
      }
    }
    session.stop = !dice_.oneIn(3);
    return session;
  }

 private:
  std::uint32_t firstTime() {
    const std::uint32_t times[] = {dice_.below(3 * fragmentMs_), dice_.below(1000) * fragmentMs_,
                                   0U - dice_.below(20 * fragmentMs_), dice_.below(UINT32_MAX)};
    return dice_.oneIn(3) ? 0 : times[dice_.below(4)];
  }

  std::uint32_t nextStart() {
    const std::uint32_t distance = dice_.below(dice_.oneOf({2U, 20U}) * fragmentMs_);
    if (dice_.oneIn(8)) {
      goBack(time_, distance);
      return time_;
    }
    const std::uint32_t start = time_ + distance;
    return dice_.oneIn(2) ? start - start % fragmentMs_ : start;
  }

  /// Not beyond 0 where the jump would take in millions of numbers.
  void goBack(std::uint32_t from, std::uint32_t distance) {
    time_ = from < distance && fragmentMs_ < 60000 ? 0 : from - distance;
  }

  /// Anything but the next one: back, a pause, the grid line, before the beginning, beyond the last number.
  void oddTime() {
    const std::uint32_t kind = dice_.below(6);
    const std::uint32_t back = dice_.below(3 * fragmentMs_);
    if (kind == 0) goBack(time_, back);
    if (kind == 1) time_ += dice_.below(dice_.oneIn(40) ? 300 : 8) * fragmentMs_ + dice_.below(fragmentMs_);
    if (kind == 2) time_ += fragmentMs_ - time_ % fragmentMs_;
    // Not where the time has wrapped: the next session would begin millions of numbers further on.
    if (kind == 3 && start_ <= time_) goBack(start_, back);
    if (kind == 4 && UINT32_MAX - time_ < 100 * fragmentMs_) time_ = back;
  }

  void addConfigurations(std::vector<StreamMessage>& messages) {
    if (codecs_.keyFrame == std::string(kAvcAndAac.keyFrame)) messages.push_back(avcSequenceHeader(time_));
    if (codecs_.audio == std::string(kAvcAndAac.audio)) messages.push_back(aacSequenceHeader(time_));
  }

  StreamMessage message() {
    const bool hasVideo = *codecs_.keyFrame != '\0';
    const bool hasAudio = *codecs_.audio != '\0';
    if (dice_.oneIn(25)) return odd();
    if (dice_.oneIn(15)) return {dice_.oneOf<std::uint8_t>({15, 18, 18, 0x32}), time_, fromHex("02 0002 6869 05")};
    if (hasVideo && (!hasAudio || dice_.oneIn(2))) {
      return frame(dice_.oneIn(30) ? 0x29 : 9, isKeyFrame() ? codecs_.keyFrame : codecs_.frame);
    }
    return frame(8, codecs_.audio);
  }

  /// At random, or the first one from each multiple of a distance on, as an encoder has it.
  bool isKeyFrame() {
    if (keysEveryMs_ == 0) return dice_.oneIn(keysOneIn_);
    const bool isKey = time_ / keysEveryMs_ != lastKey_;
    lastKey_ = time_ / keysEveryMs_;
    return isKey;
  }

  StreamMessage frame(std::uint8_t type, const char* front) {
    StreamMessage made{type, time_, fromHex(front)};
    if (made.data.size() == 5 && dice_.oneIn(3)) {
      // A composition time, positive or negative.
      made.data[2] = made.data[3] = dice_.oneOf({std::byte{0}, std::byte{0xFF}});
      made.data[4] = static_cast<std::byte>(dice_.below(256));
    }
    for (std::uint32_t count = dice_.below(dice_.oneIn(20) ? 3000 : 12); count > 0; --count) {
      made.data.push_back(static_cast<std::byte>(dice_.below(256)));
    }
    return made;
  }

  /// Refused, skipped, or short of what its codec asks for.
  StreamMessage odd() {
    const std::pair<std::uint8_t, const char*> kinds[] = {
        {22, "00"}, {9, ""},   {8, ""},         {9, "16 00"}, {8, "5f"},         {9, "17"},
        {9, "27"},  {8, "af"}, {9, "17 02 00"}, {9, "57 00"}, {8, "af 00 1210"}, {18, ""}};
    const auto& [type, data] = kinds[dice_.below(std::size(kinds))];
    return {type, time_, fromHex(data)};
  }

  Dice& dice_;
  std::uint32_t fragmentMs_;
  Codecs codecs_;
  std::uint32_t keysOneIn_;
  /// 0 where they come at random.
  std::uint32_t keysEveryMs_;
  std::uint32_t lastKey_ = UINT32_MAX;
  std::uint32_t oddTimesOneIn_;
  std::uint32_t stepMs_;
  std::uint32_t time_;
  /// Of the session's first message.
  std::uint32_t start_ = 0;
};

}  // namespace

RandomRecording::RandomRecording(std::uint32_t seed) {
  Dice dice(seed);
  const std::uint32_t fragmentMs = dice.oneOf({100U, 333U, 1000U, 1000U, 4000U, 60000U});
  const auto set = [&](const char* key, std::uint32_t value) {
    settings[std::string("Recording/") + key] = std::to_string(value);
  };
  set("FragmentDuration", fragmentMs);
  set("SegmentDuration", dice.oneOf({0U, 0U, 1U, 2U, 5U}) * fragmentMs);
  set("DurationPrecision", dice.oneOf({1U, 33U, 100U, 1000U, 7000U}));
  set("AllowedDrift", dice.oneOf({0U, 20U, 1000U, 9000U}));
  if (dice.oneIn(20)) {
    // Durations of whole frames, which need not be whole milliseconds.
    settings["Recording/FrameRate"] = dice.oneOf({"25", "29.97"});
    settings["Recording/FramesPerKeyframeInterval"] = std::to_string(std::max(1U, fragmentMs / 40));
  }
  Maker maker(dice, fragmentMs);
  for (std::uint32_t count = 1 + dice.below(4); count > 0; --count) {
    sessions.push_back(maker.session(sessions.empty()));
  }
}

std::string RandomRecording::text() const {
  std::string text;
  for (const auto& [key, value] : settings) text += fmt::format("{} = {}\n", key, value);
  for (const RandomSession& session : sessions) {
    for (const StreamMessage& message : session.messages) {
      const auto front = std::span(message.data).first(std::min<std::size_t>(message.data.size(), 2));
      text +=
          fmt::format("{:10} type {:2} of {} bytes: {}\n", message.time, message.type, message.data.size(), hex(front));
    }
    text += session.stop ? "stop\n" : "no stop\n";
  }
  return text;
}

}  // namespace test
