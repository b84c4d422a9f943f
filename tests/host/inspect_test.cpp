// What `k2r inspect` prints.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/inspect/describeFile.h"
#include "host/inspect/textTree.h"
#include "tests/host/RecordingMaker.h"
#include "tests/host/commandRun.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "tests/support/tagFile.h"

namespace {

using namespace test;
using host::describePath;
using host::InspectErrors;
using host::Json;

Json describe(const std::string& path) {
  InspectErrors errors;
  const Json document = describePath(path, errors);
  EXPECT_TRUE(errors.empty()) << errors.front();
  return document;
}

const MadeRecording& sparse() {
  static const MadeRecording recording({.messages = av(10000).until(30001)});
  return recording;
}

/// Values of what is told of a file, by their places; null where there is nothing.
void expectTold(const MadeRecording& recording, const std::string& suffix,
                std::initializer_list<std::pair<const char*, Json>> values) {
  const Json document = describe(recording.path(suffix).string());
  for (const auto& [place, value] : values) {
    const Json::json_pointer pointer(place);
    EXPECT_EQ(document.contains(pointer) ? document.at(pointer) : Json(), value) << suffix << ' ' << place;
  }
}

TEST(Inspect, TellsWhatIsInTheFilesOfARecording) {
  expectTold(sparse(), ".bootstrap",
             {{"/kind", "bootstrap"},
              {"/bootstrapVersion", 6},
              {"/live", true},
              {"/timescale", 1000},
              {"/currentMediaTime", 24000},
              {"/segmentRunTables/0/segmentRuns", {{{"firstSegment", 1}, {"fragmentsPerSegment", 7}}}},
              {"/fragmentRunTables/0/fragmentRuns/0/meaning", "fragments from 1 on"},
              {"/fragmentRunTables/0/fragmentRuns/1",
               {{"firstFragment", 2},
                {"firstTimestamp", 4000},
                {"duration", 0},
                {"discontinuity", 1},
                {"meaning", "numbers without a fragment of their own"}}},
              {"/fragmentRunTables/0/fragmentRuns/6/meaning", "end of the presentation"},
              {"/fragmentRunTables/0/fragmentRuns/7", nullptr}});
  expectTold(sparse(), "Seg1.k2i",
             {{"/kind", "index"},
              {"/globalEntries/0/meaning", "fragment"},
              {"/globalEntries/1/meaning", "no fragment of its own"},
              {"/globalEntries/1/position", 0xFFFFFFFFFFFFFFFFU},
              {"/globalEntries/2/time", 10000},
              {"/globalEntries/6/fragment", 7},
              {"/globalEntries/7", nullptr}});
  const Json index = describe(sparse().path("Seg1.k2i").string());
  expectTold(sparse(), "Seg1.k2r",
             {{"/kind", "segment"},
              {"/tracks/0/format", "avc1"},
              {"/tracks/1/sampleRate", 44100},
              {"/tracks/1/channels", 2},
              {"/tracks/2/handler", "hint"},
              {"/tracks/3", nullptr},
              {"/fragments/0/position", index["globalEntries"][0]["position"]},
              {"/fragments/1/position", index["globalEntries"][2]["position"]},
              {"/fragments/0/sequenceNumber", 1},
              {"/fragments/0/firstTagTime", 0},
              {"/fragments/0/lastTagTime", 9800},
              {"/fragments/0/videoSamples", 20},
              {"/fragments/0/audioSamples", 15},
              {"/fragments/0/randomAccess/1", nullptr},
              {"/fragments/3", nullptr},
              {"/behindFragments/0/type", "mfra"}});
}

TEST(Inspect, TellsDescriptionAndScriptDataAsValues) {
  // Script data within the stream is a sample; of some nothing can be made.
  auto messages = stream().keyFramesEvery(2000).framesEvery(500).until(9001);
  messages.insert(messages.begin() + 4, metadata(messages[3].time));
  messages.insert(messages.begin() + 5, {18, messages[3].time, {std::byte{2}, std::byte{9}}});
  const MadeRecording recording({.messages = std::move(messages)});
  expectTold(recording, ".meta",
             {{"/values/0/width", 640},
              {"/values/0/videocodecid", "H264"},
              {"/values/0/trackinfo/0/language", "eng"},
              {"/values/1", nullptr}});
  expectTold(recording, "Seg1.k2r",
             {{"/scriptData/0/name", "onMetaData"},
              {"/scriptData/0/values/0/height", 360},
              {"/scriptData/1/unreadable", "malformed script data"},
              {"/scriptData/2", nullptr}});
}

TEST(Inspect, TellsAFileByItsContent) {
  TempDirectory directory;
  const auto file = directory.path() / "anything";
  writeWholeFile(file, sparse().read(".bootstrap"));
  EXPECT_EQ(describe(file.string())["kind"], "bootstrap");
  writeWholeFile(file, std::string("\x01\x02\x03\x04", 4));
  EXPECT_EQ(describe(file.string())["baseTime"], 0x01020304);
  EXPECT_EQ(describe(sparse().path(".meta").string())["name"], "onMetaData");
}

TEST(Inspect, TellsWhatThePackagerMakesOfATagStream) {
  const TempDirectory directory;
  const std::string path = directory.file("in.mtg");
  const auto image = tagFile(stream().keyFramesEvery(2000).audio(500).until(4000));
  writeWholeFile(path, textOf(image));
  const Json document = describe(path);
  EXPECT_EQ(document["kind"], "tagStream");
  EXPECT_EQ(document["size"], image.size());
  EXPECT_EQ(document["duration"], 3960);
  ASSERT_EQ(document["tracks"].size(), 2U);
  EXPECT_EQ(document["tracks"][0].dump(),
            R"({"handler":"vide","format":"avc1","duration":3960,"timescale":1000,"language":"eng","width":640,)"
            R"("height":360,"sampleRate":null,"channels":null,"bitsPerSample":null,"samples":101,"keyFrames":3,)"
            R"("emptySamples":0,"sampleBytes":29542,"firstTime":0,"lastTime":3960})");
  EXPECT_EQ(document["tracks"][1].dump(),
            R"({"handler":"soun","format":"mp4a","duration":3960,"timescale":1000,"language":"eng","width":null,)"
            R"("height":null,"sampleRate":44000,"channels":2,"bitsPerSample":16,"samples":9,"emptySamples":0,)"
            R"("sampleBytes":626,"firstTime":0,"lastTime":3500})");
}

TEST(Inspect, PrintsScriptDataUnderItsOwnNames) {
  const Json document = {{"name", "onCue"}, {"values", {{{"canSeek", true}, {"two words", {1, 2}}}}}};
  EXPECT_EQ(host::textTree(document), "name: onCue\nvalues:\n  canSeek: true\n  \"two words\": [1,2]\n");
}

TEST(Inspect, NamesFileAndPlaceOfWhatCannotBeRead) {
  const MadeRecording recording({.messages = stream().keyFramesEvery(2000).framesEvery(500).until(12001)});
  const std::string segment = recording.read("Seg1.k2r");
  const struct {
    const char* suffix;
    std::string content, error;
  } rows[] = {{"Seg1.k2r", segment.substr(0, segment.size() - 1), "cam1Seg1.k2r': offset "},
              {"Seg1.k2i", recording.read("Seg1.k2i").substr(0, 100), "cam1Seg1.k2i': offset 100: "},
              {".control", "abc", "cam1.control': offset 3: "},
              {".bootstrap", "nothing at all", "cam1.bootstrap': offset 0: "}};
  for (const auto& row : rows) {
    recording.write(row.suffix, row.content);
    InspectErrors errors;
    describePath(recording.path(row.suffix).string(), errors);
    EXPECT_THAT(errors, testing::Contains(testing::HasSubstr(row.error)));
  }
  recording.write("Seg1.k2r", segment.substr(0, 9000));
  InspectErrors errors;
  const Json document = describePath(recording.path("Seg1.k2r").string(), errors);
  EXPECT_EQ(errors.size(), 1U);
  EXPECT_GE(document["fragments"].size(), 1U) << "what can be read is shown";
  EXPECT_TRUE(document.contains("error"));
}

TEST(InspectAndVerify, AnswerByTheirExitStatus) {
  const std::string directory = sparse().directory();
  const std::string missing = directory + "/missing";
  const struct {
    std::vector<std::string> arguments;
    int status;
  } rows[] = {{{"inspect", directory}, 0},
              {{"inspect", directory + "/cam1.bootstrap", directory + "/cam1.control"}, 0},
              {{"inspect", missing}, 1},
              {{"inspect"}, 2},
              {{"inspect", directory, "--xml"}, 2},
              {{"verify", directory}, 0},
              {{"verify", missing}, 1},
              {{"verify"}, 2},
              {{"verify", directory, directory}, 2}};
  for (const auto& row : rows) {
    EXPECT_EQ(k2r(row.arguments).status, row.status) << testing::PrintToString(row.arguments);
  }
}

TEST(InspectAndVerify, PrintOneDocument) {
  const std::string directory = sparse().directory();
  const Json inspected = Json::parse(k2r({"inspect", directory, directory + "/cam1.control", "--json"}).output);
  ASSERT_EQ(inspected["files"].size(), 2U);
  EXPECT_EQ(inspected["files"][0]["kind"], "recording");
  EXPECT_EQ(inspected["files"][0]["files"].size(), 5U);
  EXPECT_EQ(inspected["files"][1]["baseTime"], 0);
  const Json verified = Json::parse(k2r({"verify", directory, "--json"}).output);
  EXPECT_EQ(verified["status"], "whole");
}

TEST(Inspect, PrintsTextForPeople) {
  EXPECT_THAT(
      k2r({"inspect", sparse().path("Seg1.k2i").string()}).output,
      testing::AllOf(testing::HasSubstr("long ids: yes\n"), testing::HasSubstr("  fragment  segment  time   position"),
                     testing::HasSubstr("no fragment of its own\n")));
}

TEST(Inspect, PrintsNoControlCharactersOfAFile) {
  testing::internal::CaptureStdout();
  host::printText("a\x1b[2Jb\n");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "a\\x1b[2Jb\n");
}

}  // namespace
