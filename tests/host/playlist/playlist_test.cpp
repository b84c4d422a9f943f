// Playlists over the files of a recording.

#include "host/playlist/playlist.h"

#include <fmt/format.h>

#include "tests/host/hostTools.h"

namespace {

using namespace test;

host::RecordedTimeline timelineOf(const MadeRecording& recording) {
  return host::readRecordedTimeline(host::readRecordingDirectory(recording.directory()));
}

/// "segment:start+duration" of each fragment, "!" in front of one after a gap, and "end" where nothing will follow.
std::string fragmentsOf(const host::RecordedTimeline& timeline) {
  std::string text;
  for (const auto& fragment : timeline.fragments) {
    text += fmt::format("{}{}:{}+{} ", fragment.followsGap ? "!" : "", fragment.segment, fragment.startMs,
                        fragment.durationMs);
  }
  return text + (timeline.ended ? "end" : "...");
}

StreamBuilder video(std::uint32_t keyFrames = 2000) {
  return stream().keyFramesEvery(keyFrames);
}

TEST(Playlist, SaysHowLongEachFragmentLasts) {
  const std::map<std::string, std::string> rolling{{"Recording/SegmentDuration", "7000"}};
  const std::tuple<const char*, RecordingPlan, const char*> rows[] = {
      {"still running", {.messages = video().until(8001), .stop = false}, "1:0+4000 1:4000+4000 ..."},
      {"over a roll-over",
       {.messages = video().audio(23).until(16001), .settings = rolling},
       "1:0+4000 1:4000+4000 2:8000+4000 2:12000+4008 end"},
      {"key frames rarer than the grid", {.messages = video(10000).until(24001)}, "1:0+10000 1:10000+10000 end"},
      {"a gap in time",
       {.messages = video().until(4041) + video().withoutHeaders().from(24000).until(32001)},
       "1:0+4000 1:4000+80 !1:24000+4000 1:28000+4000 end"},
      {"a picture away while sound goes on",
       {.messages = video().audio(20).until(4041) + stream().withoutHeaders().audio(20).from(4060).until(12000) +
                    video().withoutHeaders().audio(20).from(12000).until(20001)},
       "1:0+4000 1:4000+8000 1:12000+4000 end"},
      {"a picture missing of a few",
       {.messages =
            video().framesEvery(1000).until(3001) + video().withoutHeaders().framesEvery(1000).from(4900).until(8901)},
       "1:0+4900 1:4900+4000 end"},
      {"a picture in each fragment",
       {.messages = video(4000).framesEvery(4000).until(16001)},
       "1:0+4000 1:4000+4000 1:8000+4000 1:12000+4000 end"}};
  for (const auto& [why, plan, fragments] : rows)
    EXPECT_EQ(fragmentsOf(timelineOf(MadeRecording(plan))), fragments) << why;
}

TEST(Playlist, IsWrittenAsThePlayersReadIt) {
  const MadeRecording recording({.messages = video().framesEvery(1000).until(8001)});
  const auto fragments = recording.boxesOf("Seg1.k2r").fragments;
  const auto directory = host::readRecordingDirectory(recording.directory());
  ASSERT_EQ(fragments.size(), 2U);
  const auto range = [&fragments](std::size_t i) {
    const std::uint64_t offset = fragments[i].moof.offset;
    return fmt::format("{}@{}", fragments[i].end() - offset, offset);
  };
  EXPECT_EQ(host::playlistText(timelineOf(recording), directory, "a b/"),
            fmt::format("#EXTM3U\n#EXT-X-VERSION:7\n#EXT-X-TARGETDURATION:4\n#EXT-X-MEDIA-SEQUENCE:0\n"
                        "#EXT-X-PLAYLIST-TYPE:VOD\n#EXT-X-INDEPENDENT-SEGMENTS\n"
                        "#EXT-X-MAP:URI=\"a%20b/cam1Seg1.k2r\",BYTERANGE=\"{}@0\"\n"
                        "#EXTINF:4.000,\n#EXT-X-BYTERANGE:{}\na%20b/cam1Seg1.k2r\n"
                        "#EXTINF:4.000,\n#EXT-X-BYTERANGE:{}\na%20b/cam1Seg1.k2r\n#EXT-X-ENDLIST\n",
                        fragments[0].position(), range(0), range(1)));
}

TEST(Playlist, LeavesOutWhatTheBootstrapDoesNotNameYet) {
  const MadeRecording recording({.messages = video().until(8001), .stop = false});
  const MadeRecording earlier({.messages = video().until(4001), .stop = false});
  recording.write(".bootstrap", earlier.read(".bootstrap"));
  EXPECT_EQ(fragmentsOf(timelineOf(recording)), "1:0+4000 ...");
}

TEST(Playlist, IsRefusedWhereFilesAreNotOfTheirForm) {
  const MadeRecording recording({.messages = video().until(8001)});
  for (const char* file : {".bootstrap", "Seg1.k2i", "Seg1.k2r"}) {
    recording.restore();
    recording.write(file, recording.read(file).substr(0, 50));
    EXPECT_THROW(timelineOf(recording), host::CommandError) << file;
  }
  const TempDirectory empty;
  EXPECT_THROW(host::readRecordedTimeline(host::readRecordingDirectory(empty.path().string())), host::CommandError);
}

}  // namespace
