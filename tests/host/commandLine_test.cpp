#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <iterator>
#include <thread>

#include "host/optionValues.h"
#include "host/record/RealTimePacer.h"
#include "tests/host/hostTools.h"

namespace {

namespace fs = std::filesystem;
using namespace test;
using testing::HasSubstr;

/// Runs `k2r record` in a directory of its own, in which `in.mtg` is a stream of two fragments.
class RecordCommandTest : public InDirectory {
 protected:
  RecordCommandTest() { writeTagStream(av().until(8001), "in.mtg"); }

  /// `answer_` then has what was printed.
  int record(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "record");
    answer_ = k2r(arguments);
    return answer_.status;
  }
  /// The same with a file as standard input.
  int recordFrom(int file, const std::vector<std::string>& arguments) {
    const int saved = ::dup(STDIN_FILENO);
    ::dup2(file, STDIN_FILENO);
    const int status = record(arguments);
    ::dup2(saved, STDIN_FILENO);
    ::close(saved);
    return status;
  }
  std::uint64_t fragmentsIn(const std::string& name) const { return host::verifyRecording(name).fragments; }

  CommandAnswer answer_;
};

TEST_F(RecordCommandTest, HandsTheModuleEachTagOfAStream) {
  EXPECT_EQ(record({"in.mtg", "--out", "rec/cam1/", "--tail", "drop", "--quiet"}), 0);
  EXPECT_EQ(answer_.errors, "");
  expectSameFiles(MadeRecording({.messages = av().until(8001)}), directory_.file("rec/cam1"));
}

TEST_F(RecordCommandTest, ReadsStandardInputAndMayLeaveOutTheStop) {
  const int file = ::open("in.mtg", O_RDONLY);
  EXPECT_EQ(recordFrom(file, {"-", "--out", "cam1", "--no-stop"}), 0);
  ::close(file);
  expectSameFiles(MadeRecording({.messages = av().until(8001), .stop = false}), directory_.file("cam1"));
}

TEST_F(RecordCommandTest, TellsOfRefusedMessages) {
  const std::vector<StreamMessage> aggregate{{22, 0, std::vector<std::byte>(1)}};
  const std::vector<StreamMessage> unknownCodec{{8, 8000, std::vector<std::byte>(9, std::byte{0xFF})}};
  writeTagStream(aggregate + av().until(8001) + unknownCodec, directory_.file("in.mtg"));
  EXPECT_EQ(record({"in.mtg", "--out", "cam1", "--tail", "drop"}), 3);
  EXPECT_THAT(answer_.errors,
              testing::MatchesRegex("error: Invalid message type.\nerror: [^\n]+\nerror: 2 of " +
                                    std::to_string(av().until(8001).size() - 1) +
                                    " messages were refused; the first reason: Invalid message type.\nerror: received "
                                    "[^\n]+ lost 0.000 s, 2 messages, 10 bytes: Invalid message type.\n"));
  expectSameFiles(MadeRecording({.messages = av().until(8001)}), directory_.file("cam1"));
}

TEST_F(RecordCommandTest, AnswersByStatus) {
  fs::create_directory("full");
  writeWholeFile("full/notes.txt", "x");
  writeWholeFile("noise", std::string(5000, 'x'));
  writeWholeFile("bad.conf", "Recording/Nonsense = 1\n");
  const std::tuple<std::vector<std::string>, int, const char*> rows[] = {
      {{"missing.mtg", "--out", "b"}, 1, "error: cannot open 'missing.mtg': No such file or directory"},
      {{"in.mtg", "--out", "full"}, 1, "full' is not empty"},
      {{"in.mtg", "--out", "full", "--overwrite"}, 1, "it contains 'notes.txt'"},
      {{"in.mtg", "--out", "noise"}, 1, "noise' is not a directory"},
      {{"in.mtg", "--out", "b", "--config", "bad.conf"}, 2, "bad.conf:1: unknown setting"},
      {{"in.mtg", "--out", "b", "--input-option", "a=b"}, 2, "--input-option"},
      {{"noise", "--out", "b", "--keep-times"}, 2, "--keep-times is for tag streams"},
      {{"noise", "--out", "b", "--input-option", "a"}, 2, "not of the form KEY=VALUE"},
      {{"in.mtg", "--out", "/"}, 2, "root directory"}};
  for (const auto& [arguments, status, error] : rows) {
    EXPECT_EQ(record(arguments), status) << error;
    EXPECT_THAT(answer_.errors, HasSubstr(error));
  }
  EXPECT_FALSE(fs::exists("b"));
  EXPECT_EQ(readWholeFile("full/notes.txt"), "x");
}

