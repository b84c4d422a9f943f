// Independent players on the plain view of a recording.

#include "tests/endtoend/mediaTools.h"
#include "tests/support/TempDirectory.h"

namespace {

using namespace test;

class PlainViewPlayers : public testing::Test {
 protected:
  void SetUp() override {
    makeClip(both(), clip_);
    mustRun(std::string(K2R_PROGRAM) + " record --quiet '" + clip_ + "' --out '" + directory_.file("cam1") +
            "' --set Recording/FragmentDuration=2000 --set Recording/SegmentDuration=7000");
    mustRun(std::string(K2R_PROGRAM) + " playlist '" + directory_.file("cam1") + "' --plain '" + view_ + "'");
  }

  TempDirectory directory_;
  std::string clip_ = directory_.file("clip.mp4");
  std::string view_ = directory_.file("view");
};

TEST_F(PlainViewPlayers, FfmpegDecodesEveryFrameFromThePlaylistAndFromAPipe) {
  const std::string piped = directory_.file("piped.mp4");
  mustRun("cd '" + view_ + "' && cat init-*.mp4 $(ls *.m4s | sort -n) > '" + piped + "'");
  for (const std::string& input : {view_ + "/index.m3u8", piped}) {
    SCOPED_TRACE(input);
    EXPECT_EQ(mustRun("ffmpeg -v warning -i '" + input + "' -f null -"), "");
    expectPrefix(frameHashes(input, "v"), frameHashes(clip_, "v"), 300);
    expectPrefix(frameHashes(input, "a", "copy"), frameHashes(clip_, "a", "copy"), 600, 1);
  }
  // Byte by byte, as no seek is possible: what is in front of a sample has to say where it is.
  EXPECT_EQ(mustRun("ffmpeg -v warning -i pipe:0 -f null - < '" + piped + "'"), "");
}

TEST_F(PlainViewPlayers, GStreamerShowsEveryPicture) {
  const std::string count = mustRun(
      "timeout 60 gst-launch-1.0 -v playbin uri='file://" + view_ +
      "/index.m3u8' video-sink='fakesink name=pictures sync=false silent=false' audio-sink='fakesink sync=false'"
      " | grep -c 'GstFakeSink:pictures: last-message = chain'");
  EXPECT_EQ(std::stoul(count), frameHashes(view_ + "/index.m3u8", "v").size());
}

}  // namespace
