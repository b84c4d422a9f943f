// What `k2r inspect` prints.

#include <fmt/format.h>
#include <unistd.h>

#include "host/DirectoryLock.h"
#include "host/files/Malformed.h"
#include "host/inspect/describeFile.h"
#include "host/inspect/overviewText.h"
#include "host/inspect/scriptJson.h"
#include "host/inspect/textTree.h"
#include "tests/host/hostTools.h"
#include "tests/support/ScriptCodec.h"

namespace {

using namespace test;
using host::describePath;
using host::InspectErrors;
using host::Json;
using testing::HasSubstr;

Json describe(const std::string& path) {
  InspectErrors errors;
  const Json document = describePath(path, host::Detail::kFields, errors).document;
  EXPECT_TRUE(errors.empty()) << errors.front();
  return document;
}

const MadeRecording& sparse() {
  static const MadeRecording recording({.messages = av(10000).until(30001)});
  return recording;
}

/// Values of what is told of a file, as an object of them by their places; null where there is nothing.
void expectTold(const std::filesystem::path& path, const char* values) {
  const Json document = describe(path.string()), expected = Json::parse(values);
  for (const auto& [place, value] : expected.items()) {
    const Json::json_pointer pointer(place);
    EXPECT_EQ(document.contains(pointer) ? document.at(pointer) : Json(), value) << path << ' ' << place;
  }
}

TEST(Inspect, TellsWhatIsInTheFilesOfARecording) {
  expectTold(sparse().path(".bootstrap"), R"({
      "/kind": "bootstrap", "/bootstrapVersion": 6, "/live": true, "/timescale": 1000, "/currentMediaTime": 24000,
      "/segmentRunTables/0/segmentRuns": [{"firstSegment": 1, "fragmentsPerSegment": 7}],
      "/fragmentRunTables/0/fragmentRuns/1":
          {"firstFragment": 2, "firstTimestamp": 4000, "duration": 0, "discontinuity": 1,
           "meaning": "numbers without a fragment of their own"},
      "/fragmentRunTables/0/fragmentRuns/6/meaning": "end of the presentation",
      "/fragmentRunTables/0/fragmentRuns/7": null})");
  expectTold(sparse().path("Seg1.k2i"), R"({
      "/kind": "index", "/globalEntries/0/meaning": "fragment", "/globalEntries/1/meaning": "no fragment of its own",
      "/globalEntries/1/position": 18446744073709551615, "/globalEntries/2/time": 10000,
      "/globalEntries/6/fragment": 7, "/globalEntries/7": null})");
  expectTold(sparse().path("Seg1.k2r"), R"({
      "/kind": "segment", "/tracks/0/format": "avc1", "/tracks/1/sampleRate": 44100, "/tracks/1/channels": 2,
      "/tracks/2/handler": "hint", "/tracks/3": null, "/fragments/0/sequenceNumber": 1,
      "/fragments/0/lastTagTime": 9800, "/fragments/0/videoSamples": 20, "/fragments/0/audioSamples": 15,
      "/fragments/3": null,
      "/behindFragments/0/type": "mfra"})");
  const Json index = describe(sparse().path("Seg1.k2i").string())["globalEntries"];
  const Json fragments = describe(sparse().path("Seg1.k2r").string())["fragments"];
  EXPECT_EQ(fragments[0]["position"], index[0]["position"]);
  EXPECT_EQ(fragments[1]["position"], index[2]["position"]);
}

TEST(Inspect, TellsDescriptionAndScriptDataAsValues) {
  // Script data within the stream is a sample; of some nothing can be made.
  auto messages = stream().keyFramesEvery(2000).framesEvery(500).until(9001);
  messages.insert(messages.begin() + 4, metadata(messages[3].time));
  messages.insert(messages.begin() + 5, {18, messages[3].time, {std::byte{2}, std::byte{9}}});
  const MadeRecording recording({.messages = std::move(messages)});
  expectTold(recording.path(".meta"),
             R"({"/name": "onMetaData", "/values/0/width": 640, "/values/0/videocodecid": "H264",
                                     "/values/0/trackinfo/0/language": "eng", "/values/1": null})");
  expectTold(recording.path("Seg1.k2r"), R"({"/scriptData/0/name": "onMetaData", "/scriptData/0/values/0/height": 360,
                                        "/scriptData/1/unreadable": "malformed script data", "/scriptData/2": null})");
}

TEST(Inspect, TellsAFileByItsContentAndWhatThePackagerMakesOfATagStream) {
  const TempDirectory directory;
  const auto file = directory.path() / "anything";
  writeWholeFile(file, sparse().read(".bootstrap"));
  expectTold(file, R"({"/kind": "bootstrap"})");
  writeWholeFile(file, "\x01\x02\x03\x04");
  expectTold(file, R"({"/baseTime": 16909060})");
  writeTagStream(stream().keyFramesEvery(2000).audio(500).until(4000), directory.file("in.mtg"));
  expectTold(directory.file("in.mtg"), R"({
      "/kind": "tagStream", "/duration": 3960, "/tracks/2": null,
      "/tracks/0": {"handler": "vide", "format": "avc1", "duration": 3960, "timescale": 1000, "language": "eng",
                    "width": 640, "height": 360, "sampleRate": null, "channels": null, "bitsPerSample": null,
                    "samples": 101, "keyFrames": 3, "emptySamples": 0, "sampleBytes": 29542, "firstTime": 0,
                    "lastTime": 3960},
      "/tracks/1/format": "mp4a", "/tracks/1/samples": 9, "/tracks/1/sampleRate": 44000})");
}