TEST_F(RecordCommandTest, SettingsOfTheCommandLineAreStronger) {
  writeWholeFile("a.conf", "Recording/FragmentDuration = 4000\n");
  EXPECT_EQ(record({"--set", "Recording/FragmentDuration=1000", "--set", "Recording/FragmentDuration=2000", "in.mtg",
                    "--out", "a", "--config", "a.conf"}),
            0);
  EXPECT_EQ(fragmentsIn("a"), 5U);
}

TEST_F(RecordCommandTest, AppendsWhatGoesOnBehindTheEnd) {
  writeTagStream(stream().keyFramesEvery(2000).from(5000).withoutHeaders().until(9001), "later.mtg");
  EXPECT_EQ(record({"in.mtg", "--out", "cam1"}), 0);
  EXPECT_EQ(record({"later.mtg", "--out", "cam1"}), 1) << "neither appended nor overwritten";
  EXPECT_EQ(record({"later.mtg", "--out", "cam1", "--append"}), 0);
  EXPECT_EQ(fragmentsIn("cam1"), 5U);
  EXPECT_EQ(record({"in.mtg", "--out", "other", "--append"}), 0) << "there is none";
  EXPECT_EQ(record({"in.mtg", "--out", "cam1", "--append"}), 0);
  EXPECT_EQ(fragmentsIn("cam1"), 8U);
  const auto before = readAllFiles("cam1");
  EXPECT_EQ(record({"in.mtg", "--out", "cam1", "--append", "--keep-times"}), 1);
  EXPECT_THAT(answer_.errors, HasSubstr("error: the input begins at 0 ms, but the recording continues from 32000 ms"));
  EXPECT_EQ(readAllFiles("cam1"), before);
  writeTagStream(stream().keyFramesEvery(2000).from(36000).withoutHeaders().until(40001), "later.mtg");
  EXPECT_EQ(record({"later.mtg", "--out", "cam1", "--append", "--keep-times"}), 0);
  EXPECT_EQ(fragmentsIn("cam1"), 10U);
  writeTagStream(framesAt("0k 4000 8000 8100k"), "held.mtg");
  EXPECT_EQ(record({"held.mtg", "--out", "held", "--tail=drop"}), 0);
  EXPECT_EQ(record({"in.mtg", "--out", "held", "--append", "--keep-times"}), 1);
  EXPECT_THAT(answer_.errors, HasSubstr("continues from 12000 ms")) << "a picture is stored at 8000 ms";
}

TEST_F(RecordCommandTest, TellsWhatIsLostAndWhy) {
  using Messages = std::vector<StreamMessage>;
  const auto sound = [](std::uint32_t size = 80) { return stream().audio(500).audioBytes(size); };
  const auto inter = [](std::uint32_t until) {
    Messages frames{metadata(0), avcSequenceHeader(0)};
    for (std::uint32_t time = 0; time < until; time += 500) frames.push_back(avcFrame(time, false, 100, time));
    return frames;
  };
  const Messages header{avcSequenceHeader(0)}, key{avcFrame(1200, true, 50, 1)}, lateKey{avcFrame(9000, true, 50, 1)},
      pcm{{8, 10, std::vector<std::byte>(4, std::byte{0x3F})}};
  // Messages and options; exit status, messages lost, and a line of the log.
  const std::tuple<Messages, const char*, int, int, const char*> rows[] = {
      {inter(11000), "", 6, 22, "warning: no key frame for 10 s, at 10500 ms"},
      {sound().until(1001) + header + key, "", 6, 3, "first key frame is left out: 3 messages, 1200 ms"},
      {sound().until(8001) + header + lateKey, "", 3, 2, "Track not found."},
      {sound().until(1) + header + sound().from(500).withoutHeaders().until(8001) + lateKey, "", 6, 1,
       "warning: video that began after the recording had been bound to its sound is left out, from 9000 ms on"},
      {inter(1) + pcm + key, "", 6, 2, "of message that is not stored"},
      {stream().keyFramesEvery(4000).framesEvery(100).frameBytes(1000).until(8001), "--max-queue=20K", 6, 46,
       "warning: the recording continues at 4000 ms; 23 messages (0.0 MB) were dropped"},
      {sound(1000).until(8001), "--max-queue=4K", 6, 10, "more than the queue limit allows waited for a fragment"},
      {inter(30000), "--max-queue=1K", 6, 60, "as many as the queue limit allows"},
      {{}, "", 6, 0, "nothing came that could be recorded"}};
  for (const auto& [messages, option, status, lost, line] : rows) {
    SCOPED_TRACE(line);
    writeTagStream(messages, "lossy.mtg");
    fs::remove_all("lossy");
    std::vector<std::string> arguments{"lossy.mtg", "--out", "lossy", "--json"};
    if (*option != '\0') arguments.emplace_back(option);
    EXPECT_EQ(record(arguments), status) << answer_.errors;
    EXPECT_THAT(answer_.errors, HasSubstr(line));
    const auto document = host::Json::parse(answer_.output);
    EXPECT_EQ(document["exitStatus"], status);
    EXPECT_EQ(document["lost"]["messages"], lost) << answer_.output << answer_.errors;
    if (fs::exists("lossy") && !fs::is_empty("lossy")) expectWhole("lossy");
  }
}

