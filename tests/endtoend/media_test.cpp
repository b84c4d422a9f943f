// From a media file, through the command line and the module, to what an independent player decodes.

#include "tests/endtoend/mediaTools.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"

namespace {

using namespace test;

/// A clip made by ffmpeg, recorded by k2r.
class Media : public testing::Test {
 protected:
  /// What `k2r` prints.
  std::string k2r(const std::string& command, const std::string& rest = "") const {
    return mustRun(std::string(K2R_PROGRAM) + " " + command + " '" + rest + "'");
  }
  void recordClip(const std::string& name, const std::string& arguments, const std::string& options = "") {
    clip_ = directory_.file(name);
    makeClip(arguments, clip_);
    std::filesystem::remove_all(recording());
    EXPECT_EQ(k2r("record --quiet " + options + " '" + clip_ + "' --out", recording()), "");
  }
  std::string recording() const { return directory_.file("cam1"); }
  std::string segment(int number = 1) const { return recording() + "/cam1Seg" + std::to_string(number) + ".k2r"; }
  bool holds(int number) const {
    return std::filesystem::exists(segment(number)) && readWholeFile(segment(number)).find("moof") != std::string::npos;
  }
  /// Of a file that can be decoded without a complaint; `codec` as for frameHashes().
  std::vector<FrameHash> framesOf(const std::string& file, const char* stream, const char* codec) const {
    EXPECT_EQ(mustRun("ffmpeg -v error -i '" + file + "' -f null -"), "");
    return frameHashes(file, stream, codec);
  }
  /// The segments, and the recording as one MP4, have all frames of the clip; returns by how much later those of the
  /// MP4 are.
  std::int64_t expectFrames(const char* stream, const char* codec) {
    const auto source = frameHashes(clip_, stream, codec);
    std::vector<FrameHash> recorded;
    // The end may have begun a segment in which nothing is.
    for (int number = 1; holds(number); ++number) {
      const auto frames = framesOf(segment(number), stream, codec);
      recorded.insert(recorded.end(), frames.begin(), frames.end());
    }
    const std::string file = directory_.file("exported.mp4");
    std::filesystem::remove(file);
    EXPECT_EQ(k2r("export '" + recording() + "' --out", file), "");
    const auto whole = framesOf(file, stream, codec);
    EXPECT_EQ(whole.size(), recorded.size());
    // A decoder of sounds counts their times by itself.
    expectPrefix(recorded, source, source.size(), std::string(stream) == "a" && *codec == '\0' ? 1 : 0);
    // The sounds of the file follow one another by their samples, and no longer by whole milliseconds.
    return expectPrefix(whole, source, source.size(), 1);
  }

