// A span of a stream as one plain MP4 file, by what independent players make of it.

#include "host/serve/media/Exporter.h"

#include <random>

#include "host/files/RecordedSegments.h"
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
using qvs::util::operator""_4cc;

constexpr TimeSpan kAll{.beginMs = kNoon - 3'600'000, .endMs = kNoon + 3'600'000};

ExportedFile exportMp4(const std::vector<MediaRecording>& recordings, const TimeSpan& span) {
  return Exporter().make(recordings, span);
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
    return frameHashes(save(exportMp4({{recording.directory(), kNoon}}, kAll)), "v");
  }
  TempDirectory place_;
};

TEST_F(Export, HasEveryFrame) {
  const std::string clip = place_.file("clip.mp4");
  makeClip(both(), clip);
  const MadeRecording recording(shortFragments(messagesOf(clip)));
  const auto exported = exportMp4({{recording.directory(), kNoon}}, kAll);
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

TEST_F(Export, PresentsExactlyTheSpan) {
  const MadeRecording recording(shortFragments(clipMessages()));
  const std::vector<MediaRecording> recordings = {{recording.directory(), kNoon}};
  const auto whole = exportMp4(recordings, kAll);
  const std::string file = save(whole);
  auto pictures = frameHashes(file, "v");
  auto sounds = frameHashes(file, "a", "copy");
  for (auto* const frames : {&pictures, &sounds})
    for (FrameHash& frame : *frames) frame.timeMs += whole.time.beginMs - kNoon;
  std::mt19937 random(20261125);
  for (int i = 0; i < 8; ++i) {
    const std::int64_t begin = std::uniform_int_distribution<std::int64_t>(0, 12000)(random);
    const std::int64_t end = begin + std::uniform_int_distribution<std::int64_t>(50, 5000)(random);
    SCOPED_TRACE(testing::Message() << begin << " to " << end);
    const auto exported = exportMp4(recordings, {kNoon + begin, kNoon + end});
    save(exported);
    // The first one is the picture that is seen at the begin, and the file begins with it.
    const auto next = std::ranges::find_if(pictures, [&](const auto& frame) { return frame.timeMs > begin; });
    const auto first = next == pictures.begin() ? next : next - 1;
    const auto last = std::ranges::find_if(pictures, [&](const auto& frame) { return frame.timeMs >= end; });
    const std::vector<FrameHash> expected(first, last);
    const std::int64_t fileBegin = next == first ? begin : first->timeMs;
    EXPECT_EQ(exported.time, (TimeSpan{kNoon + fileBegin, kNoon + std::min<std::int64_t>(end, 14080)}));
    const auto seen = frameHashes(file, "v");
    ASSERT_EQ(seen.size(), expected.size());
    EXPECT_EQ(expectPrefix(seen, expected, expected.size()), -fileBegin);
    // Packets before the begin are there, since key frames are rarer; they have times below 0.
    const auto heard = frameHashes(file, "a", "copy");
    const auto sound = std::ranges::find(sounds, heard[0].hash, &FrameHash::hash);
    ASSERT_NE(sound, sounds.end());
    const std::size_t count = static_cast<std::size_t>(
        std::ranges::find_if(sounds, [&](const auto& packet) { return packet.timeMs >= end; }) - sound);
    EXPECT_EQ(heard.size(), count);
    EXPECT_LE(std::abs(expectPrefix(heard, {sound, sounds.end()}, count, 1) + fileBegin), 1);
  }
}

TEST_F(Export, JoinsRecordingsWithoutASeamAndKeepsGaps) {
  const auto& clip = clipMessages();
  const MadeRecording first(shortFragments(partOf(clip, 0, 4000)));
  const MadeRecording second(shortFragments(partOf(clip, 4000, 10000)));
  const auto source = clipPictures();
  for (const std::int64_t gapMs : {0, 120, -90, 60'000}) {
    SCOPED_TRACE(gapMs);
    const auto exported = exportMp4({{first.directory(), kNoon}, {second.directory(), kNoon + 4000 + gapMs}}, kAll);
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

/// The status and the text of the error; 0 if there is none.
std::pair<unsigned, std::string> errorOf(Exporter& exporter, const std::vector<MediaRecording>& recordings,
                                         const TimeSpan& span = kAll) {
  try {
    exporter.make(recordings, span);
  } catch (const HttpError& error) {
    return {error.status, error.text};
  }
  return {};
}

std::pair<unsigned, std::string> errorOf(const std::vector<MediaRecording>& recordings, const TimeSpan& span = kAll) {
  Exporter exporter;
  return errorOf(exporter, recordings, span);
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
  EXPECT_EQ(errorOf({{flash.directory(), kNoon}}),
            (std::pair(409U, std::string("MP4 does not have the codec 'VP6F'"))));
}

TEST_F(Export, RefusesProtectedRecordings) {
  ASSERT_EQ(k2r({"keys", "new", place_.file("keys")}).status, 0);
  RecordingPlan plan = shortFragments(clipMessages());
  plan.settings.merge(settingsIn(place_.path() / "keys" / host::kKeySetSettings));
  const MadeRecording secret(plan);
  EXPECT_EQ(errorOf({{secret.directory(), kNoon}}),
            (std::pair(409U, std::string("the recording cam1 is protected; k2r unprotect makes a clear one"))));
}

TEST_F(Export, KeepsToItsLimits) {
  const MadeRecording recording(shortFragments(clipMessages()));
  const std::vector<MediaRecording> recordings = {{recording.directory(), kNoon}};
  Exporter shortOnes({.samples = 900, .segmentFiles = 1});
  EXPECT_EQ(errorOf(shortOnes, recordings).first, 413U) << "samples";
  EXPECT_EQ(errorOf(shortOnes, recordings, {kNoon, kNoon + 10000}).first, 0U);
  const MediaRecording next{recording.directory(), kNoon + 20000};
  EXPECT_EQ(errorOf(shortOnes, {recordings[0], next}, {kNoon + 12000, kNoon + 22000}).first, 413U) << "files";
  Exporter exporter({.bytes = 20000});
  auto first = exporter.make(recordings, kAll).body.slice(0, 1);
  EXPECT_EQ(errorOf(exporter, recordings).first, 503U) << "as long as any of it is used";
  first = {};
  EXPECT_EQ(errorOf(exporter, recordings).first, 0U);
}

TEST_F(Export, FollowsARecordingThatGrows) {
  const auto& clip = clipMessages();
  const MadeRecording recording({.messages = partOf(clip, 0, 8000), .stop = false});
  const std::vector<MediaRecording> recordings = {{recording.directory(), kNoon}};
  const auto early = exportMp4(recordings, kAll);
  const auto part = exportMp4(recordings, {kNoon, kNoon + 5000});
  EXPECT_EQ(early.etag.front(), '"');
  EXPECT_EQ(exportMp4(recordings, kAll).etag, early.etag);
  const std::string before = contentOf(early.body);
  recording.append(partOf(clip, 8000, 12000));
  const auto late = exportMp4(recordings, kAll);
  EXPECT_NE(late.etag, early.etag);
  EXPECT_GT(late.time.endMs, early.time.endMs);
  EXPECT_EQ(frameHashes(save(late), "v").size(), 300U);
  EXPECT_EQ(contentOf(early.body), before) << "what was said to be in the file is";
  const auto again = exportMp4(recordings, {kNoon, kNoon + 5000});
  EXPECT_EQ(again.etag, part.etag);
  EXPECT_EQ(contentOf(again.body), contentOf(part.body));
}

/// Moves the last sample of each fragment far back in its `mdat`. The file has holes, so it takes no place.
void stretch(const MadeRecording& recording, std::uint64_t hole) {
  const std::string stored = recording.read("Seg1.k2r");
  const std::string path = recording.path("Seg1.k2r");
  std::vector<std::pair<std::uint64_t, std::string>> parts;
  std::map<std::uint64_t, std::uint64_t> moved;
  std::uint64_t shift = 0;
  {
    host::OpenSegment segment(path);
    parts.emplace_back(0, stored.substr(0, segment.reader().firstFragment()));
    for (auto box = segment.reader().boxAt(segment.reader().firstFragment()); box && box->type == "afra"_4cc;) {
      const auto fragment = segment.reader().readFragment(box->offset);
      const auto& boxes = fragment.boxes;
      std::string bytes = stored.substr(boxes.position(), boxes.size());
      const auto patch = [&](std::uint64_t offset) {
        std::byte* const at = reinterpret_cast<std::byte*>(bytes.data()) + (offset - boxes.position());
        qvs::util::storeBigEndian(at, 4, qvs::util::loadBigEndian(at, 4) + hole);
      };
      const auto& sample = fragment.tracks[0].samples.back();
      patch(sample.fieldsOffset - 4);
      patch(boxes.mdat.offset);
      moved[boxes.position()] = boxes.position() + shift;
      parts.emplace_back(boxes.position() + shift, bytes);
      shift += hole;
      parts.emplace_back(sample.offset + shift, stored.substr(sample.offset, sample.size));
      box = segment.reader().boxAt(boxes.end());
    }
  }
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  for (const auto& [offset, bytes] : parts)
    out.seekp(static_cast<std::streamoff>(offset)).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  std::filesystem::resize_file(path, stored.size() + shift);
  recording.changeIndex("Seg1.k2i", [&](auto& entries) {
    for (auto& entry : entries)
      if (entry.isWritten()) entry.afraOffset = moved.at(entry.afraOffset);
  });
}

/// Writes the boxes before the media, and the samples by their tables.
void saveSamples(const host::serve::Body& body, const std::string& file) {
  std::ofstream out(file, std::ios::binary);
  const auto copy = [&](std::uint64_t offset, std::size_t size) {
    std::string bytes(size, '\0');
    EXPECT_EQ(body.read(offset, std::as_writable_bytes(std::span(bytes))), size);
    out.seekp(static_cast<std::streamoff>(offset)).write(bytes.data(), static_cast<std::streamsize>(size));
    return bytes;
  };
  const std::string front = copy(0, 64 << 10);
  std::size_t sizes = 0;
  std::size_t offsets = 0;
  while ((sizes = front.find("stsz", sizes + 1)) != std::string::npos) {
    offsets = front.find("co64", sizes);
    const auto bytes = std::as_bytes(std::span(front));
    qvs::util::ByteReader size(bytes.subspan(sizes + 12));
    qvs::util::ByteReader offset(bytes.subspan(offsets + 8));
    const std::uint32_t count = size.u32();
    EXPECT_EQ(offset.u32(), count);
    for (std::uint32_t i = 0; i < count; ++i) copy(offset.u64(), size.u32());
  }
  out.close();
  std::filesystem::resize_file(file, body.size());
}

TEST_F(Export, HasOffsetsBeyond4GiB) {
  const MadeRecording recording(shortFragments(clipMessages()));
  const auto before = clipPictures();
  stretch(recording, 0x38000000);
  const auto exported = exportMp4({{recording.directory(), kNoon}}, kAll);
  ASSERT_GT(exported.body.size(), std::uint64_t{5} << 30);
  saveSamples(exported.body, place_.file("large.mp4"));
  EXPECT_EQ(expectPrefix(frameHashes(place_.file("large.mp4"), "v"), before, before.size()), 0);
}

TEST(MediaRecordings, AreThoseThatCanBeRead) {
  using host::serve::RecordingState;
  std::vector<host::serve::RecordingInfo> listed;
  for (const auto& [name, state] : {std::pair("20251125T110000.000Z", RecordingState::kDamaged),
                                    {"20251125T120000.000Z", RecordingState::kFinished},
                                    {"lost+found", RecordingState::kFinished},
                                    {"20251125T120000.000Z-2", RecordingState::kFinished},
                                    {"20251125T120001.500Z", RecordingState::kInProgress},
                                    {"20251125T130000.000Z", RecordingState::kInterrupted}}) {
    listed.emplace_back();
    listed.back().name = name;
    listed.back().state = state;
  }
  std::string text;
  for (const auto& [directory, beginMs] : host::serve::mediaRecordings("/rec/cam1", listed))
    text += directory + " " + std::to_string(beginMs - kNoon) + "\n";
  EXPECT_EQ(
      text,
      "/rec/cam1/20251125T120000.000Z 0\n/rec/cam1/20251125T120000.000Z-2 0\n/rec/cam1/20251125T120001.500Z 1500\n");
}

}  // namespace
