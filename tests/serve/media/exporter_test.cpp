// A span of a stream as one plain MP4 file, by what independent players make of it.

#include "host/serve/media/Exporter.h"

#include "host/keys/keySet.h"
#include "host/serve/http/HttpMessage.h"
#include "tests/serve/media/mediaRecordings.h"

namespace {

using namespace test;
using host::serve::ExportedFile;
using host::serve::Exporter;
using host::serve::HttpError;
using host::serve::MediaRecording;
using host::serve::TimeSpan;

constexpr TimeSpan kAll{.beginMs = kNoon - 3'600'000, .endMs = kNoon + 3'600'000};

ExportedFile exportMp4(const std::vector<MediaRecording>& recordings, const TimeSpan& span = kAll) {
  return Exporter().make(recordings, span);
}

using Refusal = std::pair<unsigned, std::string>;

/// The status and the text of the error; 0 if there is none.
Refusal errorOf(const std::vector<MediaRecording>& recordings, const TimeSpan& span = kAll,
                Exporter* exporter = nullptr) {
  Exporter usual;
  try {
    (exporter != nullptr ? exporter : &usual)->make(recordings, span);
  } catch (const HttpError& error) {
    return {error.status, error.text};
  }
  return {};
}

class Export : public testing::Test {
 protected:
  /// Writes the file and expects that a player has nothing to complain about.
  std::string save(const ExportedFile& exported) {
    const std::string file = place_.file("out.mp4");
    writeWholeFile(file, contentOf(exported.body));
    EXPECT_EQ(mustRun("ffmpeg -v warning -i '" + file + "' -f null -"), "");
    return file;
  }
  /// The pictures of the whole clip.
  std::vector<FrameHash> clipPictures() {
    const MadeRecording recording(shortFragments(clipMessages()));
    return frameHashes(save(exportMp4({{recording.directory(), kNoon}})), "v");
  }
  TempDirectory place_;
};

TEST_F(Export, HasEveryFrame) {
  const std::string clip = place_.file("clip.mp4");
  makeClip(both(), clip);
  const MadeRecording recording(shortFragments(messagesOf(clip)));
  const auto exported = exportMp4({{recording.directory(), kNoon}});
  // The first picture is decoded at the begin, and presented 80 ms later; the first sound is heard between.
  EXPECT_EQ(exported.time, (TimeSpan{kNoon + 57, kNoon + 14080}));
  const std::string file = save(exported);
  const std::tuple<const char*, const char*, std::size_t> rows[] = {
      {"v", "", 350}, {"v", "copy", 350}, {"a", "copy", 600}};
  for (const auto& [stream, codec, count] : rows) {
    SCOPED_TRACE(std::string(stream) + codec);
    EXPECT_EQ(expectPrefix(frameHashes(file, stream, codec), frameHashes(clip, stream, codec), count, 1), 23);
  }
  EXPECT_EQ(
      mustRun("ffprobe -v warning -show_entries format=duration:format_tags=creation_time -of csv=p=0 '" + file + "'"),
      "14.023000,2025-11-25T12:00:00.000000Z\n");
}

TEST_F(Export, SaysWhereItsKeyFramesAre) {
  const MadeRecording recording(shortFragments(clipMessages()));
  const std::string bytes = contentOf(exportMp4({{recording.directory(), kNoon}}).body);
  qvs::util::ByteReader table(qvs::util::asBytes(bytes).subspan(bytes.find("stss") + 8));
  std::vector<std::uint32_t> numbers(table.u32());
  for (std::uint32_t& number : numbers) number = table.u32();
  EXPECT_EQ(numbers, (std::vector<std::uint32_t>{1, 51, 101, 151, 201, 251, 301}));
}

TEST_F(Export, PresentsExactlyTheSpan) {
  const MadeRecording recording(shortFragments(clipMessages()));
  const std::vector<MediaRecording> recordings = {{recording.directory(), kNoon}};
  constexpr std::int64_t kFirstMs = 57;
  const std::string file = save(exportMp4(recordings));
  const auto pictures = frameHashes(file, "v"), sounds = frameHashes(file, "a", "copy");
  // The span, the begin of the file, its first picture and how many there are: from 80 ms on, every 40 ms.
  const std::tuple<const char*, std::int64_t, std::int64_t, std::int64_t, std::ptrdiff_t, std::size_t> rows[] = {
      {"up to a picture that others before it need, which is in the file", 1000, 3040, 1000, 23, 51},
      {"from the middle of a picture on, which is seen whole", 1010, 4001, 1000, 23, 76},
      {"from before the first sound on", 0, 500, kFirstMs, 0, 11},
      {"of a key frame alone", 6080, 6120, 6080, 150, 1},
      {"over the border of two fragments", 5990, 6100, 5960, 147, 4}};
  for (const auto& [why, beginMs, endMs, fileBeginMs, first, count] : rows) {
    SCOPED_TRACE(why);
    const auto exported = exportMp4(recordings, {kNoon + beginMs, kNoon + endMs});
    save(exported);
    EXPECT_EQ(exported.time, (TimeSpan{kNoon + fileBeginMs, kNoon + endMs}));
    const auto seen = frameHashes(file, "v"), heard = frameHashes(file, "a", "copy");
    ASSERT_EQ(seen.size(), count);
    EXPECT_EQ(expectPrefix(seen, {pictures.begin() + first, pictures.end()}, count), kFirstMs - fileBeginMs);
    // Packets before the begin are there, since key frames are rarer; they have times below 0.
    const auto sound = std::ranges::find(sounds, heard[0].hash, &FrameHash::hash);
    const auto after = std::find_if(sound, sounds.end(),
                                    [end = endMs - kFirstMs](const auto& packet) { return packet.timeMs >= end; });
    EXPECT_EQ(std::ssize(heard), after - sound);
    EXPECT_LE(std::abs(expectPrefix(heard, {sound, sounds.end()}, 1, 1) - kFirstMs + fileBeginMs), 1);
  }
}

TEST_F(Export, JoinsRecordingsWithoutASeamAndKeepsGaps) {
  const auto& clip = clipMessages();
  const MadeRecording first(shortFragments(partOf(clip, 0, 4000)));
  const MadeRecording second(shortFragments(partOf(clip, 4000, 10000)));
  const auto source = clipPictures();
  for (const std::int64_t gapMs : {0, 120, -90, 60'000}) {
    SCOPED_TRACE(gapMs);
    const auto exported = exportMp4({{first.directory(), kNoon}, {second.directory(), kNoon + 4000 + gapMs}});
    const auto pictures = frameHashes(save(exported), "v");
    ASSERT_EQ(pictures.size(), 250U);
    for (std::size_t i = 0; i < pictures.size(); ++i) {
      EXPECT_EQ(pictures[i].hash, source[i].hash) << i;
      // An arrival that is a little late or early is no gap.
      const std::int64_t laterMs = i < 100 || gapMs < 1000 ? 0 : gapMs;
      EXPECT_EQ(pictures[i].timeMs - pictures[0].timeMs, source[i].timeMs - source[0].timeMs + laterMs) << i;
    }
  }
}

TEST_F(Export, BeginsAfterAGapWithWhatIsThere) {
  const auto& clip = clipMessages();
  auto later = partOf(clip, 4000, 10000);
  std::erase_if(later, [](const auto& message) { return isSequenceHeader(message) || message.type == 18; });
  for (auto& message : later) message.time += 20000;
  const MadeRecording recording(shortFragments(partOf(clip, 0, 4000) + later));
  const auto exported = exportMp4({{recording.directory(), kNoon}}, {kNoon + 10000, kNoon + 25000});
  EXPECT_LE(std::abs(exported.time.beginMs - kNoon - 24000), 80);
  const auto pictures = frameHashes(save(exported), "v");
  EXPECT_EQ(pictures[0].hash, clipPictures()[100].hash);
  EXPECT_EQ(pictures[0].timeMs, 24080 - (exported.time.beginMs - kNoon));
}

TEST_F(Export, SaysWhatCannotBeExported) {
  const MadeRecording first(shortFragments(clipMessages()));
  const MadeRecording second(shortFragments(
      clipMessages("-s 640x360 -c:v libx264 -preset ultrafast -bf 2 -b_strategy 0 -g 50 -pix_fmt yuv420p -c:a aac ")));
  const std::vector<MediaRecording> both = {{first.directory(), kNoon}, {second.directory(), kNoon + 20000}};
  const auto changed = errorOf(both);
  EXPECT_EQ(changed.first, 409U);
  EXPECT_NE(changed.second.find("changes at 2025-11-25T12:00:20.000Z"), std::string::npos) << changed.second;
  EXPECT_EQ(errorOf(both, {kNoon, kNoon + 20000}).first, 0U) << "up to the change";
  EXPECT_EQ(errorOf({both[1]}).first, 0U);
  EXPECT_EQ(errorOf({both[0]}, {kNoon + 15000, kNoon + 16000}).first, 404U);
  EXPECT_EQ(errorOf({both[0]}, {kNoon - 2000, kNoon}).first, 404U);
  EXPECT_EQ(errorOf({}).first, 404U);
  const MadeRecording flash(shortFragments(otherCodecs(16001)));
  EXPECT_EQ(errorOf({{flash.directory(), kNoon}}), Refusal(409, "MP4 does not have the codec 'VP6F'"));
}

TEST_F(Export, RefusesProtectedRecordings) {
  ASSERT_EQ(k2r({"keys", "new", place_.file("keys")}).status, 0);
  RecordingPlan plan = shortFragments(clipMessages());
  plan.settings.merge(settingsIn(place_.path() / "keys" / host::kKeySetSettings));
  const MadeRecording secret(plan);
  EXPECT_EQ(errorOf({{secret.directory(), kNoon}}),
            Refusal(409, "the recording cam1 is protected; k2r unprotect makes a clear one"));
}

TEST_F(Export, KeepsToItsLimits) {
  const MadeRecording recording(shortFragments(clipMessages()));
  const std::vector<MediaRecording> recordings = {{recording.directory(), kNoon}};
  const MediaRecording next{recording.directory(), kNoon + 20000};
  Exporter shortOnes({.samples = 900, .segmentFiles = 1});
  EXPECT_EQ(errorOf(recordings, kAll, &shortOnes).first, 413U) << "samples";
  EXPECT_EQ(errorOf(recordings, {kNoon, kNoon + 10000}, &shortOnes).first, 0U);
  EXPECT_EQ(errorOf({recordings[0], next}, {kNoon + 12000, kNoon + 22000}, &shortOnes).first, 413U) << "files";
  Exporter exporter({.bytes = 20000});
  auto first = exporter.make(recordings, kAll).body.slice(0, 1);
  EXPECT_EQ(errorOf(recordings, kAll, &exporter).first, 503U) << "as long as any of it is used";
  first = {};
  EXPECT_EQ(errorOf(recordings, kAll, &exporter).first, 0U);
}

TEST_F(Export, FollowsARecordingThatGrows) {
  const auto& clip = clipMessages();
  const MadeRecording recording({.messages = partOf(clip, 0, 8000), .stop = false});
  const std::vector<MediaRecording> recordings = {{recording.directory(), kNoon}};
  const auto early = exportMp4(recordings);
  const auto part = exportMp4(recordings, {kNoon, kNoon + 5000});
  EXPECT_EQ(early.etag.front(), '"');
  EXPECT_EQ(exportMp4(recordings).etag, early.etag);
  const std::string before = contentOf(early.body);
  recording.append(partOf(clip, 8000, 12000));
  const auto late = exportMp4(recordings);
  EXPECT_NE(late.etag, early.etag);
  EXPECT_GT(late.time.endMs, early.time.endMs);
  EXPECT_EQ(frameHashes(save(late), "v").size(), 300U);
  EXPECT_EQ(contentOf(early.body), before) << "what was said to be in the file is";
  const auto again = exportMp4(recordings, {kNoon, kNoon + 5000});
  EXPECT_EQ(again.etag, part.etag);
  EXPECT_EQ(contentOf(again.body), contentOf(part.body));
}

TEST_F(Export, HasOffsetsBeyond4GiB) {
  const auto pictures = stream().keyFramesEvery(2000).frameBytes(15 << 20).framesEvery(2000).until(10001);
  const MadeRecording recording(shortFragments(pictures));
  // The same again and again, each half a minute later.
  std::vector<MediaRecording> recordings;
  for (int i = 0; i < 60; ++i) recordings.push_back({recording.directory(), kNoon + i * 30'000});
  const auto body = exportMp4(recordings, {kNoon, kNoon + 60 * 30'000}).body;
  ASSERT_GT(body.size(), std::uint64_t{4} << 30);
  std::vector<std::byte> front(64 << 10), sample(100);
  body.read(0, front);
  // The last offset is that of the last picture which a fragment follows.
  qvs::util::ByteReader offsets(std::span<const std::byte>(front).subspan(textOf(front).find("co64") + 8));
  for (std::uint32_t left = offsets.u32(); left > 1; --left) offsets.u64();
  body.read(offsets.u64(), sample);
  const auto& expected = pictures[pictures.size() - 2].data;
  EXPECT_TRUE(std::ranges::equal(sample, std::span(expected).subspan(5, sample.size())));
}

TEST(MediaRecordings, AreThoseThatCanBeRead) {
  using enum host::serve::RecordingState;
  const auto info = [](const char* name, host::serve::RecordingState state) {
    return host::serve::RecordingInfo{.name = name, .state = state, .time = {}, .gaps = {}};
  };
  const std::vector<host::serve::RecordingInfo> listed = {
      info("20251125T110000.000Z", kDamaged), info("20251125T120000.000Z", kFinished), info("lost+found", kFinished),
      info("20251125T120001.500Z-2", kInProgress), info("20251125T130000.000Z", kInterrupted)};
  std::string text;
  for (const auto& [directory, beginMs] : host::serve::mediaRecordings("/rec/cam1", listed))
    text += directory + " " + std::to_string(beginMs - kNoon) + "\n";
  EXPECT_EQ(text, "/rec/cam1/20251125T120000.000Z 0\n/rec/cam1/20251125T120001.500Z-2 1500\n");
}

}  // namespace