  TempDirectory directory_;
  std::string clip_;
};

TEST_F(Media, KeepsEveryFrameInTheRightOrder) {
  const std::string video = std::string(kVideoSource) + "-pix_fmt yuv420p -c:v libx264 ";
  const std::string audio = kAudioSource;
  const std::tuple<const char*, const char*, std::string, const char*, const char*> rows[] = {
      {"a clip shorter than a fragment", "clip.mp4", video + "-t 3 -preset ultrafast -g 50", "v", ""},
      {"B-frames", "clip.mp4", video + "-preset ultrafast -bf 3 -b_strategy 0 -g 50", "v", ""},
      {"open GOPs", "clip.mkv", video + "-preset veryfast -bf 2 -g 50 -x264-params open-gop=1", "v", ""},
      {"a transport stream", "clip.ts", video + "-preset ultrafast -bf 2 -b_strategy 0 -g 25", "v", ""},
      {"an elementary stream without times", "clip.h264", video + "-preset ultrafast -bf 2 -b_strategy 0 -g 50", "v",
       ""},
      {"times of decoding alone", "clip.avi", video + "-preset ultrafast -bf 2 -b_strategy 0 -g 50", "v", ""},
      {"key frames rarer than fragments", "clip.mp4", video + "-preset ultrafast -g 150 -sc_threshold 0", "v", ""},
      {"a frame rate that is no whole number of ms", "clip.mkv",
       video + "-r 30000/1001 -preset ultrafast -bf 2 -b_strategy 0 -g 60", "v", ""},
      {"AAC", "clip.m4a", audio + "-c:a aac", "a", "copy"},
      {"AAC in stereo at 48000 Hz", "clip.mp4", audio + "-c:a aac -ac 2 -ar 48000", "a", "copy"},
      {"AAC that is decoded", "clip.ts", audio + "-c:a aac", "a", ""},
      {"MP3", "clip.mp3", audio + "-c:a libmp3lame -write_xing 0 -id3v2_version 0", "a", "copy"}};
  for (const auto& [why, name, arguments, stream, codec] : rows) {
    SCOPED_TRACE(why);
    recordClip(name, arguments);
    expectFrames(stream, codec);
  }
}

TEST_F(Media, KeepsSoundAndPictureTogether) {
  constexpr const char* kRolling = "--set Recording/FragmentDuration=2000 --set Recording/SegmentDuration=3000";
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"clip.mp4", "", ""},
      {"clip.mp4", "", kRolling},
      {"clip.mp4", "-bf 0", ""},  // Its sound begins ahead of its picture.
      {"clip.mov", "-movflags frag_keyframe", ""}};
  for (const auto& [name, coding, options] : rows) {
    SCOPED_TRACE(std::string(name) + options);
    recordClip(name, both() + coding, options);
    EXPECT_EQ(std::filesystem::exists(segment(4)), options == kRolling) << "over roll-overs";
    EXPECT_LE(std::abs(expectFrames("v", "") - expectFrames("a", "copy")), 1);
  }
}

/// Two clips, one after the other, in a file of this name: transport streams with the clock of each.
std::string joined(const TempDirectory& directory, const std::string& first, const std::string& second,
                   const std::string& name) {
  const std::string file = directory.file(name), list = directory.file("list"), copy = "ffmpeg -v error -y ";
  if (name.ends_with(".ts")) {
    const auto part = [&](const std::string& clip) {
      return copy + "-i " + directory.file(clip + ".mp4") + " -c copy -f mpegts -; ";
    };
    mustRun("( " + part(first) + part(second) + ") > " + file);
  } else {
    writeWholeFile(list, "file " + first + ".mp4\nfile " + second + ".mp4\n");
    mustRun(copy + "-f concat -i " + list + " -c copy " + file);
  }
  return file;
}

TEST_F(Media, PlaysOnWhereTheConfigurationChanges) {
  const std::string coding = std::string(kVideoCoding) + "-c:a aac -t 4 ";
  makeClip(both(coding), directory_.file("a.mp4"));
  const std::string other = std::string("-f lavfi -i testsrc=size=160x120:rate=25 ") + kAudioSource + coding;
  makeClip(other + "-profile:v main", directory_.file("b.mp4"));
  makeClip(other + "-profile:v main -ar 48000 -ac 2", directory_.file("c.mp4"));
  const std::tuple<const char*, const char*, bool> rows[] = {
      {"b", "ab.mp4", false}, {"b", "ab.mkv", false}, {"b", "ab.ts", false}, {"c", "ac.ts", true}};
  for (const auto& [added, name, goesOnElsewhere] : rows) {
    SCOPED_TRACE(name);
    const auto first = frameHashes(directory_.file("a.mp4"), "v");
    const auto second = frameHashes(directory_.file(std::string(added) + ".mp4"), "v");
    std::filesystem::remove_all(recording());
    std::filesystem::remove_all(recording() + "-2");
    k2r("record --quiet --set Recording/FragmentDuration=1000 '" + joined(directory_, "a", added, name) + "' --out",
        recording());
    auto frames = framesOf(segment(), "v", "");
    const std::string exported = directory_.file("exported.mp4");
    std::filesystem::remove(exported);
    k2r("export '" + recording() + "' --out", exported);
    EXPECT_EQ(framesOf(exported, "v", "").size(), frames.size());
    EXPECT_EQ(std::filesystem::exists(recording() + "-2"), goesOnElsewhere);
    if (goesOnElsewhere) {
      // The pictures from the splice to the next key frame are in the first one; its sound is in the next.
      const auto lastMs = frames.back().timeMs;
      const auto next = framesOf(recording() + "-2/cam1-2Seg1.k2r", "v", "");
      for (const auto& frame : next) frames.push_back({lastMs + 40 + frame.timeMs - next[0].timeMs, frame.hash});
      std::erase_if(frames,
                    [&](const auto& frame) { return std::ranges::count(first, frame.hash, &FrameHash::hash) > 0; });
    } else {
      ASSERT_GT(frames.size(), first.size());
      EXPECT_EQ(frames[first.size() - 1].hash, first.back().hash);
      frames.erase(frames.begin(), frames.begin() + static_cast<std::ptrdiff_t>(first.size()));
    }
    expectPrefix(frames, second, 50, 1);
  }
}

