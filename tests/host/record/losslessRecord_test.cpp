// Whatever comes is in the recording. Random streams and appends go through the whole command; what the segments then
// hold is checked against what went in. K2R_RANDOM_STREAMS sets how many, K2R_RANDOM_SEED where to begin.

#include <random>

#include "host/exporting/RecordedTags.h"
#include "tests/host/hostTools.h"

namespace {

namespace fs = std::filesystem;
using namespace test;

std::uint32_t numberFrom(const char* variable, std::uint32_t otherwise) {
  const char* const text = std::getenv(variable);
  return text == nullptr ? otherwise : static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
}

/// A stream whose kinds, codecs and grid stay the same over its appends.
class RandomStream {
 public:
  explicit RandomStream(std::uint32_t seed) : random_(seed) {
    durationMs = pick({1000, 2000, 4000});
    settings = {{"Recording/FragmentDuration", std::to_string(durationMs)},
                {"Recording/SegmentDuration", std::to_string(pick({0, 0, 0, 500, 3000, 9000}))}};
    const std::uint32_t kinds = below(8);
    hasVideo_ = kinds < 5;
    hasAudio_ = kinds != 0 && kinds != 7;
    hasData_ = kinds == 1 || kinds >= 6;
    isAvc_ = below(3) != 0;
    isAac_ = below(3) != 0;
    // Pictures that come in fives at one time, so that there is an inter frame at a key frame's very millisecond.
    hasTies_ = below(8) == 0;
  }

  std::uint32_t durationMs;
  std::map<std::string, std::string> settings;
  bool hasTies() const { return hasTies_; }
  bool hasVideo() const { return hasVideo_; }

  std::vector<StreamMessage> part() {
    const std::uint32_t startMs = pick({0, 0, below(3 * durationMs), durationMs * below(500000)});
    const std::uint32_t endMs = startMs + 1 + below(durationMs * pick({1, 3, 9}));
    std::vector<StreamMessage> frames;
    if (hasVideo_) addVideo(frames, startMs + (below(3) == 0 ? below(durationMs / 2) : 0), endMs);
    if (hasAudio_)
      addEvery(frames, startMs + (below(3) == 0 ? below(durationMs) : 0), endMs, 23 + below(300),
               isAac_ ? "af01" : "2ffb", 8);
    if (hasData_) addEvery(frames, startMs, endMs, 100 + below(3 * durationMs), "020002686905", 18);
    std::ranges::stable_sort(frames, {}, &StreamMessage::time);
    if (frames.empty()) return {};
    std::vector<StreamMessage> headers{metadata(frames.front().time)};
    if (hasVideo_ && isAvc_) headers.push_back(avcSequenceHeader(frames.front().time));
    if (hasAudio_ && isAac_) headers.push_back(aacSequenceHeader(frames.front().time));
    return headers + frames;
  }

 private:
  std::uint32_t below(std::uint32_t bound) { return static_cast<std::uint32_t>(random_()) % std::max(bound, 1U); }
  std::uint32_t pick(const std::vector<std::uint32_t>& values) {
    return values[below(static_cast<std::uint32_t>(values.size()))];
  }

  StreamMessage numbered(std::uint8_t type, std::uint32_t timeMs, const char* front) {
    StreamMessage message{type, timeMs, fromHex(front)};
    for (unsigned shift = 0; shift < 32; shift += 8) message.data.push_back(static_cast<std::byte>(count_ >> shift));
    ++count_;
    return message;
  }

  void addVideo(std::vector<StreamMessage>& frames, std::uint32_t timeMs, std::uint32_t endMs) {
    const std::uint32_t period = 20 + below(400);
    std::uint32_t untilKey = below(4) == 0 ? below(4) : 0;
    for (std::uint32_t i = 0; timeMs < endMs; ++i) {
      const bool isKey = untilKey == 0;
      untilKey = isKey ? below(1 + durationMs * pick({1, 2, 5}) / period) : untilKey - 1;
      frames.push_back(numbered(9, timeMs, isAvc_ ? (isKey ? "1701000000" : "2701000000") : (isKey ? "1400" : "2400")));
      if (!hasTies_ || i % 5 == 4) timeMs += below(4) == 0 ? durationMs - timeMs % durationMs : 1 + below(2 * period);
    }
  }

  void addEvery(std::vector<StreamMessage>& frames, std::uint32_t timeMs, std::uint32_t endMs, std::uint32_t period,
                const char* front, std::uint8_t type) {
    for (; timeMs < endMs; timeMs += 1 + below(2 * period)) frames.push_back(numbered(type, timeMs, front));
  }