TEST(Inspect, PrintsScriptDataUnderItsOwnNames) {
  const Json document = {{"name", "onCue"}, {"values", {{{"canSeek", true}, {"two words", {1, 2}}}}}};
  EXPECT_EQ(host::textTree(document), "name: onCue\nvalues:\n  canSeek: true\n  \"two words\": [1,2]\n");
}

TEST(Inspect, NamesFileAndPlaceOfWhatCannotBeRead) {
  const MadeRecording recording({.messages = stream().keyFramesEvery(2000).framesEvery(500).until(12001)});
  const std::string segment = recording.read("Seg1.k2r");
  const std::tuple<const char*, std::string, std::string> rows[] = {
      {"Seg1.k2r", segment.substr(0, segment.size() - 1), "cam1Seg1.k2r': offset "},
      {"Seg1.k2i", recording.read("Seg1.k2i").substr(0, 100), "cam1Seg1.k2i': offset 100: "},
      {".control", "abc", "cam1.control': offset 3: "},
      {".bootstrap", "nothing at all", "cam1.bootstrap': no file of a recording"}};
  for (const auto& [suffix, content, error] : rows) {
    recording.write(suffix, content);
    InspectErrors errors;
    describePath(recording.path(suffix).string(), host::Detail::kFields, errors);
    EXPECT_THAT(errors, testing::Contains(HasSubstr(error)));
  }
}

TEST(Repair, ReturnsItsExitStatus) {
  const TempDirectory empty;
  const MadeRecording interrupted({.messages = av().until(8001), .stop = false});
  interrupted.remove(".control");
  const MadeRecording damaged({.messages = av().until(8001)});
  damaged.remove(".meta");
  const std::pair<std::string, int> rows[] = {
      {interrupted.directory(), 0}, {damaged.directory(), 4}, {empty.file("missing"), 1}, {empty.path().string(), 1}};
  for (const auto& [directory, status] : rows) EXPECT_EQ(k2r({"repair", directory}).status, status) << directory;
}

TEST(Inspect, PrintsTheFieldsOfAFileOrOnRequest) {
  const std::string index = k2r({"inspect", sparse().path("Seg1.k2i").string()}).output;
  EXPECT_THAT(index, testing::AllOf(HasSubstr("long ids: yes\n"), HasSubstr("  fragment  segment  time   position"),
                                    HasSubstr("no fragment of its own\n")));
  EXPECT_THAT(k2r({"inspect", sparse().directory()}).output, testing::Not(HasSubstr("long ids")));
  EXPECT_THAT(k2r({"inspect", "--full", sparse().directory()}).output,
              testing::AllOf(HasSubstr("  length:     0:00:"), HasSubstr("long ids: yes\n"),
                             testing::Not(HasSubstr("summary:"))));
}

std::string overviewOf(const MadeRecording& recording, std::size_t columns = 40) {
  return host::overviewText(host::readOverview(host::readRecordingDirectory(recording.directory())), columns);
}

TEST(Overview, SaysWhatIsRecordedAndWhatIsMissing) {
  const auto video = [](std::uint32_t period) { return stream().keyFramesEvery(2000).framesEvery(period); };
  const auto later = [&video](std::uint32_t period) { return video(period).withoutHeaders(); };
  const std::tuple<RecordingPlan, std::size_t, std::vector<const char*>> rows[] = {
      {{.messages = video(40).audio(20).until(16001), .settings = {{"Recording/SegmentDuration", "7000"}}},
       40,
       {"state:      ended\n", "length:     0:00:16.000\n", "H.264 (avc1), 640x360, 25.00 frames/s, ", " kbit/s\n",
        "AAC (mp4a), 44100 Hz, 2 channels, ", " 3 segments\n", "fragments:  4; shortest 4.000 s, median 4.000 s, ",
        "gaps:       none\n", "protected:  no\n", "\n|=========|=========|=========|=========\n"}},
      {{.messages = video(40).until(4041) + later(40).from(24000).until(32001)},
       32,
       {"length:     0:00:32.000, of which 0:00:19.920 is missing\n", "25.00 frames/s",
        "gaps:       1, 0:00:19.920 in all\n    at 0:00:04.080: 19.920 s\n",
        "fragments:  4; shortest 0.080 s, median 4.000 s, longest 4.000 s\n",
        "\n|===!...................|===|===\n= recorded  | a fragment begins  . gap  ! gap in a part of the column "
        "(1.000 s a column)\n"}},
      {{.messages = stream().audio(20).until(8001), .stop = false},
       8,
       {"not ended: still being recorded, or interrupted", "length:     0:00:08.000\n  begin:      20",
        "\n  audio:      AAC (mp4a), ", "\n|===|===\n"}}};
  for (const auto& [plan, columns, parts] : rows) {
    const std::string text = overviewOf(MadeRecording(plan), columns);
    for (const char* part : parts) EXPECT_THAT(text, HasSubstr(part));
  }
}