TEST_F(Media, IndependentPlayersShowAllOfThePlainView) {
  recordClip("clip.mp4", both(), "--set Recording/FragmentDuration=2000 --set Recording/SegmentDuration=7000");
  const std::string view = directory_.file("view"), list = view + "/index.m3u8", piped = directory_.file("piped.mp4");
  k2r("playlist '" + recording() + "' --plain", view);
  mustRun("cd '" + view + "' && cat init-*.mp4 $(ls *.m4s | sort -n) > '" + piped + "'");
  for (const std::string& input : {list, piped}) {
    SCOPED_TRACE(input);
    EXPECT_EQ(mustRun("ffmpeg -v warning -i '" + input + "' -f null -"), "");
    expectPrefix(frameHashes(input, "v"), frameHashes(clip_, "v"), 300);
    expectPrefix(frameHashes(input, "a", "copy"), frameHashes(clip_, "a", "copy"), 600, 1);
  }
  // Byte by byte, as no seek is possible: what is in front of a sample has to say where it is.
  EXPECT_EQ(mustRun("ffmpeg -v warning -i pipe:0 -f null - < '" + piped + "'"), "");
  const std::string shownByGStreamer =
      mustRun("timeout 60 gst-launch-1.0 -v playbin uri='file://" + list +
              "' video-sink='fakesink name=pictures sync=false silent=false' audio-sink='fakesink sync=false'"
              " | grep -c 'GstFakeSink:pictures: last-message = chain'");
  EXPECT_EQ(std::stoul(shownByGStreamer), frameHashes(list, "v").size());
}

TEST(Programs, AForeignHostRecordsWithTheHeadersAlone) {
  const TempDirectory directory;
  const std::string out = directory.file("cam1");
  EXPECT_EQ(mustRun(std::string(K2R_MINIMAL_HOST) + " " + K2R_MODULE + " '" + out + "'"),
            "430 of 430 frames recorded into " + out + "\n");
  const std::string sound =
      "stream=codec_name,sample_rate,channels,nb_read_packets -of csv=p=0 " + out + "/cam1Seg1.k2r";
  EXPECT_TRUE(mustRun("ffprobe -v error -count_packets -show_entries " + sound).starts_with("aac,44100,2,430\n"));
}

TEST(Programs, TheModuleExportsItsEntryAndTheInterfaceClassesOnly) {
  const std::string list = std::string("nm -D --defined-only -C ") + K2R_MODULE + " | cut -d' ' -f3-";
  const std::string symbols = mustRun(list);
  EXPECT_EQ(mustRun(list + " | sed -E '/^((vtable|typeinfo|typeinfo name) for )?"
                           "(IMO[A-Za-z]+|I[A-Za-z]*Holder|IQvsServerContext|QvsVariant)(::|$)/d'"),
            "");
  EXPECT_NE(symbols.find("IMOCreateAdaptor\n"), std::string::npos);
  EXPECT_NE(symbols.find("QvsVariant::setBuffer"), std::string::npos);
}

}  // namespace
