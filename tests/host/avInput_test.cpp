#include "host/input/AvInput.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "host/errors.h"
#include "tests/host/LogCapture.h"
#include "tests/host/clips.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "tests/support/hex.h"
#include "util/bytes.h"

namespace host {
namespace {

using test::KeptMessage;

constexpr const char* kPicture = "-f lavfi -i testsrc2=size=160x120:rate=30000/1001:duration=2 ";
constexpr const char* kSound = "-f lavfi -i sine=frequency=440:sample_rate=44100:duration=2 ";
constexpr const char* kAvc = "-c:v libx264 -preset veryfast -bf 2 -g 20 -pix_fmt yuv420p ";
constexpr const char* kAac = "-c:a aac -b:a 64k -ac 2 ";

std::int64_t presentationMs(const KeptMessage& message) {
  if (!message.isVideo()) return message.timeMs;
  qvs::util::ByteReader reader(message.data);
  reader.skip(2);
  return message.timeMs + std::int64_t{reader.i24()};
}

/// What the ffprobe tool says of a packet.
struct Probed {
  std::int64_t presentationMs;
  bool key;
};

std::vector<Probed> probe(const std::filesystem::path& file, char kind) {
  std::istringstream lines(test::run(std::string("ffprobe -v error -select_streams ") + kind +
                                     ":0 -show_entries packet=pts_time,flags -of csv=p=0 'file:" + file.string() +
                                     "'"));
  std::vector<Probed> packets;
  for (std::string line; std::getline(lines, line);) {
    if (line.empty()) continue;
    const double microseconds = std::round(std::stod(line) * 1e6);  // Exact, so that halves are.
    packets.push_back({std::llround(microseconds / 1000), line.find('K') != std::string::npos});
  }
  return packets;
}

class AvInputTest : public testing::Test {
 protected:
  /// One source for all tests, with B-frames and sound.
  static void SetUpTestSuite() {
    shared.emplace();
    test::makeClip(std::string(kPicture) + kSound + kAvc + kAac, source());
  }
  static void TearDownTestSuite() { shared.reset(); }
  static std::filesystem::path source() { return shared->path() / "source.mp4"; }

  std::filesystem::path clip(const std::string& arguments, const std::string& name) {
    test::makeClip(arguments, directory_.path() / name);
    return directory_.path() / name;
  }
  std::filesystem::path remuxed(const std::string& name, const std::string& options = "") {
    return clip("-i " + source().string() + " -c copy " + options, name);
  }
  /// The messages behind the metadata, which are always first.
  std::vector<KeptMessage> record(const std::filesystem::path& file, const std::vector<std::string>& maps = {},
                                  std::uint32_t startMs = 0) {
    AvInput input(file.string(), maps, capture_.log(), stop_);
    input.continueAt(startMs);
    auto messages = test::readAll(input);
    if (messages.empty()) return messages;
    EXPECT_EQ(messages[0].type, 18);
    EXPECT_EQ(messages[0].timeMs, startMs);
    messages.erase(messages.begin());
    return messages;
  }
  std::string failure(const std::filesystem::path& file, const std::vector<std::string>& maps = {}) {
    try {
      record(file, maps);
      return "(none)";
    } catch (const CommandError& error) {
      return error.what();
    }
  }
  void expectTimes(const std::filesystem::path& file, const std::vector<KeptMessage>& messages);

