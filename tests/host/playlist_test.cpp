// Playlists over the files of a recording.

#include "host/playlist/playlist.h"

#include <gtest/gtest.h>

#include "host/errors.h"
#include "tests/host/RecordingMaker.h"

namespace {

using namespace test;

host::Playlist playlistOf(const MadeRecording& recording) {
  return host::makePlaylist(host::readRecordingDirectory(recording.directory()));
}

/// "segment:start+duration" of each entry, "!" in front of a discontinuity.
std::string entriesOf(const host::Playlist& playlist) {
  std::string text;
  for (const auto& entry : playlist.entries) {
    text += (text.empty() ? "" : " ") + std::string(entry.isDiscontinuity ? "!" : "") + std::to_string(entry.segment) +
            ":" + std::to_string(entry.startMs) + "+" + std::to_string(entry.durationMs);
  }
  return text;
}

TEST(Playlist, HasAnEntryForEachFragment) {
  const struct {
    const char* why;
    RecordingPlan plan;
    const char* entries;
    bool ended;
  } rows[] = {{"key frames on the grid",
               {.messages = stream().keyFramesEvery(2000).until(12001)},
               "1:0+4000 1:4000+4000 1:8000+4000",
               true},
              {"still running",
               {.messages = stream().keyFramesEvery(2000).until(8001), .stop = false},
               "1:0+4000 1:4000+4000",
               false},
              {"over a roll-over",
               {.messages = stream().keyFramesEvery(2000).audio(23).until(16001),
                .settings = {{"Recording/SegmentDuration", "7000"}}},
               "1:0+4000 1:4000+4000 2:8000+4000 2:12000+4000",
               true},
              {"running, right behind a roll-over",
               {.messages = stream().keyFramesEvery(2000).until(8001),
                .settings = {{"Recording/SegmentDuration", "7000"}},
                .stop = false},
               "1:0+4000 1:4000+4000",
               false},
              {"audio alone", {.messages = stream().audio(20).until(8001)}, "1:0+4000 1:4000+4000", true},
              {"key frames rarer than the grid",
               {.messages = stream().keyFramesEvery(10000).until(24001)},
               "1:0+10000 1:10000+10000",
               true},
              {"a gap in time",
               {.messages = stream().keyFramesEvery(2000).until(4041) +
                            stream().keyFramesEvery(2000).withoutHeaders().from(24000).until(32001)},
               "1:0+4000 1:4000+80 !1:24000+4000 1:28000+4000",
               true}};
  for (const auto& row : rows) {
    const MadeRecording recording(row.plan);
    const host::Playlist playlist = playlistOf(recording);
    EXPECT_EQ(entriesOf(playlist), row.entries) << row.why;
    EXPECT_EQ(playlist.ended, row.ended) << row.why;
  }
}

TEST(Playlist, IsWrittenAsThePlayersReadIt) {
  const MadeRecording recording({.messages = stream().keyFramesEvery(2000).framesEvery(1000).until(8001)});
  const auto fragments = recording.boxesOf("Seg1.k2r").fragments;
  const auto directory = host::readRecordingDirectory(recording.directory());
  const host::Playlist playlist = playlistOf(recording);
  const auto& entries = playlist.entries;
  ASSERT_EQ(entries.size(), 2U);
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(entries[i].offset, fragments[i].moof.offset);
    EXPECT_EQ(entries[i].offset + entries[i].size, fragments[i].end());
  }
  const auto range = [](const host::PlaylistEntry& entry) {
    return std::to_string(entry.size) + "@" + std::to_string(entry.offset);
  };
  EXPECT_EQ(host::playlistText(playlist, directory, "a b/"),
            "#EXTM3U\n#EXT-X-VERSION:7\n#EXT-X-TARGETDURATION:4\n#EXT-X-MEDIA-SEQUENCE:0\n#EXT-X-PLAYLIST-TYPE:VOD\n"
            "#EXT-X-INDEPENDENT-SEGMENTS\n#EXT-X-MAP:URI=\"a%20b/cam1Seg1.k2r\",BYTERANGE=\"" +
                std::to_string(fragments[0].position()) +
                "@0\"\n"
                "#EXTINF:4.000,\n#EXT-X-BYTERANGE:" +
                range(entries[0]) + "\na%20b/cam1Seg1.k2r\n#EXTINF:4.000,\n#EXT-X-BYTERANGE:" + range(entries[1]) +
                "\na%20b/cam1Seg1.k2r\n#EXT-X-ENDLIST\n");
}

TEST(Playlist, LeavesOutWhatTheBootstrapDoesNotNameYet) {
  const MadeRecording recording({.messages = stream().keyFramesEvery(2000).until(8001), .stop = false});
  const MadeRecording earlier({.messages = stream().keyFramesEvery(2000).until(4001), .stop = false});
  recording.write(".bootstrap", earlier.read(".bootstrap"));
  EXPECT_EQ(entriesOf(playlistOf(recording)), "1:0+4000");
}

TEST(Playlist, IsRefusedWhereFilesAreNotOfTheirForm) {
  const MadeRecording recording({.messages = stream().keyFramesEvery(2000).until(8001)});
  for (const char* file : {".bootstrap", "Seg1.k2i", "Seg1.k2r"}) {
    recording.restore();
    recording.write(file, recording.read(file).substr(0, 50));
    EXPECT_THROW(playlistOf(recording), host::CommandError) << file;
  }
  const TempDirectory empty;
  EXPECT_THROW(host::makePlaylist(host::readRecordingDirectory(empty.path().string())), host::CommandError);
}

}  // namespace
