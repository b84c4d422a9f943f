// Playlists over the recordings of a stream, and the fragments and headers that they name.

#include <fmt/format.h>

#include <thread>

#include "tests/endtoend/mediaTools.h"
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

TEST_F(PlaybackTest, LetsFfmpegDecodeEveryFrame) {
  const std::string clip = root_.file("clip.mp4");
  makeClip(both(), clip);
  const auto messages = messagesOf(clip);
  const auto cut = std::ranges::find_if(messages, [](const StreamMessage& message) {
    return message.type == 9 && message.time >= 6000 && message.data.at(0) == std::byte{0x17};
  });
  std::vector<StreamMessage> first(messages.begin(), cut);
  std::vector<StreamMessage> second;
  std::ranges::copy_if(messages, std::back_inserter(second), [](const StreamMessage& message) {
    return isSequenceHeader(message) || (message.type != 8 && message.type != 9);
  });
  for (StreamMessage& header : second) header.time = cut->time;
  second.insert(second.end(), cut, messages.end());
  record(kBeginMs, first);
  record(kBeginMs + cut->time, second);

  const std::string list = timed(kBeginMs, kBeginMs + 20000);
  for (const std::string& address : addressesIn(list)) {
    std::filesystem::create_directories(std::filesystem::path(root_.file("www/" + address)).parent_path());
    writeWholeFile(root_.file("www/" + address), content(address));
  }
  const std::string header = list.substr(list.find("init-"), 25);
  writeWholeFile(root_.file("www/" + header), content(header));
  writeWholeFile(root_.file("www/index.m3u8"), list);
  EXPECT_EQ(mustRun("ffmpeg -v warning -i '" + root_.file("www/index.m3u8") + "' -f null -"), "");
  EXPECT_EQ(frameHashes(root_.file("www/index.m3u8"), "v").size(), frameHashes(clip, "v").size());
  expectPrefix(frameHashes(root_.file("www/index.m3u8"), "v"), frameHashes(clip, "v"), 370);
  expectPrefix(frameHashes(root_.file("www/index.m3u8"), "a", "copy"), frameHashes(clip, "a", "copy"), 640, 1);
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

/// Keeps what every live list of a stream said, and checks that it does not change.
class ListMemory {
 public:
  void see(const std::string& list, const std::vector<std::string>& lines, std::int64_t sequence) {
    ASSERT_GE(sequence, first_);
    first_ = sequence;
    std::string entry;
    for (const std::string& line : lines) {
      const bool isOfEntry = line.starts_with("#EXTINF") || line.starts_with("#EXT-X-PROGRAM");
      if (isOfEntry) entry += line + "\n";
      if (line.starts_with('#')) continue;
      const std::string text = std::exchange(entry, "") + line;
      const auto [known, isNew] = entries_.try_emplace(sequence++, text);
      EXPECT_EQ(known->second, text) << list;
      if (isNew) addresses.push_back(line);
    }
    EXPECT_EQ(sequence, entries_.rbegin()->first + 1) << "the newest does not go";
  }
  std::vector<std::string> addresses;

 private:
  std::int64_t first_ = 0;
  std::map<std::int64_t, std::string> entries_;
};

TEST_F(PlaybackTest, ALiveListOnlyGrowsOverRecordingsAndRestarts) {
  ListMemory memory;
  std::map<std::string, std::string> contents;
  std::int64_t discontinuity = 0;
  recording_ = true;
  const auto look = [&] {
    const std::string list = live();
    memory.see(list, linesOf(list), valueOf("MEDIA-SEQUENCE", list));
    EXPECT_GE(valueOf("DISCONTINUITY-SEQUENCE", list), discontinuity);
    discontinuity = valueOf("DISCONTINUITY-SEQUENCE", list);
    EXPECT_EQ(list.find("ENDLIST"), std::string::npos);
    for (const std::string& address : memory.addresses) {
      EXPECT_EQ(content(address), contents.try_emplace(address, content(address)).first->second) << address;
    }
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
  EXPECT_GE(memory.addresses.size(), 70U);
}

TEST_F(PlaybackTest, AListOfATimeThatIsStillRecordedGrowsAndEnds) {
  const std::int64_t toMs = kBeginMs + 12000;
  recording_ = true;
  std::string before;
  const auto lines = [](const std::string& list) { return list.substr(list.find("#EXT-X-MAP")); };
  const auto look = [&] {
    const std::string now = timed(kBeginMs + 1000, toMs);
    EXPECT_TRUE(lines(now).starts_with(lines(before))) << before << now;
    EXPECT_NE(now.find("PLAYLIST-TYPE:EVENT"), std::string::npos);
    before = now;
    return addressesIn(now).size();
  };
  before = "#EXT-X-MAP";
  recordSoFar(kBeginMs, av().audio(20).until(6100));
  nowMs_ = kBeginMs + 6100;
  EXPECT_EQ(look(), 2U) << "the third has no successor yet";
  record(kBeginMs, av().audio(20).until(8000));
  EXPECT_EQ(look(), 3U);
  recordSoFar(kBeginMs + 8000, av().audio(20).until(2100));
  EXPECT_EQ(look(), 4U);
  recordSoFar(kBeginMs + 8000, av().audio(20).until(6100));
  const std::string whole = timed(kBeginMs + 1000, toMs);
  EXPECT_TRUE(lines(whole).starts_with(lines(before)));
  EXPECT_TRUE(whole.ends_with("#EXT-X-ENDLIST\n"));
  EXPECT_EQ(addressesIn(whole).size(), 6U);

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
  std::atomic<bool> isOver = false;
  std::atomic<int> rounds = 0;
  const auto playOn = [&](std::size_t& seen) {
    const auto addresses = addressesIn(live());
    EXPECT_GE(addresses.size(), seen);
    seen = addresses.size();
    for (const std::string& address : addresses) EXPECT_FALSE(content(address).empty());
    EXPECT_NE(timed(kBeginMs, kBeginMs + 60000).find("EVENT"), std::string::npos);
  };
  std::vector<std::thread> players;
  for (int i = 0; i < 4; ++i) {
    players.emplace_back([&] {
      for (std::size_t seen = 0; !isOver; ++rounds) {
        EXPECT_EQ(statusOf([&] { playOn(seen); }), 200U);
      }
    });
  }
  for (std::uint32_t end = 8100; end <= 20100; end += 2000) {
    const int before = rounds;
    recordSoFar(kBeginMs, av().audio(23).until(end));
    while (rounds < before + 4) std::this_thread::yield();
  }
  isOver = true;
  for (std::thread& player : players) player.join();
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
