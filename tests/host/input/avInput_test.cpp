#include "host/input/AvInput.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <thread>

#include "host/errors.h"
#include "tests/endtoend/mediaTools.h"
#include "tests/host/hostTools.h"
#include "tests/support/tagFile.h"

namespace host {
namespace {

using test::isSequenceHeader;
using test::StreamMessage;

constexpr const char* kPicture = "-f lavfi -i testsrc2=size=160x120:rate=30000/1001:duration=2 ";
constexpr const char* kSound = "-f lavfi -i sine=frequency=440:sample_rate=44100:duration=2 ";
constexpr const char* kAvc = "-c:v libx264 -preset veryfast -bf 2 -g 20 -sc_threshold 0 -pix_fmt yuv420p ";
constexpr const char* kAac = "-c:a aac -b:a 64k -ac 2 ";

class AvInputTest : public test::InDirectory {
 protected:
  /// One source for all tests, with B-frames and sound.
  static std::string source() {
    static const test::TempDirectory shared;
    const std::string file = shared.file("source.mp4");
    if (!std::filesystem::exists(file)) test::makeClip(std::string(kPicture) + kSound + kAvc + kAac, file);
    return file;
  }
  std::string clip(const std::string& arguments, const std::string& name) {
    test::makeClip(arguments, directory_.file(name));
    return directory_.file(name);
  }
  std::string remuxed(const std::string& name, const std::string& options = "") {
    return clip("-i " + source() + " -c copy " + options, name);
  }
  /// The messages after the metadata, which are always first.
  std::vector<StreamMessage> record(const std::string& file, const std::vector<std::string>& maps = {},
                                    std::uint32_t startMs = 0) {
    InputOptions options;
    options.maps = maps;
    AvInput input(file, options, capture_.log(), stop_);
    input.continueAt(startMs);
    const auto messages = test::readAll(input);
    if (messages.empty()) return messages;
    EXPECT_EQ(messages[0].type, 18);
    EXPECT_EQ(messages[0].time, startMs);
    return {messages.begin() + 1, messages.end()};
  }
  void expectFailure(const std::string& file, const testing::Matcher<std::string>& message) {
    EXPECT_THAT([&] { record(file); }, testing::ThrowsMessage<CommandError>(message)) << file;
  }
  test::LogCapture capture_;
  StopSignal stop_;
};

TEST_F(AvInputTest, SpreadsTheSoundThatHasOneTime) {
  // The first packet of a transport stream has several frames, whose length is unknown if the input cannot be sought
  // in.
  const auto file = clip(std::string(kSound) + kAac, "sound.ts"), pipe = directory_.file("pipe");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const std::jthread writer([&] { test::writeWholeFile(pipe, test::readWholeFile(file)); });
  const auto sound = record(pipe);
  for (std::size_t i = 2; i < sound.size(); ++i) ASSERT_GT(sound[i].time, sound[i - 1].time + 15) << i;
}

TEST_F(AvInputTest, LetsTheTimesOfPicturesRise) {
  // 2000 pictures a second: two share a millisecond, and one of these is the key frame at the end of the first
  // fragment.
  const auto pictures = record(clip("-f lavfi -i testsrc=s=16x16:r=2000 -t 4.01 -c:v flv1 -g 8000 -bf 0", "fast.avi"));
  ASSERT_EQ(pictures.size(), 8020U);
  for (std::size_t i = 1; i < pictures.size(); ++i) ASSERT_GT(pictures[i].time, pictures[i - 1].time) << i;
}

/// Size, decode time and "K" for a key frame of each picture as ffprobe reads them, with parsers. Times are
/// milliseconds after the first one, and rise; without a decode time it is that of the presentation.
std::string picturesOf(const std::string& file) {
  const std::string show = "ffprobe -v quiet -select_streams v -show_entries packet=pts_time,dts_time,size,flags ";
  std::istringstream in(test::mustRun(show + "-of csv=p=0 'file:" + file + "'"));
  std::string text, pts, dts, size, flags;
  std::optional<long> first, last;
  const auto field = [&in](std::string& into) -> bool { return !!std::getline(in, into, ','); };
  while (field(pts) && field(dts) && field(size) && std::getline(in, flags)) {
    const long ms = std::lround(std::stod(dts == "N/A" ? pts : dts) * 1000);
    first = first.value_or(ms);
    last = std::max(ms - *first, last.value_or(-1) + 1);
    text += fmt::format("{} {}{} ", size, *last, flags[0] == 'K' ? "K" : "");
  }
  return text;
}

TEST_F(AvInputTest, MarksKeyFramesAsAParserDoesWhateverTheFileSaysFromAnyTimeOn) {
  // 25 pictures a second, whose times are whole milliseconds.
  const std::string video = std::string("-f lavfi -i testsrc2=size=160x120:rate=25:duration=2 ") + kSound + kAac + kAvc;
  const std::string open = clip(video + "-x264-params open-gop=1:slices=3", "open.mp4");
  const std::string copied = "-i " + open + " -c copy ", joined = directory_.file("joined"), wrong = "wrong.mp4";
  clip(video + "-x264-params repeat-headers=1 -bf 0", "a.ts");
  clip(video + "-x264-params repeat-headers=1:b-pyramid=normal -bf 3", "b.ts");
  test::writeWholeFile(joined, "file a.ts\nfile b.ts\n");
  // Without its table of sync samples a file says that all samples are.
  std::string image = test::readWholeFile(open);
  test::writeWholeFile(directory_.file(wrong), image.replace(image.find("stss"), 4, "free"));
  const std::string rows[] = {open, clip(video + "-x264-params intra-refresh=1", "refreshed.mp4"), wrong,
                              clip(copied + "-movflags frag_every_frame+empty_moov", "fragments.mp4"),
                              clip("-ss 0.9 " + copied, "edited.mov"), clip(copied, "open.flv"),
                              // Without parsers the decode times of this one would be wrong.
                              clip("-f concat -i " + joined + " -c copy", "changes.mkv")};
  for (const std::string& file : rows) {
    std::string pictures;
    std::optional<std::uint32_t> first;
    for (const auto& message : record(file, {}, 0xFFFFFFF0)) {
      if (message.type != 9 || isSequenceHeader(message)) continue;
      first = first.value_or(message.time);
      const bool isKey = message.data[0] == std::byte{0x17};
      pictures += fmt::format("{} {}{} ", message.data.size() - 5, message.time - *first, isKey ? "K" : "");
    }
    EXPECT_EQ(pictures, picturesOf(file)) << file;
  }
  EXPECT_EQ(capture_.text(), "");
}

TEST_F(AvInputTest, LeavesCoverPicturesOut) {
  clip(std::string(kPicture) + "-frames:v 1", "cover.png");
  const auto file = clip(std::string(kSound) + "-i " + directory_.file("cover.png") +
                             " -map 0 -map 1 -c:a libmp3lame -c:v copy -disposition:v attached_pic",
                         "sound.mp3");
  for (const auto& message : record(file)) EXPECT_EQ(message.type, 8);
}

TEST_F(AvInputTest, ATrackThatCannotBeRecordedCostsThatTrack) {
  const std::string sound = std::string(kSound) + "-i " + source() + " -map 1:v -map 0:a -c:v copy -c:a ";
  // What is left, 0 where nothing is, and what is said.
  const std::tuple<std::string, const char*, int, const char*> rows[] = {
      {sound + "pcm_s16le", "a.mkv", 9, "cannot record codec 'pcm_s16le' (stream 1, audio)"},
      {sound + "libopus", "b.mp4", 9, "codec 'opus'"},
      {std::string(kPicture) + kSound + "-c:v mpeg4 -c:a aac", "a.mp4", 8, "'mpeg4' (stream 0, video)"},
      {kSound, "a.wav", 0, "cannot record codec 'pcm_s16le' (stream 0, audio)"},
      {std::string(kSound) + "-c:a libspeex -ar 32000", "a.ogg", 0, "cannot record codec 'speex'"}};
  for (const auto& [arguments, name, left, said] : rows) {
    const auto file = clip(arguments, name);
    if (left == 0) {
      expectFailure(file, testing::HasSubstr(said));
      continue;
    }
    const auto messages = record(file);
    EXPECT_GT(messages.size(), 50u) << said;
    EXPECT_EQ(std::ranges::count(messages, left, &StreamMessage::type), std::ssize(messages)) << said;
    EXPECT_THAT(capture_.text(), testing::HasSubstr(said));
  }
}

TEST_F(AvInputTest, MapsChooseStreams) {
  const auto file =
      clip("-i " + source() + " -f lavfi -i sine=sample_rate=22050:duration=1 -map 0:v -map 0:a -map 1:a -c:v copy " +
               "-c:a:0 copy -c:a:1 aac",
           "two.mp4");
  const std::pair<std::vector<std::string>, const char*> rows[] = {{std::vector<std::string>(), "9 8 af001210"},
                                                                   {{"v"}, "9 "},
                                                                   {{"0:a"}, "8 af001210"},
                                                                   {{"a:1"}, "8 af001388"},
                                                                   {{"0:2", "0:v:0"}, "9 8 af001388"}};
  for (const auto& [maps, expected] : rows) {
    std::string headers;
    for (const auto& message : record(file, maps)) {
      if (!isSequenceHeader(message)) continue;
      headers += message.type == 8 ? "8 " + test::hex(message.data).substr(0, 8) : "9 ";
    }
    EXPECT_EQ(headers, expected) << testing::PrintToString(maps);
  }
  const std::vector<std::string> bad[] = {{"a:2"},    {"s"},          {"9"},        {"1:v"},
                                          {"v", "0"}, {"a:0", "a:1"}, {"nonsense"}, {""}};
  for (const auto& maps : bad) EXPECT_THROW(record(file, maps), UsageError) << testing::PrintToString(maps);
}

TEST_F(AvInputTest, StartsAtTheFirstParameterSets) {
  // Joined in the middle of a group of pictures: the first packets cannot be decoded.
  const std::string cut = directory_.file("cut.ts");
  test::mustRun("tail -c +" + std::to_string(1 + 188 * 60) + " " + remuxed("whole.ts") + " > " + cut);
  const auto messages = record(cut);
  ASSERT_GT(messages.size(), 100u);
  EXPECT_TRUE(isSequenceHeader(messages[0]));
  EXPECT_EQ(messages[0].time, 0u);
}

TEST_F(AvInputTest, FailsOnWhatIsNoMedia) {
  test::writeWholeFile(directory_.file("noise.bin"), std::string(10000, 'x'));
  test::writeWholeFile(directory_.file("empty.mp4"), "");
  for (const char* const name : {"noise.bin", "empty.mp4", "missing.mp4", "."}) {
    const std::string path = directory_.file(name);
    expectFailure(path, testing::StartsWith("cannot open '" + path + "': "));
  }
  expectFailure("nonsense://host/x", testing::HasSubstr("Protocol not found"));
}

TEST_F(AvInputTest, RecordsWhatIsThereOfACutFile) {
  const auto whole = remuxed("whole.mp4", "-movflags faststart");
  const auto cut = directory_.file("cut.mp4");
  test::writeWholeFile(cut, test::readWholeFile(whole).substr(0, 30000));
  const auto messages = record(cut);
  EXPECT_GT(messages.size(), 50u);
  EXPECT_LT(messages.size(), record(whole).size());
  EXPECT_THAT(capture_.text(), testing::AllOf(testing::StartsWith("warning: "), testing::HasSubstr("partial file")));
}

TEST_F(AvInputTest, GivesWhatWaitsBeforeItFailsOnACodec) {
  // Sound with ADTS headers. Its rate changes after a broken configuration, and pictures wait for it meanwhile.
  std::vector<StreamMessage> tags;
  for (const auto& picture : record(clip(std::string(kPicture) + "-c:v flv1", "pictures.avi"))) {
    tags.push_back(picture);
    if (picture.time < 1000) tags.push_back({8, picture.time, test::fromHex("af 01 fff15040017ffc01182007")});
  }
  tags.push_back({8, 2000, test::fromHex("af 00 1278")});
  tags.push_back({8, 2000, test::fromHex("af 01 fff15c40017ffc01182007")});
  const std::string file = directory_.file("changes.flv");
  test::writeWholeFile(file, "FLV" + test::textOf(test::tagFile(tags)).substr(3));
  InputOptions options;
  options.avOptions = {"probesize=20000"};
  AvInput input(file, options, capture_.log(), stop_);
  int pictures = 0;
  const auto readAll = [&] {
    while (const auto message = input.next()) pictures += message->type == 9 ? 1 : 0;
  };
  EXPECT_THAT(readAll, testing::ThrowsMessage<InputError>(testing::HasSubstr("cannot read the audio of stream")));
  EXPECT_EQ(pictures, 60) << capture_.text();
}

TEST_F(AvInputTest, AReaderThatWasLateIsNoStall) {
  InputOptions options;
  options.stallTimeout = std::chrono::seconds(1);
  AvInput input(clip("-f lavfi -i testsrc2=duration=2:size=640x360 -c:v libx264 -preset ultrafast", "large.ts"),
                options, capture_.log(), stop_);
  ASSERT_TRUE(input.next());
  // As a disk that does not take a fragment for so long.
  const auto late = std::chrono::steady_clock::now() + std::chrono::milliseconds(1100);
  EXPECT_TRUE(stop_.waitUntil(late));
  EXPECT_GT(test::readAll(input).size(), 45u);
}

TEST_F(AvInputTest, TakesFilesWhoseNamesLookLikeUrlsAndEndsAtAStop) {
  std::filesystem::copy_file(source(), "cam:1 100%.mp4");
  EXPECT_GT(record("cam:1 100%.mp4").size(), 100u);
  AvInput input(source(), {}, capture_.log(), stop_);
  ASSERT_TRUE(input.next());
  stop_.request();
  const std::size_t more = test::readAll(input).size();
  EXPECT_GT(more, 0u);
  EXPECT_LT(more, 20u);
}

}  // namespace
}  // namespace host