TEST_F(RecordCommandTest, SignalsFinishTheRecording) {
  for (const int signal : {SIGINT, SIGTERM}) {
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    const std::string content = readWholeFile("in.mtg");
    ASSERT_EQ(::write(ends[1], content.data(), content.size()), static_cast<ssize_t>(content.size()));
    fs::remove_all("cam1");
    std::thread user([&] {
      // Once a fragment is complete the input has little more, and waits, or is about to.
      while (!fs::exists("cam1/cam1.bootstrap")) std::this_thread::yield();
      ::kill(::getpid(), signal);
    });
    EXPECT_EQ(recordFrom(ends[0], {"-", "--out", "cam1"}), 0);
    user.join();
    const auto verification = expectWhole("cam1");
    EXPECT_TRUE(verification.stopped) << textReport(verification);
    EXPECT_GE(verification.fragments, 1U);
    ::close(ends[0]);
    ::close(ends[1]);
  }
}

TEST_F(RecordCommandTest, ShowsProgressAndNativePaths) {
  writeTagStream(av().until(4001) + av().from(24000).withoutHeaders().until(28001), "gap.mtg");
  EXPECT_EQ(record({"gap.mtg", "--out", "cam1", "--progress"}), 0);
  EXPECT_THAT(answer_.errors, HasSubstr("received 00:00:28.000"));
  EXPECT_THAT(answer_.errors, HasSubstr(" in stream " + directory_.file("cam1/cam1") + "\n"));
  fs::resize_file("cam1/cam1.bootstrap", 40);
  EXPECT_EQ(record({"gap.mtg", "--out", "cam1", "--append", "--force"}), 1);
  EXPECT_THAT(answer_.errors, HasSubstr("error: Failed to read file '" + directory_.file("cam1/cam1.bootstrap'")));
  EXPECT_THAT(answer_.errors, HasSubstr("cannot open the recording '" + directory_.file("cam1'")));
}

TEST_F(RecordCommandTest, SaysWhyAModuleDoesNotLoad) {
  const std::string module = directory_.file("none.so");
  ::setenv("K2R_MODULE", module.c_str(), 1);
  EXPECT_EQ(record({"in.mtg", "--out", "cam1"}), 1);
  EXPECT_THAT(answer_.errors, HasSubstr("error: cannot load the module: " + module));
  writeWholeFile(module, "no library");
  EXPECT_EQ(record({"in.mtg", "--out", "cam1"}), 1);
  ::unsetenv("K2R_MODULE");
  EXPECT_FALSE(fs::exists("cam1"));
}

std::vector<std::string> wordsOf(const std::string& line) {
  std::istringstream words(line);
  return {std::istream_iterator<std::string>(words), {}};
}

TEST(CommandLine, SaysInPlainWordsWhatIsWrong) {
  const std::pair<const char*, const char*> rows[] = {
      {"", "a command is needed; k2r --help lists them"},
      {"recrd in", "k2r: unknown command 'recrd'; did you mean record?"},
      {"record --ouput=b", "k2r record: unknown option --ouput; did you mean --out?"},
      {"record", "k2r record: INPUT is missing"},
      {"record in", "k2r record: --out DIR is missing"},
      {"record in --out", "k2r record: --out needs a value: --out DIR"},
      {"record in --out b --out c", "--out is given twice"},
      {"record in more --out b", "'more' is one argument too many"},
      {"record in --out b --append --overwrite", "--overwrite and --append exclude each other"},
      {"record in --out b --force", "--force works with --append only"},
      {"record in --out b --append=yes", "--append takes no value"},
      {"record in --out b --durability none", "--durability: 'none' is not one of device, process"},
      {"record in --out b --max-queue 12Q", "--max-queue: '12Q' is no size"},
      {"record in --out b --max-queue 18014398509481984K", "is no size"},
      {"export a --out b.mtg --from 0:60", "k2r export: --from: '0:60' is no time; expected seconds or [[H:]M:]S"},
      {"export a --out b.mtg --from 0:05 --to 4.5", "--to, 0:00:04.500, is not after --from, 0:00:05.000"}};
  for (const auto& [line, error] : rows) {
    const auto answer = k2r(wordsOf(line));
    EXPECT_EQ(answer.status, 2) << line;
    EXPECT_THAT(answer.errors, testing::AllOf(testing::StartsWith("error: "), HasSubstr(error)));
    EXPECT_EQ(answer.output, "") << line;
  }
}

