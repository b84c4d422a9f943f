// What `k2r inspect` prints.

#include <gtest/gtest.h>

#include "host/commands.h"
#include "host/inspect/describeFile.h"
#include "host/inspect/textTree.h"
#include "tests/host/RecordingMaker.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "tests/support/tagFile.h"

namespace {

using namespace test;
using host::describePath;
using host::ExitStatus;
using host::InspectErrors;
using host::Json;

Json describe(const std::string& path) {
  InspectErrors errors;
  const Json document = describePath(path, errors);
  EXPECT_TRUE(errors.empty()) << errors.front();
  return document;
}

const MadeRecording& sparse() {
  static const MadeRecording recording(
      {.messages = stream().keyFramesEvery(10000).framesEvery(500).audio(700).until(30001)});
  return recording;
}

TEST(Inspect, TellsAllOfABootstrap) {
  const Json document = describe(sparse().path(".bootstrap").string());
  EXPECT_EQ(document["kind"], "bootstrap");
  EXPECT_EQ(document["bootstrapVersion"], 6);
  EXPECT_EQ(document["live"], true);
  EXPECT_EQ(document["timescale"], 1000);
  EXPECT_EQ(document["currentMediaTime"], 24000);
  EXPECT_EQ(document["segmentRunTables"][0]["segmentRuns"].dump(), R"([{"firstSegment":1,"fragmentsPerSegment":7}])");
  const Json& runs = document["fragmentRunTables"][0]["fragmentRuns"];
  ASSERT_EQ(runs.size(), 7U);
  EXPECT_EQ(runs[0]["meaning"], "fragments from 1 on");
  EXPECT_EQ(runs[1].dump(), R"({"firstFragment":2,"firstTimestamp":4000,"duration":0,"discontinuity":1,)"
                            R"("meaning":"numbers without a fragment of their own"})");
  EXPECT_EQ(runs[6]["meaning"], "end of the presentation");
}

TEST(Inspect, TellsTheEntriesOfAnIndex) {
  const Json document = describe(sparse().path("Seg1.k2i").string());
  EXPECT_EQ(document["kind"], "index");
  const Json& entries = document["globalEntries"];
  ASSERT_EQ(entries.size(), 7U);
  EXPECT_EQ(entries[0]["meaning"], "fragment");
  EXPECT_EQ(entries[1]["meaning"], "no fragment of its own");
  EXPECT_EQ(entries[1]["position"], 0xFFFFFFFFFFFFFFFFU);
  EXPECT_EQ(entries[2]["time"], 10000);
}

TEST(Inspect, TellsTracksAndFragmentsOfASegment) {
  const Json document = describe(sparse().path("Seg1.k2r").string());
  EXPECT_EQ(document["kind"], "segment");
  const Json& tracks = document["tracks"];
  ASSERT_EQ(tracks.size(), 3U);
  EXPECT_EQ(tracks[0]["format"], "avc1");
  EXPECT_EQ(tracks[1]["sampleRate"], 44100);
  EXPECT_EQ(tracks[1]["channels"], 2);
  EXPECT_EQ(tracks[2]["handler"], "hint");
  const Json index = describe(sparse().path("Seg1.k2i").string());
  const Json& fragments = document["fragments"];
  ASSERT_EQ(fragments.size(), 3U);
  EXPECT_EQ(fragments[0]["position"], index["globalEntries"][0]["position"]);
  EXPECT_EQ(fragments[1]["position"], index["globalEntries"][2]["position"]);
  EXPECT_EQ(fragments[0]["sequenceNumber"], 1);
  EXPECT_EQ(fragments[0]["firstTagTime"], 0);
  EXPECT_EQ(fragments[0]["lastTagTime"], 9800);
  EXPECT_EQ(fragments[0]["videoSamples"], 20);
  EXPECT_EQ(fragments[0]["audioSamples"], 15);
  EXPECT_EQ(fragments[0]["randomAccess"].size(), 1U);
  EXPECT_EQ(document["behindFragments"][0]["type"], "mfra");
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

/// The stream's metadata, and once more within the stream, which makes it a sample.
const MadeRecording& described() {
  static const MadeRecording recording([] {
    auto messages = stream().keyFramesEvery(2000).framesEvery(500).until(9001);
    messages.insert(messages.begin() + 4, metadata(messages[3].time));
    messages.insert(messages.begin() + 5, {18, messages[3].time, {std::byte{2}, std::byte{9}}});
    return RecordingPlan{.messages = std::move(messages)};
  }());
  return recording;
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

TEST(Inspect, TellsTheDescriptionAsValues) {
  const Json values = describe(described().path(".meta").string())["values"];
  ASSERT_EQ(values.size(), 1U);
  EXPECT_EQ(values[0]["width"], 640);
  EXPECT_EQ(values[0]["videocodecid"], "H264");
  EXPECT_EQ(values[0]["trackinfo"][0]["language"], "eng");
}

TEST(Inspect, TellsTheScriptDataOfASegment) {
  const Json tags = describe(described().path("Seg1.k2r").string())["scriptData"];
  ASSERT_EQ(tags.size(), 2U);
  EXPECT_EQ(tags[0]["name"], "onMetaData");
  EXPECT_EQ(tags[0]["values"][0]["height"], 360);
  EXPECT_EQ(tags[1]["unreadable"], "malformed script data");
}

TEST(Inspect, PrintsScriptDataUnderItsOwnNames) {
  const Json document = {{"name", "onCue"}, {"values", {{{"canSeek", true}, {"two words", {1, 2}}}}}};
  EXPECT_EQ(host::textTree(document), "name: onCue\nvalues:\n  canSeek: true\n  \"two words\": [1,2]\n");
}

TEST(Inspect, NamesFileAndPlaceOfWhatCannotBeRead) {
  const MadeRecording recording({.messages = stream().keyFramesEvery(2000).framesEvery(500).until(12001)});
  const auto errorOf = [&](const std::string& suffix) {
    InspectErrors errors;
    describePath(recording.path(suffix).string(), errors);
    return errors.empty() ? std::string("none") : errors.front();
  };
  const std::string segment = recording.read("Seg1.k2r");
  recording.write("Seg1.k2r", segment.substr(0, segment.size() - 1));
  EXPECT_NE(errorOf("Seg1.k2r").find("cam1Seg1.k2r': offset "), std::string::npos) << errorOf("Seg1.k2r");
  recording.write("Seg1.k2i", recording.read("Seg1.k2i").substr(0, 100));
  EXPECT_NE(errorOf("Seg1.k2i").find("cam1Seg1.k2i': offset 100: "), std::string::npos) << errorOf("Seg1.k2i");
  recording.write(".control", "abc");
  EXPECT_NE(errorOf(".control").find("cam1.control': offset 3: "), std::string::npos) << errorOf(".control");
  recording.write(".bootstrap", "nothing at all");
  EXPECT_NE(errorOf(".bootstrap").find("cam1.bootstrap': offset 0: "), std::string::npos) << errorOf(".bootstrap");
}

TEST(Inspect, ShowsWhatCanBeReadOfACutSegment) {
  const MadeRecording recording({.messages = stream().keyFramesEvery(2000).framesEvery(500).until(12001)});
  recording.write("Seg1.k2r", recording.read("Seg1.k2r").substr(0, 9000));
  InspectErrors errors;
  const Json document = describePath(recording.path("Seg1.k2r").string(), errors);
  EXPECT_EQ(errors.size(), 1U);
  EXPECT_GE(document["fragments"].size(), 1U);
  EXPECT_TRUE(document.contains("error"));
}

struct Run {
  ExitStatus status;
  std::string output;
};

Run run(const std::vector<std::string>& arguments) {
  std::vector<const char*> argv = {"k2r"};
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  const ExitStatus status = host::runCommandLine(static_cast<int>(argv.size()), argv.data());
  ::testing::internal::GetCapturedStderr();
  return {status, ::testing::internal::GetCapturedStdout()};
}

TEST(InspectAndVerify, AnswerByTheirExitStatus) {
  const std::string directory = sparse().directory();
  const std::string missing = directory + "/missing";
  const struct {
    std::vector<std::string> arguments;
    ExitStatus status;
  } rows[] = {{{"inspect", directory}, ExitStatus::kOk},
              {{"inspect", directory + "/cam1.bootstrap", directory + "/cam1.control"}, ExitStatus::kOk},
              {{"inspect", missing}, ExitStatus::kFailed},
              {{"inspect"}, ExitStatus::kBadUsage},
              {{"inspect", directory, "--xml"}, ExitStatus::kBadUsage},
              {{"verify", directory}, ExitStatus::kOk},
              {{"verify", missing}, ExitStatus::kFailed},
              {{"verify"}, ExitStatus::kBadUsage},
              {{"verify", directory, directory}, ExitStatus::kBadUsage}};
  for (const auto& row : rows) {
    EXPECT_EQ(run(row.arguments).status, row.status) << ::testing::PrintToString(row.arguments);
  }
}

TEST(InspectAndVerify, PrintOneDocument) {
  const std::string directory = sparse().directory();
  const Json inspected = Json::parse(run({"inspect", directory, directory + "/cam1.control", "--json"}).output);
  ASSERT_EQ(inspected["files"].size(), 2U);
  EXPECT_EQ(inspected["files"][0]["kind"], "recording");
  EXPECT_EQ(inspected["files"][0]["files"].size(), 5U);
  EXPECT_EQ(inspected["files"][1]["baseTime"], 0);
  const Json verified = Json::parse(run({"verify", directory, "--json"}).output);
  EXPECT_EQ(verified["status"], "whole");
}

TEST(Inspect, PrintsTextForPeople) {
  const std::string text = host::textTree(Json::array({describe(sparse().path("Seg1.k2i").string())}));
  EXPECT_NE(text.find("long ids: yes\n"), std::string::npos) << text;
  EXPECT_NE(text.find("  fragment  segment  time   position"), std::string::npos) << text;
  EXPECT_NE(text.find("no fragment of its own\n"), std::string::npos) << text;
}

TEST(Inspect, PrintsNoControlCharactersOfAFile) {
  ::testing::internal::CaptureStdout();
  host::printText("a\x1b[2Jb\n");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "a\\x1b[2Jb\n");
}

}  // namespace
