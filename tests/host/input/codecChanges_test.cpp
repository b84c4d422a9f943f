// What becomes of messages on their way into a recording: where codecs change, and where clocks do.

#include "host/input/CodecChanges.h"

#include "host/input/RetimedTags.h"
#include "tests/host/hostTools.h"

namespace host {
namespace {

/// An input of "type@time:data" each; data in hex.
std::unique_ptr<Input> inputOf(const std::string& text) {
  std::vector<test::StreamMessage> messages;
  std::istringstream in(text);
  for (std::string word; in >> word;) {
    const std::size_t at = word.find('@'), colon = word.find(':');
    messages.push_back({static_cast<std::uint8_t>(std::stoul(word)),
                        static_cast<std::uint32_t>(std::stoul(word.substr(at + 1))),
                        test::fromHex(word.substr(colon + 1))});
  }
  return std::make_unique<test::ListInput>(std::move(messages));
}

std::string textOf(const InputMessage& message) {
  std::string data = test::hex(message.data);
  std::erase(data, ' ');
  return std::to_string(message.type) + '@' + std::to_string(message.timeMs) + ':' + data + ' ';
}

/// What each recording gets, after the reason for it.
std::string recordings(const std::string& messages, const CodecHeaders& headers = {},
                       CodecChanges::SplitWish wish = nullptr) {
  CodecChanges changes(inputOf(messages), false);
  changes.expect(headers);
  changes.splitWhen(std::move(wish));
  std::string text;
  while (true) {
    while (const auto next = changes.next()) text += textOf(*next);
    if (!changes.change()) return text;
    text += '(' + *changes.change() + ") ";
    changes.beginRecording();
  }
}

// Sequence sets of number 0 that differ, one picture set of number 0; lengths of 4 and of 2 bytes.
const std::string kSets = "000000056742c01fda0000000368ce3c";
const std::string kFirst = "17000000000142c01effe100056742c01eda01000368ce3c", kKey = "1701000000000000026588";
const std::string kSecond = "17000000000142c01ffde100056742c01fda01000368ce3c";

TEST(CodecChanges, ParameterSetsStandInEveryKeyFrameFromTheChangeOn) {
  const std::tuple<const char*, std::string, std::string> rows[] = {
      {"in front", "170100000000026588", "1701000000" + kSets + "000000026588"},
      {"behind the delimiter", "17010000000002091000026588", "1701000000000000020910" + kSets + "000000026588"},
      {"not where they are", "170100000000056742c01fda000368ce3c00026588", "1701000000" + kSets + "000000026588"},
      {"a later one from between frames", "1701000000000368ce3d00026588",
       "1701000000000000056742c01fda0000000368ce3d0000000368ce3d000000026588"},
      {"what is no frame stays", "170100000000096588", "170100000000096588"},
      {"a frame without a body stays", "1701", "1701"}};
  for (const auto& [why, keyFrame, recorded] : rows) {
    const std::string expected = "9@80:" + recorded + " 9@120:2701000000000000024188 ";
    const std::string start = "9@0:" + kFirst + " 9@40:" + kKey + " 9@80:" + kSecond + " ";
    EXPECT_EQ(recordings(start + "9@80:" + keyFrame + " 9@120:270100000000024188 9@160:" + keyFrame),
              start + expected + "9@160:" + recorded + ' ')
        << why;
  }
}

TEST(CodecChanges, OtherChangesBeginARecordingWithAllThatItNeeds) {
  const std::string metadata = "02000a6f6e4d65746144617461", aac = "af001210", other = "af001188";
  const std::string begin = "18@0:" + metadata + " 9@0:" + kFirst + " 8@0:" + aac + ' ';
  const std::string gop = "9@2000:" + kKey + " 9@2040:27010000000000 ";
  const std::tuple<const char*, std::string, std::string> rows[] = {
      {"sound waits for a key frame, pictures do not",
       gop + "8@2050:" + other + " 8@2050:af01aa 9@2080:2701 9@2100:" + kKey + " 8@2110:af01bb ",
       "9@2080:2701 (the audio's configuration changes) 18@0:" + metadata + " 9@0:" + kFirst + " 8@0:" + other +
           " 8@0:af01aa 9@50:" + kKey + " 8@60:af01bb "},
      {"sound waits no longer than 20 s", gop + "8@2050:2faa 9@2080:2701 8@22051:2fbb 9@22060:2701 ",
       "9@2080:2701 (the audio's codec changes) 18@0:" + metadata + " 9@0:" + kFirst +
           " 8@0:2faa 8@20001:2fbb 9@20010:2701 "},
      {"sound of another codec, and back, at the end", gop + "8@2050:2faa 8@2060:af01bb ",
       "(the audio's codec changes) 18@0:" + metadata + " 8@0:2faa (the audio's codec changes) 18@0:" + metadata +
           " 8@0:" + aac + " 8@0:af01bb "},
      {"pictures of another codec", gop + "9@3000:12aa 8@3001:af01cc ",
       "(the video's codec changes) 18@0:" + metadata + " 8@0:" + aac + " 9@0:12aa 8@1:af01cc "},
      {"a header once more, a command frame, a codec that nobody knows",
       gop + "8@2050:" + aac + " 9@2060:5700 9@2060:1faa 8@2060:ffaa ", ""}};
  for (const auto& [why, messages, next] : rows) {
    const std::string kept = next.empty() ? messages : gop;
    EXPECT_EQ(recordings(begin + messages), begin + kept + next) << why;
  }
}

TEST(CodecChanges, AWishIsMetAtTheFrameWithWhichTheNextRecordingBegins) {
  const std::string metadata = "18@0:02000a6f6e4d65746144617461 ", headers = "9@0:" + kFirst + " 8@0:af001210 ";
  const std::string begin = metadata + headers + "9@0:" + kKey + " 8@10:af01aa ";
  const std::tuple<const char*, std::string, std::string, std::string> rows[] = {
      {"a key frame", begin + "9@1000:2701 8@1010:af01bb ", "9@1500:" + kKey + " 8@1490:af01cc 9@1540:2701 ",
       metadata + headers + "9@0:" + kKey + " 8@0:af01cc 9@40:2701 "},
      {"sound alone", "8@0:2faa 8@999:2fbb ", "8@1000:2fcc 8@1020:2fdd ", "8@0:2fcc 8@20:2fdd "},
      {"data alone", metadata + "18@5:0200 ", "18@1005:0201 18@1025:0202 ", metadata + "18@0:0201 18@20:0202 "},
      {"never at the first frame, whatever its time", "8@5000:2faa 8@5010:2fbb ", "", ""}};
  for (const auto& [why, first, second, recorded] : rows) {
    const auto wish = [](const CodecChanges::SplitPoint& point) {
      return point.recordedMs >= 1000 ? std::optional<std::string>("asked") : std::nullopt;
    };
    EXPECT_EQ(recordings(first + second, {}, wish), first + (second.empty() ? "" : "(asked) " + recorded)) << why;
  }
}

TEST(CodecChanges, APictureOfAnotherSizeIsSaid) {
  const auto wish = [](const CodecChanges::SplitPoint& point) {
    return point.isNewPicture ? std::optional<std::string>("picture") : std::nullopt;
  };
  const std::string first = "9@0:" + kFirst + " 9@0:" + kKey + ' ';
  const std::string inBand = "1701000000" + kSets + "000000026588";
  const std::tuple<const char*, std::string, std::string> rows[] = {
      {"by a header", "9@40:" + kSecond + " 9@80:" + kKey + ' ',
       "9@40:" + kSecond + " (picture) 9@0:" + kSecond + " 9@0:" + kKey + ' '},
      {"in the frame", "9@80:" + inBand + ' ',
       "(picture) 9@0:17000000000142c01fffe100056742c01fda01000368ce3c 9@0:" + inBand + ' '},
      {"not by a picture set", "9@80:17010000000000000468ce3d11000000026588 ",
       "9@80:1701000000000000056742c01eda0000000468ce3d110000000468ce3d11000000026588 "}};
  for (const auto& [why, messages, recorded] : rows) {
    EXPECT_EQ(recordings(first + messages, {}, wish), first + recorded) << why;
  }
  // The stream's only header ends before its composition time.
  EXPECT_EQ(
      recordings("9@0:1700 9@0:" + inBand + " 9@40:" + inBand, {}, wish),
      "9@0:1700 9@0:" + inBand + " (picture) 9@0:17000000000142c01fffe100056742c01fda01000368ce3c 9@0:" + inBand + ' ');
}

TEST(CodecChanges, AnAppendGoesByWhatTheRecordingHas) {
  const CodecHeaders headers{.video = test::fromHex(kFirst), .audio = test::fromHex("2f")};
  const std::string second = "9@0:" + kSecond + ' ';
  EXPECT_EQ(recordings(second + "9@0:170100000000026588 8@0:2faa", headers),
            second + "9@0:1701000000" + kSets + "000000026588 8@0:2faa ");
  EXPECT_EQ(recordings("8@0:af001210", headers), "(the audio's codec changes) 8@0:af001210 ");
}

TEST(CodecChanges, MessagesOfTwoCodecsInTurnDoNotMakeARecordingEach) {
  std::string messages;
  for (int i = 0; i < 1000; ++i) messages += i % 2 == 0 ? "8@0:2faa " : "8@0:bfaa ";
  EXPECT_LE(std::ranges::count(recordings(messages), '('), 10);
}

/// The times of messages, "v", "a" or "d" (one that is no frame) in front of each.
std::string times(const std::string& messages, bool keepTimes, std::optional<std::uint32_t> startMs) {
  std::string input;
  std::istringstream in(messages);
  for (std::string word; in >> word;) {
    const char* const data = word[0] == 'v' ? "12aa" : word[0] == 'a' ? "2faa" : "02";
    input += (word[0] == 'v' ? "9@" : word[0] == 'a' ? "8@" : "18@") + word.substr(1) + ':' + data + ' ';
  }
  test::LogCapture capture;
  InputOptions options;
  options.keepTimes = keepTimes;
  RetimedTags tags(inputOf(input), options, capture.log());
  if (startMs) tags.continueAt(*startMs);
  std::string text;
  while (const auto next = tags.next()) text += (text.empty() ? "" : " ") + std::to_string(next->timeMs);
  return text;
}

TEST(RetimedTags, ContinueOverNewClocksAndAfterARecording) {
  const std::tuple<const char*, bool, std::optional<std::uint32_t>, const char*, const char*> rows[] = {
      {"as they are", false, {}, "d0 v5000 a4990 v5040 v4900", "0 5000 4990 5040 4900"},
      {"begins again", false, {}, "v0 a0 v40 v8000 a8000 v0 d0 a5 v40", "0 0 40 8000 8000 8040 8040 8045 8080"},
      {"26 hours on", false, {}, "v0 v40 v94439775 d0", "0 40 80 80"},
      {"half an hour on", false, {}, "v0 v1800000", "0 1800000"},
      {"script data far off tell no time", false, {}, "v5000 d0 d4294967295 v5040", "5000 5000 5000 5040"},
      {"moved by one distance from the first frame", false, 8000, "d0 v5000 a4990 v5040", "8000 8000 8000 8040"},
      {"script data alone", false, 8000, "d70 d80", "8000 8010"},
      {"kept", true, 8000, "d0 v5000 a4990 v0", "0 5000 4990 0"}};
  for (const auto& [why, keepTimes, startMs, messages, expected] : rows)
    EXPECT_EQ(times(messages, keepTimes, startMs), expected) << why;
}

}  // namespace
}  // namespace host