  std::mt19937 random_;
  bool hasVideo_, hasAudio_, hasData_, isAvc_, isAac_, hasTies_;
  std::uint32_t count_ = 0;
};

bool isHeader(const StreamMessage& message) {
  return (message.type == 18 && message.data.size() > 20) || (message.data.size() > 8 && isSequenceHeader(message)) ||
         (message.type == 8 && message.data == aacSequenceHeader(0).data);
}

/// Without times, which an append moves.
using Payloads = std::vector<std::pair<std::uint8_t, std::vector<std::byte>>>;

Payloads payloadsOf(const std::vector<StreamMessage>& messages) {
  Payloads payloads;
  for (const auto& message : messages)
    if (!isHeader(message)) payloads.emplace_back(message.type, message.data);
  return payloads;
}

Payloads storedIn(const std::string& directory) {
  Payloads payloads;
  const auto files = host::readRecordingDirectory(directory);
  if (!files.hasBootstrap) return payloads;
  host::RecordedTags(files).forEach({}, [&](const host::RecordedTag& tag) {
    if (!tag.content.isSequenceHeader())
      payloads.emplace_back(tag.content.place.rawType, std::vector(tag.data.begin(), tag.data.end()));
  });
  return payloads;
}

bool isVideo(const Payloads::value_type& payload) {
  return payload.first == 9;
}
bool isKeyFrame(const Payloads::value_type& payload) {
  return isVideo(payload) && (payload.second[0] >> 4) == std::byte{1};
}

bool isSubsequence(const Payloads& part, const Payloads& whole) {
  auto place = whole.begin();
  return std::ranges::all_of(part, [&](const auto& payload) {
    place = std::find(place, whole.end(), payload);
    return place != whole.end() && ++place != whole.begin();
  });
}

/// Records part after part, and compares what is stored with what went in.
class Trial {
 public:
  explicit Trial(std::uint32_t seed) : stream_(seed) {}

  void run(std::uint32_t appends) {
    for (std::uint32_t i = 0; i <= appends; ++i) recordPart(stream_.part());
  }

 private:
  CommandAnswer append(const std::vector<StreamMessage>& messages) const {
    writeTagStream(messages, directory_.file("in.mtg"));
    std::vector<std::string> arguments = {"record",   directory_.file("in.mtg"), "--out", directory_.file("cam1"),
                                          "--append", "--durability=process",    "--json"};
    for (const auto& [key, value] : stream_.settings) arguments.push_back("--set=" + key + '=' + value);
    return k2r(arguments);
  }

  void recordPart(const std::vector<StreamMessage>& messages) {
    if (messages.empty()) return;
    const CommandAnswer answer = append(messages);
    expectWhole(directory_.file("cam1"));
    const Payloads all = storedIn(directory_.file("cam1"));
    ASSERT_LE(stored_, all.size()) << "what was there stays";
    const Payloads added(all.begin() + static_cast<std::ptrdiff_t>(stored_), all.end());
    stored_ = all.size();
    expectKept(payloadsOf(messages), added, answer);
  }

  void expectKept(const Payloads& received, const Payloads& added, const CommandAnswer& answer) {
    const auto document = host::Json::parse(answer.output);
    EXPECT_EQ(document["received"]["messages"], received.size());
    EXPECT_EQ(document["stored"]["messages"], added.size());
    EXPECT_EQ(document["lost"]["messages"], received.size() - added.size());
    // 3 says that the module refused something, or that a fragment could not be written at first.
    const bool refuses = document["refused"]["messages"] != 0;
    const bool isTold = refuses || document["errors"] != 0;
    const int expected = added.size() == received.size() ? 0 : 6;
    EXPECT_TRUE(answer.status == expected || (answer.status == 3 && isTold)) << answer.status << answer.errors;
    const auto firstKey = std::ranges::find_if(received, isKeyFrame);
    if (std::ranges::none_of(added, isVideo)) {
      // Sound alone, or pictures that came too late for a recording that had been bound to its sound.
      Payloads sound;
      std::ranges::remove_copy_if(received, std::back_inserter(sound), isVideo);
      EXPECT_TRUE(added == sound || (added.empty() && stream_.hasVideo()) || refuses) << answer.errors;
      return;
    }
    const bool isSuffix = std::ranges::equal(added, std::span(received).last(std::min(added.size(), received.size())));
    const auto fromKey = static_cast<std::size_t>(received.end() - firstKey);
    const bool isWhole = isSuffix && added.size() >= fromKey;
    // A track whose first message comes after the first fragment is refused by the module.
    EXPECT_TRUE(isWhole || stream_.hasTies() || refuses) << added.size() << " of " << received.size() << answer.errors;
    EXPECT_TRUE(isSubsequence(added, received));
  }

  TempDirectory directory_;
  RandomStream stream_;
  std::size_t stored_ = 0;
};

TEST(LosslessRecord, KeepsWhatRandomStreamsAndAppendsBring) {
  const std::uint32_t first = numberFrom("K2R_RANDOM_SEED", 1);
  const std::uint32_t count = numberFrom("K2R_RANDOM_STREAMS", 40);
  for (std::uint32_t seed = first; seed < first + count && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Trial(seed).run(seed % 3);
  }
}

}  // namespace