TEST(CommandLine, HelpFitsTheTerminalAndHasTheExitStatuses) {
  for (const char* const command :
       {"record", "inspect", "verify", "repair", "export", "playlist", "keys new", "unprotect"}) {
    const auto answer = k2r(wordsOf(std::string(command) + " --help"));
    EXPECT_EQ(answer.status, 0);
    EXPECT_THAT(answer.output, HasSubstr("\nExit status:\n  0  "));
    std::istringstream lines(answer.output);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80U) << line;
  }
  EXPECT_THAT(k2r({"--version"}).output,
              testing::MatchesRegex("k2r [0-9.]+\n(libav[a-z]+ [0-9.]+\n)+OpenSSL [^\n]+\nfmt [0-9.]+\n"
                                    "nlohmann-json [0-9.]+\nBoost [0-9.]+\n"));
}

TEST(CommandLine, TakesTimesAsSecondsOrByColons) {
  std::istringstream rows("0=0 0.29=290 75.5=75500 1:15.5=75500 0:01:15.500=75500 90:00=5400000 100:59:59=363599000");
  for (std::string row; rows >> row;) {
    const std::size_t equals = row.find('=');
    EXPECT_EQ(host::parseTime(row.substr(0, equals)).count(), std::stoll(row.substr(equals + 1))) << row;
  }
  EXPECT_EQ(host::parseTime("1000000000").count(), 1000000000000);
  for (const std::string& text :
       wordsOf("1:60 1:60:00 -1 +1 1e3 1. .5 1.2345 1.+50 0x10 1:2:3:4 :30 1: 1::2 1.5:00 nan 1000000001 "
               "18446744073709551616 307445734561825861:00 5124095576030432:00:00")) {
    EXPECT_THROW(host::parseTime(text), host::UsageError) << text;
  }
}

TEST(RealTimePacer, GoesByTheTimestamps) {
  host::StopSignal stop;
  host::RealTimePacer pacer(stop);
  const auto start = std::chrono::steady_clock::now();
  for (const std::uint32_t time : {0xFFFFFFF0u, 0xFFFFFFE0u, 0x10u, 0x20u}) pacer.wait(time);
  const auto elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_GE(elapsed, std::chrono::milliseconds(48)) << "over the wrap of the 32 bits";
  std::thread other([&] { stop.request(); });
  pacer.wait(1000000);  // Comes back at the request.
  other.join();
}

TEST(Log, WritesALineAnEntryAndKeepsTheStatusLineBelow) {
  LogCapture capture;
  capture.log().warning("a\nb\x1b[2J\r\n");
  capture.log().setStatusLine("10 s");
  capture.log().error("x");
  capture.log().setStatusLine("11 s");
  EXPECT_EQ(capture.text(), "warning: a b [2J \n\r\x1b[K10 s\r\x1b[Kerror: x\n10 s\r\x1b[K11 s");
}

TEST(Log, CountsALineThatComesAgainAtOnceOrInACycle) {
  LogCapture capture;
  for (int i = 0; i < 13; ++i) capture.log().error("x");
  capture.log().warning("x");
  for (int i = 0; i < 22; ++i) capture.log().error(i % 2 == 0 ? "a" : "b");
  EXPECT_EQ(capture.text(),
            "error: x\n(the same 10 times more)\n(the same 12 times more)\nwarning: x\nerror: a\nerror: b\n"
            "(10 times more: error: a)\n(10 times more: error: b)\n");
  capture.log().forget();
  capture.log().error("b");
  EXPECT_THAT(capture.text(), testing::EndsWith("error: b)\nerror: b\n"));
  capture.now += std::chrono::minutes(9);
  capture.log().error("b");
  capture.now += std::chrono::minutes(11);
  capture.log().error("b");
  EXPECT_THAT(capture.text(), testing::EndsWith("error: b)\nerror: b\n(the same once more)\nerror: b\n"));
}

}  // namespace
