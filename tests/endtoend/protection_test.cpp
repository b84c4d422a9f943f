// Protected recordings as a user makes them, and what independent tools make of them.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/endtoend/shell.h"
#include "tests/support/TempDirectory.h"

namespace {

using namespace test;

TEST(ProtectedMedia, ListsItsStreamsToOtherTools) {
  TempDirectory directory;
  const std::string clip = directory.file("clip.mp4");
  const std::string keys = directory.file("keys");
  const std::string recording = directory.file("cam1");
  for (const std::string& line :
       {"ffmpeg -v error -f lavfi -i testsrc2=size=320x180:rate=25:duration=9 -f lavfi -i sine=duration=9 -c:v libx264 "
        "-pix_fmt yuv420p -preset ultrafast -g 50 -c:a aac '" +
            clip + "'",
        std::string(K2R_PROGRAM) + " keys new '" + keys + "'",
        std::string(K2R_PROGRAM) + " record '" + clip + "' --out '" + recording + "' --quiet --config '" + keys +
            "/recording.conf'"}) {
    const CommandResult result = run(line);
    ASSERT_EQ(result.status, 0) << line << "\n" << result.output;
  }

  const CommandResult probed =
      run("ffprobe -v quiet -of json -show_entries stream=codec_name,codec_type,width,height '" + recording +
          "/cam1Seg1.k2r'");
  ASSERT_EQ(probed.status, 0);
  const auto streams = nlohmann::json::parse(probed.output).at("streams");
  ASSERT_EQ(streams.size(), 3U) << "with the hints";
  EXPECT_EQ(streams[0].at("codec_name"), "h264");
  EXPECT_EQ(streams[0].at("width"), 320);
  EXPECT_EQ(streams[0].at("height"), 180);
  EXPECT_EQ(streams[1].at("codec_name"), "aac");
  // Rate and channels are what ffprobe's decoder takes the cipher text for.
}

}  // namespace