  static std::optional<test::TempDirectory> shared;
  test::TempDirectory directory_;
  test::LogCapture capture_;
  StopSignal stop_;
};

std::optional<test::TempDirectory> AvInputTest::shared;

/// Every packet is there, at its time but for one shift for both kinds, with its key flag; times begin at 0 and rise.
void AvInputTest::expectTimes(const std::filesystem::path& file, const std::vector<KeptMessage>& messages) {
  std::optional<std::int64_t> shift;
  for (const char kind : {'v', 'a'}) {
    std::vector<const KeptMessage*> frames;
    for (const auto& message : messages) {
      if (message.isVideo() == (kind == 'v') && !message.isSequenceHeader()) frames.push_back(&message);
    }
    const auto packets = probe(file, kind);
    ASSERT_EQ(frames.size(), packets.size()) << kind;
    for (std::size_t i = 0; i < frames.size(); ++i) {
      if (!shift) shift = presentationMs(*frames[i]) - packets[i].presentationMs;
      EXPECT_EQ(presentationMs(*frames[i]), packets[i].presentationMs + *shift) << kind << " frame " << i;
      EXPECT_TRUE(kind == 'a' || (frames[i]->data[0] == std::byte{0x17}) == packets[i].key) << "frame " << i;
    }
  }
  EXPECT_EQ(messages.front().timeMs, 0u);
  EXPECT_TRUE(std::is_sorted(messages.begin(), messages.end(),
                             [](const auto& a, const auto& b) { return a.timeMs < b.timeMs; }));
}

TEST_F(AvInputTest, CarriesEveryFrameOfAnyContainer) {
  const std::string pictures = test::decodedHashes(source(), "v");
  for (const char* const name : {"clip.mp4", "clip.ts", "clip.flv", "clip.mkv", "frag.mov"}) {
    SCOPED_TRACE(name);
    const auto file = remuxed(name, name == std::string("frag.mov") ? "-movflags frag_keyframe" : "");
    const auto messages = record(file);
    ASSERT_GT(messages.size(), 100u);
    EXPECT_TRUE(messages[0].isVideo() && messages[0].isSequenceHeader());
    EXPECT_TRUE(!messages[1].isVideo() && messages[1].isSequenceHeader());
    EXPECT_EQ(test::hex(messages[1].data).substr(0, 8), "af001210") << "AAC-LC, 44100 Hz, two channels";
    expectTimes(file, messages);
    test::writeTagStream(messages, directory_.path() / "out.flv");
    EXPECT_EQ(test::decodedHashes(directory_.path() / "out.flv", "v"), pictures);
    // Decoding an MP4 leaves out the sound ahead of its start, which a tag stream cannot mark.
    EXPECT_TRUE(test::decodedHashes(directory_.path() / "out.flv", "a").ends_with(test::decodedHashes(file, "a")));
  }
  EXPECT_EQ(capture_.text(), "");
}

TEST_F(AvInputTest, TakesElementaryStreams) {
  const auto video = remuxed("video.h264", "-an -bsf:v h264_mp4toannexb");
  const auto pictures = record(video);
  ASSERT_EQ(pictures.size(), 1u + 60u);
  EXPECT_EQ(test::hex(pictures[0].data).substr(0, 17), "17000000 00016400") << "high profile";
  test::writeTagStream(pictures, directory_.path() / "out.flv");
  EXPECT_EQ(test::decodedHashes(directory_.path() / "out.flv", "v"), test::decodedHashes(source(), "v"));

  const auto sounds = record(remuxed("sound.aac", "-vn"));
  ASSERT_GT(sounds.size(), 80u);
  EXPECT_EQ(test::hex(sounds[0].data).substr(0, 8), "af001210");
  EXPECT_EQ(test::hex(sounds[1].data).substr(0, 4), "af01");
  EXPECT_EQ(sounds[1].timeMs, 0u);
  EXPECT_EQ(sounds[2].timeMs, 23u);
}

TEST_F(AvInputTest, ContinuesAtAnyTime) {
  constexpr std::uint32_t kStart = 0xFFFFFFF0;
  const auto messages = record(source());
  const auto later = record(source(), {}, kStart);
  ASSERT_EQ(later.size(), messages.size());
  for (std::size_t i = 0; i < later.size(); ++i) {
    EXPECT_EQ(later[i].timeMs, messages[i].timeMs + kStart);
    EXPECT_EQ(later[i].data, messages[i].data);
  }
}

TEST_F(AvInputTest, GivesMp3ItsRateAndChannels) {
  const struct {
    int rate, channels;
    std::byte first;
  } rows[] = {{44100, 2, std::byte{0x2F}}, {48000, 1, std::byte{0x2E}}, {32000, 2, std::byte{0x2F}},
              {22050, 1, std::byte{0x2A}}, {16000, 2, std::byte{0x2B}}, {11025, 1, std::byte{0x26}}};
  for (const auto& row : rows) {
    const auto file = clip(std::string(kSound) + "-c:a libmp3lame -b:a 32k -ar " + std::to_string(row.rate) + " -ac " +
                               std::to_string(row.channels),
                           "sound.mp3");
    const auto messages = record(file);
    ASSERT_GT(messages.size(), 20u);
    EXPECT_EQ(messages.size(), probe(file, 'a').size());
    for (const auto& message : messages) {
      EXPECT_EQ(message.type, 8);
      EXPECT_EQ(message.data[0], row.first) << row.rate;
      EXPECT_EQ(message.data[1], std::byte{0xFF}) << "a frame begins with its sync word";
    }
  }
}

TEST_F(AvInputTest, CarriesSorensonVideo) {
  const auto file = clip(std::string(kPicture) + "-c:v flv1 -g 20", "clip.flv");
  const auto messages = record(file);
  EXPECT_EQ(messages.size(), 60u);
  EXPECT_EQ(messages[0].data[0], std::byte{0x12});
  EXPECT_EQ(messages[1].data[0], std::byte{0x22});
  EXPECT_EQ(messages[1].timeMs, 33u);
  test::writeTagStream(messages, directory_.path() / "out.flv");
  EXPECT_EQ(test::decodedHashes(directory_.path() / "out.flv", "v"), test::decodedHashes(file, "v"));
}

TEST_F(AvInputTest, LeavesCoverPicturesOut) {
  clip(std::string(kPicture) + "-frames:v 1", "cover.png");
  const auto file = clip(std::string(kSound) + "-i " + directory_.file("cover.png") +
                             " -map 0 -map 1 -c:a libmp3lame -c:v copy -disposition:v attached_pic",
                         "sound.mp3");
  for (const auto& message : record(file)) EXPECT_EQ(message.type, 8);
}

TEST_F(AvInputTest, RefusesCodecsByName) {
  const auto mpeg4 = clip(std::string(kPicture) + kSound + "-c:v mpeg4 -c:a aac", "a.mp4");
  EXPECT_THAT(failure(mpeg4), testing::StartsWith("cannot record codec 'mpeg4' (stream 0, video)"));
  EXPECT_EQ(record(mpeg4, {"a"}).front().type, 8) << "another stream may do";
  const auto pcm = clip(kSound, "a.wav");
  EXPECT_THAT(failure(pcm), testing::StartsWith("cannot record codec 'pcm_s16le' (stream 0, audio)"));
  const auto speex = clip(std::string(kSound) + "-c:a libspeex -ar 32000", "a.ogg");
  EXPECT_THAT(failure(speex), testing::StartsWith("cannot record codec 'speex'"));
}

TEST_F(AvInputTest, MapsChooseStreams) {
  const auto file = clip("-i " + source().string() +
                             " -f lavfi -i sine=sample_rate=22050:duration=1 -map 0:v -map 0:a -map 1:a -c:v copy " +
                             "-c:a:0 copy -c:a:1 aac",
                         "two.mp4");
  const struct {
    std::vector<std::string> maps;
    const char* types;  // of the sequence headers
    const char* audio;  // its configuration
  } rows[] = {{{}, "98", "af001210"},
              {{"v"}, "9", ""},
              {{"0:a"}, "8", "af001210"},
              {{"a:1"}, "8", "af001388"},
              {{"0:2", "0:v:0"}, "98", "af001388"},
              {{"1"}, "8", "af001210"}};
  for (const auto& row : rows) {
    std::string types;
    std::string audio;
    for (const auto& message : record(file, row.maps)) {
      if (!message.isSequenceHeader()) continue;
      types += std::to_string(message.type);
      if (!message.isVideo()) audio = test::hex(message.data).substr(0, 8);
    }
    EXPECT_EQ(types, row.types) << testing::PrintToString(row.maps);
    EXPECT_EQ(audio, row.audio) << testing::PrintToString(row.maps);
  }
  const std::vector<std::string> bad[] = {{"a:2"},    {"s"},          {"9"},        {"1:v"},
                                          {"v", "0"}, {"a:0", "a:1"}, {"nonsense"}, {""}};
  for (const auto& maps : bad) EXPECT_THROW(record(file, maps), UsageError) << testing::PrintToString(maps);
}

TEST_F(AvInputTest, WarnsOnceWhereParameterSetsChange) {
  const auto first = remuxed("first.ts", "-an");
  const auto second = clip(std::string("-f lavfi -i testsrc2=size=320x240:duration=2 ") + kAvc, "second.ts");
  const auto both = directory_.path() / "both.ts";
  test::run("cat " + first.string() + " " + second.string() + " > " + both.string());
  const auto messages = record(both);
  EXPECT_EQ(std::count_if(messages.begin(), messages.end(), [](const auto& m) { return m.isSequenceHeader(); }), 1);
  EXPECT_EQ(messages.size(), 1u + 60u + 50u);
  EXPECT_THAT(capture_.text(), testing::HasSubstr("parameter sets change on the way"));
}

TEST_F(AvInputTest, StartsAtTheFirstParameterSets) {
  // Joined in the middle of a group of pictures: the first packets cannot be decoded.
  const auto whole = remuxed("whole.ts");
  const auto cut = directory_.path() / "cut.ts";
  test::run("tail -c +" + std::to_string(1 + 188 * 60) + " " + whole.string() + " > " + cut.string());
  const auto messages = record(cut);
  ASSERT_GT(messages.size(), 100u);
  EXPECT_TRUE(messages[0].isSequenceHeader());
  EXPECT_EQ(messages[0].timeMs, 0u);
}

TEST_F(AvInputTest, FailsOnWhatIsNoMedia) {
  test::writeWholeFile(directory_.path() / "noise.bin", std::string(10000, 'x'));
  test::writeWholeFile(directory_.path() / "empty.mp4", "");
  for (const char* const name : {"noise.bin", "empty.mp4", "missing.mp4", "."}) {
    EXPECT_THAT(failure(directory_.path() / name), testing::StartsWith("cannot open '" + directory_.file(name) + "': "))
        << name;
  }
  EXPECT_THAT(failure("nonsense://host/x"), testing::HasSubstr("Protocol not found"));
}

TEST_F(AvInputTest, RecordsWhatIsThereOfACutFile) {
  const auto whole = remuxed("whole.mp4", "-movflags faststart");
  const auto cut = directory_.path() / "cut.mp4";
  test::run("head -c 30000 " + whole.string() + " > " + cut.string());
  const auto messages = record(cut);
  EXPECT_GT(messages.size(), 50u);
  EXPECT_LT(messages.size(), record(whole).size());
  EXPECT_THAT(capture_.text(), testing::AllOf(testing::StartsWith("warning: "), testing::HasSubstr("partial file")));
}

TEST_F(AvInputTest, TakesFilesWhoseNamesLookLikeUrls) {
  const auto file = directory_.path() / "cam:1 100%.mp4";
  std::filesystem::copy_file(source(), file);
  const auto old = std::filesystem::current_path();
  std::filesystem::current_path(directory_.path());
  EXPECT_GT(record("cam:1 100%.mp4").size(), 100u);
  std::filesystem::current_path(old);
}

TEST_F(AvInputTest, StopEndsTheInputAndKeepsWhatWasRead) {
  AvInput input(source().string(), {}, capture_.log(), stop_);
  ASSERT_TRUE(input.next());
  stop_.request();
  std::size_t more = 0;
  while (input.next()) ++more;
  EXPECT_GT(more, 0u);
  EXPECT_LT(more, 20u);
}

}  // namespace
}  // namespace host