TEST(Overview, SaysWhatItCanOfADamagedRecording) {
  const MadeRecording recording({.messages = av().until(16001)});
  const auto third = recording.boxesOf("Seg1.k2r").fragments.at(2).position();
  std::string segment = recording.read("Seg1.k2r");
  segment[third + 5] = '?';
  const std::tuple<const char*, std::string, std::vector<const char*>> rows[] = {
      {"Seg1.k2r",
       segment,
       {"length:     0:00:16.", "fragments:  3; ", "at 0:00:08.", "unreadable: 1 place, left out"}},
      {"Seg1.k2r", "", {"no pictures and no sound yet", "damage:     cam1Seg1.k2r", "fragments:  0\n"}},
      {".bootstrap", "no bootstrap", {"state:      unknown", "length:     0:00:16.", "damage:     "}},
      {"Seg1.k2i", "no index", {"H.264 (avc1), 640x360, nothing recorded\n", "fragments:  0\n", "ended\n"}}};
  for (const auto& [file, content, parts] : rows) {
    recording.restore();
    recording.write(file, content);
    const std::string text = overviewOf(recording, 40);
    for (const char* part : parts) EXPECT_THAT(text, HasSubstr(part)) << file;
    EXPECT_EQ(k2r({"inspect", recording.directory()}).status, 1) << file;
  }
  recording.restore();
  recording.remove(".bootstrap");
  EXPECT_THAT(overviewOf(recording, 40), HasSubstr("interrupted before its first fragment was complete"));
}

TEST(Overview, SaysWhoWritesTheRecording) {
  const host::DirectoryLock lock(sparse().directory());
  EXPECT_THAT(overviewOf(sparse(), 40), HasSubstr(fmt::format("being written by process {} (", ::getpid())));
}

TEST(Inspect, PrintsNoControlCharactersOfAFile) {
  testing::internal::CaptureStdout();
  host::printText("a\x1b[2Jb\n");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "a\\x1b[2Jb\n");
}

TEST(ScriptJson, HasAFormForEachKindOfValue) {
  const std::tuple<const char*, NQDataValue> rows[] = {
      {"29.97", NQDataValue::number(29.97)},
      {R"("NaN")", NQDataValue::number(std::numeric_limits<double>::quiet_NaN())},
      {R"("-Infinity")", NQDataValue::number(-std::numeric_limits<double>::infinity())},
      {"9007199254740993", NQDataValue::int64(9007199254740993)},
      {R"("a \"b\"")", NQDataValue::string("a \"b\"")},
      {"null", NQDataValue::null()},
      {R"({"milliseconds":1000,"zone":-60})", NQDataValue::date(1000, -60)},
      {R"({"bytes":"01a0ff"})", readScript(fromHex("20 00000003 01a0ff"))[0]},
      {R"({"b":true,"a":"x","b":false})",
       readScript(fromHex("03 0001 62 0101 0001 61 02 0001 78 0001 62 0100 000009"))[0]},
      {"[1,[2]]", readScript(fromHex("0a 00000002 00 3ff0000000000000 0a 00000001 00 4000000000000000"))[0]}};
  for (const auto& [json, value] : rows) EXPECT_EQ(host::scriptJson(value).dump(), json);
}

TEST(ScriptJson, EndsWhereAnArrayIsInsideItself) {
  const auto object = readScript(fromHex("03 0001 61 00 3ff0000000000000 0004 73656c66 07 0000 000009"))[0];
  EXPECT_EQ(host::scriptJson(object).dump(), R"({"a":1,"self":"..."})");
}

// A text or bytes of 10,000 bytes, and 5000 references to it.
TEST(DescribeScript, IsBoundedWhereTextsAreShared) {
  for (const auto& [marker, reference] : {std::pair("06", "0600"), std::pair("0c", "0c02")}) {
    std::string payload = std::string("02 0001 61 11 09 ce13 01") + marker + "819c21" + std::string(20000, '6');
    for (int i = 0; i < 5000; ++i) payload += reference;
    EXPECT_LT(host::describeScript(fromHex(payload)).dump(2).size(), 500000U);
  }
}

TEST(DescribeScript, TellsNameAndValuesOrRefuses) {
  EXPECT_EQ(host::describeScript(fromHex("02 0001 61  00 3ff0000000000000  03 0001 62 01 01 000009")).dump(),
            R"({"name":"a","values":[1,{"b":true}]})");
  EXPECT_EQ(host::describeScript(fromHex("00 02 0001 61  11 04 05"), qvs::MessageKind::kDataEx).dump(),
            R"({"name":"a","values":[5]})");
  for (const char* image : {"", "02", "02 0005 61", "00 3ff0000000000000", "02 0001 61 03 0001 62 01", "63"})
    EXPECT_THROW(host::describeScript(fromHex(image)), host::Malformed) << image;
}

}  // namespace
