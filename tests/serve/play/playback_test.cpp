// Playlists over the recordings of a stream, and the fragments and headers that they name.

#include <fmt/format.h>

#include <thread>

#include "tests/host/PlainPlayer.h"
#include "tests/serve/play/PlayTest.h"

namespace host::serve {
namespace {

using namespace test;

/// Another configuration than that of a StreamBuilder: without sound.
StreamBuilder silent() {
  return stream().keyFramesEvery(2000);
}

class PlaybackTest : public PlayTest {
 protected:
  /// Two recordings of one stream, the second from the frame on that ends the first.
  void recordTwo() {
    record(kBeginMs, av().audio(23).until(8000));
    record(kBeginMs + 8000, av().audio(23).from(8000).until(16000));
  }
  std::map<std::uint32_t, Played> play(const std::string& playlist) {
    std::vector<std::vector<std::byte>> fragments;
    for (const std::string& address : addressesIn(playlist)) {
      const std::string bytes = content(address);
      const auto span = std::as_bytes(std::span(bytes));
      fragments.emplace_back(span.begin(), span.end());
    }
    return playFragments(fragments);
  }
};

TEST_F(PlaybackTest, PlaysOverASeamWithoutABreak) {
  recordTwo();
  EXPECT_EQ(occurrences(timed(kBeginMs, kBeginMs + 16000), "#EXT-X-PROGRAM-DATE-TIME"), 1U);
  for (const std::string& list : {timed(kBeginMs, kBeginMs + 16000), live()}) {
    EXPECT_EQ(addressesIn(list).size(), 8U);
    EXPECT_EQ(list.find("#EXT-X-DISCONTINUITY\n"), std::string::npos);
    EXPECT_EQ(occurrences(list, "#EXT-X-MAP"), 1U);
    auto tracks = play(list);
    ASSERT_EQ(tracks.size(), 2U);
    for (const auto& [id, track] : tracks) {
      EXPECT_EQ(track.breaks, 0) << id;
      EXPECT_EQ(track.samples.size(), id == 1 ? 32U : 696U);
      EXPECT_NEAR(static_cast<double>(track.endMs - track.startMs), 16000, 23) << id;
    }
  }
}

TEST_F(PlaybackTest, TakesGapsOutOfTheTimeLine) {
  record(kBeginMs, av().audio(20).until(4000));
  record(kBeginMs + 60000, av().audio(20).until(4000));
  const std::string list = timed(kBeginMs, kBeginMs + 70000);
  EXPECT_EQ(play(list).at(1).endMs - play(list).at(1).startMs, 8000U);
  EXPECT_EQ(play(list).at(2).breaks, 0);
  EXPECT_EQ(list.find("DISCONTINUITY"), std::string::npos) << "players stop at one";
  EXPECT_EQ(occurrences(list, "#EXT-X-PROGRAM-DATE-TIME"), 2U);
  EXPECT_NE(list.find("#EXT-X-PROGRAM-DATE-TIME:2026-11-25T14:04:20.500Z\n"), std::string::npos) << list;
}

TEST_F(PlaybackTest, HasADiscontinuityForANewConfigurationOnly) {
  record(kBeginMs, av().audio(20).until(4000));
  record(kBeginMs + 4000, silent().until(4000));
  const std::string list = live();
  EXPECT_EQ(occurrences(list, "#EXT-X-DISCONTINUITY\n#EXT-X-MAP"), 1U);
  EXPECT_EQ(occurrences(list, "#EXT-X-MAP"), 2U);
  const std::int64_t before = valueOf("DISCONTINUITY-SEQUENCE", list);

  // The sequence number rises when the entry leaves the window, and not before.
  record(kBeginMs + 8000, silent().until(50000));
  EXPECT_EQ(valueOf("DISCONTINUITY-SEQUENCE", live()), before);
  record(kBeginMs + 58000, silent().until(64000));
  EXPECT_EQ(valueOf("DISCONTINUITY-SEQUENCE", live()), before + 1);
  EXPECT_EQ(occurrences(live(), "#EXT-X-MAP"), 1U);
}

TEST_F(PlaybackTest, ALiveListOnlyGrowsOverRecordingsAndRestarts) {
  // What was said of an entry, by its sequence number, and what was under its address.
  std::map<std::int64_t, std::string> entries;
  std::map<std::string, std::string> contents;
  std::int64_t first = 0, discontinuity = 0;
  recording_ = true;
  const auto look = [&] {
    const std::string list = live();
    EXPECT_EQ(list.find("ENDLIST"), std::string::npos);
    EXPECT_GE(valueOf("MEDIA-SEQUENCE", list), std::exchange(first, valueOf("MEDIA-SEQUENCE", list)));
    EXPECT_GE(valueOf("DISCONTINUITY-SEQUENCE", list),
              std::exchange(discontinuity, valueOf("DISCONTINUITY-SEQUENCE", list)));
    std::int64_t sequence = first;
    std::string entry;
    for (const std::string& line : linesOf(list)) {
      if (line.starts_with("#EXTINF") || line.starts_with("#EXT-X-PROGRAM")) entry += line;
      if (line.starts_with('#')) continue;
      entry += line;
      EXPECT_EQ(entries.try_emplace(sequence++, entry).first->second, entry) << list;
      contents.try_emplace(line, content(line));
      entry.clear();
    }
    EXPECT_EQ(sequence, entries.rbegin()->first + 1) << "the newest does not go";
    for (const auto& [address, bytes] : contents) EXPECT_EQ(content(address), bytes) << address;
  };
  for (std::uint32_t end = 6100; end <= 80000; end += 8200) {
    nowMs_ = kBeginMs + end;
    recordSoFar(kBeginMs, av().audio(23).until(end));
    look();
  }
  record(kBeginMs, av().audio(23).until(80000));
  look();
  recordSoFar(kBeginMs + 80000, av().audio(23).until(5000));
  nowMs_ = kBeginMs + 85000;
  look();
  EXPECT_EQ(play(live()).at(1).breaks, 0);

  playback_ = makePlayback();
  nowMs_ += 2000;
  const std::int64_t before = discontinuity;
  look();
  EXPECT_GT(discontinuity, before);
  EXPECT_GE(entries.size(), 70U);
}

TEST_F(PlaybackTest, AListOfATimeThatIsStillRecordedGrowsAndEnds) {
  const std::int64_t toMs = kBeginMs + 12000;
  recording_ = true;
  std::string before;
  const auto lines = [](const std::string& list) { return list.substr(list.find("#EXT-X-MAP")); };
  const auto look = [&] {
    const std::string now = timed(kBeginMs + 3000, toMs);
    EXPECT_TRUE(lines(now).starts_with(lines(before))) << before << now;
    EXPECT_NE(now.find("PLAYLIST-TYPE:EVENT"), std::string::npos);
    before = now;
    return addressesIn(now).size();
  };
  before = "#EXT-X-MAP";
  recordSoFar(kBeginMs, av().audio(20).until(6100));
  nowMs_ = kBeginMs + 6100;
  EXPECT_EQ(look(), 1U) << "the third has no successor yet";
  record(kBeginMs, av().audio(20).until(8000));
  EXPECT_EQ(look(), 2U);
  recordSoFar(kBeginMs + 8000, av().audio(20).until(2100));
  EXPECT_EQ(look(), 3U);
  recordSoFar(kBeginMs + 8000, av().audio(20).until(6100));
  const std::string whole = timed(kBeginMs + 3000, toMs);
  EXPECT_TRUE(lines(whole).starts_with(lines(before)));
  EXPECT_TRUE(whole.ends_with("#EXT-X-ENDLIST\n"));
  EXPECT_EQ(addressesIn(whole).size(), 5U);

  // A stream that is stopped does not go on, and what is there is all.
  recording_ = false;
  EXPECT_TRUE(timed(kBeginMs, kBeginMs + 60000).ends_with("#EXT-X-ENDLIST\n"));
}

TEST_F(PlaybackTest, AnAddressMeansTheSameBytesForEver) {
  recordSoFar(kBeginMs, av().audio(23).until(6100));
  const std::string newest = addressesIn(live()).back();
  const std::string early = content(newest);
  const std::string plain = nameAt(kBeginMs) + "/3-" + std::to_string(kBeginMs + 4000) + ".m4s";
  EXPECT_EQ(statusOf([&] { content(plain); }), 404U) << "its successor is not known";
  EXPECT_NE(live().find("#EXTINF:2.000,\n" + newest), std::string::npos) << "until its video ends: " << live();

  recordSoFar(kBeginMs, av().audio(23).until(9000));
  const std::string late = content(plain);
  EXPECT_EQ(content(newest), early);
  record(kBeginMs + 8000, av().audio(23).until(4000));
  remove(nameAt(kBeginMs + 8000));
  playback_ = makePlayback();
  EXPECT_EQ(content(plain), late);
  EXPECT_EQ(content(newest), early);
  const std::string list = live();
  EXPECT_FALSE(content(list.substr(list.find("init-"), 25)).empty());
}

TEST_F(PlaybackTest, FindsAHeaderOfBeforeTheRestart) {
  record(kBeginMs, av().audio(23).until(4000));
  const std::string list = live();
  const std::string name = list.substr(list.find("init-"), 25);
  const std::string header = content(name);
  record(kBeginMs + 4000, silent().until(4000));
  playback_ = makePlayback();
  EXPECT_EQ(content(name), header);
  EXPECT_EQ(statusOf([&] { content("init-0123456789abcdef.mp4"); }), 404U);
}

TEST_F(PlaybackTest, LeavesOutWhatCannotBePlayed) {
  record(kBeginMs, av().until(4000));
  const std::string damaged = record(kBeginMs + 4000, av().until(4000));
  record(kBeginMs + 8000, av().until(4000));
  const std::string protectedOne = record(kBeginMs + 12000, av().until(4000));
  std::filesystem::remove(directoryOf(damaged) + "/" + damaged + "Seg1.k2r");
  infos_[protectedOne].isProtected = true;
  const std::string list = timed(kBeginMs, kBeginMs + 16000);
  EXPECT_EQ(addressesIn(list).size(), 4U);
  EXPECT_EQ(addressesIn(live()).size(), 4U);
  EXPECT_EQ(play(list).at(1).breaks, 0);
  EXPECT_NE(capture_.text().find(damaged + "Seg1.k2r"), std::string::npos) << capture_.text();

  EXPECT_EQ(statusOf([&] { timed(kBeginMs + 13000, kBeginMs + 14000); }), 403U);
  EXPECT_EQ(statusOf([&] { timed(kBeginMs + 99000, kBeginMs + 99001); }), 404U);
  EXPECT_EQ(statusOf([&] { timed(kBeginMs, kBeginMs); }), 400U);
  EXPECT_EQ(statusOf([&] { timed(INT64_MIN, INT64_MAX); }), 400U);
  EXPECT_EQ(statusOf([&] { timed(kBeginMs, kBeginMs + 90000001); }), 400U);
  EXPECT_EQ(statusOf([&] { playback_->livePlaylist("cam2"); }), 404U);
}

TEST_F(PlaybackTest, ForgetsWhatRetentionRemoved) {
  recordTwo();
  const std::string list = live();
  const std::string gone = addressesIn(list).front();
  content(gone);
  remove(nameAt(kBeginMs));
  EXPECT_EQ(statusOf([&] { content(gone); }), 404U);
  EXPECT_EQ(live(), list) << "players know it";
  EXPECT_EQ(addressesIn(timed(kBeginMs, kBeginMs + 16000)).size(), 4U);
  record(kBeginMs + 16000, av().audio(23).until(4000));
  EXPECT_EQ(addressesIn(live()).size(), 10U);
}

TEST_F(PlaybackTest, ReadsOnlyWhatIsNewOfARunningRecording) {
  const std::string name = recordSoFar(kBeginMs, av().until(8100));
  const auto before = addressesIn(live());
  recordSoFar(kBeginMs, av().until(12100));
  // The first fragments cannot be read again.
  const std::string segment = directoryOf(name) + "/" + name + "Seg1.k2r";
  std::string bytes = readWholeFile(segment);
  bytes.replace(bytes.find("moof"), 4, "xxxx");
  writeWholeFile(segment, bytes);
  const auto after = addressesIn(live());
  EXPECT_EQ(after.size(), before.size() + 2);
  EXPECT_EQ(capture_.text(), "");
}

TEST_F(PlaybackTest, ContinuesAfterAClockWasSetBack) {
  record(kBeginMs + 100000, av().until(4000));
  const std::string before = live();
  recordSoFar(kBeginMs, av().until(5000));
  const std::string after = live();
  EXPECT_EQ(addressesIn(after).back().substr(0, 20), nameAt(kBeginMs)) << after;
  EXPECT_GE(valueOf("MEDIA-SEQUENCE", after),
            valueOf("MEDIA-SEQUENCE", before) + static_cast<std::int64_t>(addressesIn(before).size()));
  EXPECT_GT(valueOf("DISCONTINUITY-SEQUENCE", after), valueOf("DISCONTINUITY-SEQUENCE", before));
}

TEST_F(PlaybackTest, PlaysForManyWhileAStreamIsRecorded) {
  recording_ = true;
  recordSoFar(kBeginMs, av().audio(23).until(6100));
  std::atomic<int> rounds = 0;
  {
    std::vector<std::jthread> players(4);
    for (std::jthread& player : players) {
      player = std::jthread([&](const std::stop_token& stop) {
        for (; !stop.stop_requested(); ++rounds) {
          for (const std::string& address : addressesIn(live())) EXPECT_FALSE(content(address).empty());
          EXPECT_NE(timed(kBeginMs, kBeginMs + 60000), "");
        }
      });
    }
    for (std::uint32_t end = 8100; end <= 20100; end += 2000) {
      const int before = rounds;
      recordSoFar(kBeginMs, av().audio(23).until(end));
      while (rounds < before + 4) std::this_thread::yield();
    }
  }
  EXPECT_EQ(addressesIn(live()).size(), 10U);
  EXPECT_EQ(capture_.text(), "");
}

TEST_F(PlaybackTest, ATimeLineThatGrewIsTheWholeOne) {
  const auto messages = av().audio(23).until(8100) + av().audio(23).withoutHeaders().from(20000).until(33000);
  const auto textOfTimeLine = [](const RecordedTimeline& timeline) {
    std::string text;
    for (const TimedFragment& fragment : timeline.fragments) {
      text += fmt::format("{}/{}:{}+{} {} {} ", fragment.segment, fragment.number, fragment.startMs,
                          fragment.durationMs, fragment.gapMs, fragment.tracks.size());
    }
    return text + std::to_string(timeline.segments.size());
  };
  RecordedTimeline grown;
  for (std::size_t count = 300; count < messages.size(); count += 60) {
    const std::string name =
        recordSoFar(kBeginMs, {messages.begin(), messages.begin() + static_cast<std::ptrdiff_t>(count)},
                    {{"Recording/SegmentDuration", "5000"}});
    const auto directory = readRecordingDirectory(directoryOf(name));
    grown = extendRecordedTimeline(directory, grown);
    EXPECT_EQ(textOfTimeLine(grown), textOfTimeLine(readRecordedTimeline(directory)));
  }
  EXPECT_GE(grown.segments.size(), 3U);
}

TEST(FragmentAddress, IsItsTextAndNoOther) {
  const FragmentAddress plain{.number = 7, .placeMs = 1795615400500};
  const FragmentAddress last{.number = 4294967295, .placeMs = 0, .lastDurations = {40, 4294967295}};
  EXPECT_EQ(plain.text(), "7-1795615400500.m4s");
  EXPECT_EQ(last.text(), "4294967295-0-40-4294967295.m4s");
  EXPECT_EQ(parseFragmentAddress(plain.text()), plain);
  EXPECT_EQ(parseFragmentAddress(last.text()), last);
  for (const char* const text :
       {"", ".m4s", "7.m4s", "7-.m4s", "07-1.m4s", "7-1", "7-1.mp4", "7-1-.m4s", "7--1.m4s", "7-1-4294967296.m4s",
        "4294967296-1.m4s", "7-253402300800001.m4s", "7-1o.m4s", "7-1-1-1-1-1-1-1-1-1-1-1-1-1-1-1-1-1-1.m4s"}) {
    EXPECT_FALSE(parseFragmentAddress(text)) << text;
  }
}

}  // namespace
}  // namespace host::serve
