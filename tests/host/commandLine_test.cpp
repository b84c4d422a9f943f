#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "fragmentation/BootstrapInfo.h"
#include "host/commands.h"
#include "host/files/smallFiles.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "tests/support/hex.h"

namespace host {
namespace {

using testing::HasSubstr;

constexpr const char* kHeader = "4d5447 01 05 00000009 00000000";
constexpr const char* kAudio = "08 000001 000005 00 000000 af 0000000c";
constexpr const char* kAggregate = "16 000001 000006 00 000000 00 0000000c";

/// Runs `k2r record` in this process, on a module that reports what it is told.
class RecordCommandTest : public testing::Test {
 protected:
  RecordCommandTest() {
    ::setenv("K2R_MODULE", K2R_FAKE_MODULE, 1);
    ::setenv("K2R_FAKE_REPORT", directory_.file("report").c_str(), 1);
    put("in.mtg", std::string(kHeader) + kAudio);
  }
  ~RecordCommandTest() override { ::unsetenv("K2R_MODULE"); }

  void put(const std::string& name, const std::string& image) {
    const auto bytes = test::fromHex(image);
    test::writeWholeFile(directory_.file(name), {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  }
  void putRecording(const std::string& name) {
    std::filesystem::create_directories(directory_.path() / name);
    const auto image = imageOf(ruvo::k2r::BootstrapInfo());
    test::writeWholeFile(directory_.path() / name / (name + ".bootstrap"),
                         {reinterpret_cast<const char*>(image.data()), image.size()});
  }
  bool holdsRecording(const std::string& name) const {
    return std::filesystem::exists(directory_.path() / name / (name + ".bootstrap"));
  }
  /// Runs in the test's directory. `errors_` then has what went to standard error.
  int record(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), {"k2r", "record"});
    const auto old = std::filesystem::current_path();
    std::filesystem::current_path(directory_.path());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const ExitStatus status = runCommandLine(static_cast<int>(arguments.size()), arguments.data());
    errors_ = testing::internal::GetCapturedStderr();
    output_ = testing::internal::GetCapturedStdout();
    std::filesystem::current_path(old);
    return static_cast<int>(status);
  }
  std::string report() const { return test::readWholeFile(directory_.file("report")); }
  std::string opened(const std::string& name, int flags) const {
    const auto root = std::filesystem::canonical(directory_.path());
    return "open " + test::modulePath(root / name) + " " + std::to_string(flags) + "\n";
  }

  test::TempDirectory directory_;
  std::string errors_;
  std::string output_;
};

TEST_F(RecordCommandTest, RecordsATagStream) {
  EXPECT_EQ(record({"in.mtg", "--out", "rec/cam1/"}), 0);
  EXPECT_EQ(report(), opened("rec/cam1", 1) + "record 8 5 1\nstop\nclose\n");
  EXPECT_EQ(errors_, "");
}

TEST_F(RecordCommandTest, ReadsStandardInput) {
  const int saved = ::dup(STDIN_FILENO);
  const int file = ::open(directory_.file("in.mtg").c_str(), O_RDONLY);
  ::dup2(file, STDIN_FILENO);
  EXPECT_EQ(record({"-", "--out", "cam1", "--no-stop"}), 0);
  ::dup2(saved, STDIN_FILENO);
  ::close(saved);
  ::close(file);
  EXPECT_EQ(report(), opened("cam1", 1) + "record 8 5 1\nclose\n");
}

TEST_F(RecordCommandTest, TellsOfRefusedMessages) {
  put("in.mtg", std::string(kHeader) + kAggregate + kAudio + kAggregate);
  EXPECT_EQ(record({"in.mtg", "--out", "cam1"}), 3);
  EXPECT_EQ(errors_,
            "error: Invalid message type.\nerror: Invalid message type.\n"
            "error: 2 of 3 messages were refused; the first reason: Invalid message type.\n");
  EXPECT_THAT(report(), HasSubstr("stop\nclose\n")) << "finished all the same";
}

TEST_F(RecordCommandTest, AnswersByStatus) {
  std::filesystem::create_directory(directory_.path() / "full");
  test::writeWholeFile(directory_.path() / "full" / "notes.txt", "x");
  test::writeWholeFile(directory_.path() / "noise", std::string(5000, 'x'));
  test::writeWholeFile(directory_.path() / "bad.conf", "Recording/Nonsense = 1\n");
  const struct {
    std::vector<const char*> arguments;
    int status;
    const char* error;
  } rows[] = {
      {{"in.mtg", "--out", "a", "--set", "Recording/FragmentDuration=0"}, 1, "error: invalid fragment duration"},
      {{"missing.mtg", "--out", "b"}, 1, "error: cannot open 'missing.mtg': No such file or directory"},
      {{"noise", "--out", "b"}, 1, "error: cannot open 'noise': "},
      {{"in.mtg", "--out", "full"}, 1, "full' is not empty"},
      {{"in.mtg", "--out", "full", "--append"}, 1, "since it holds 'notes.txt'"},
      {{"in.mtg", "--out", "full", "--overwrite"}, 1, "since it holds 'notes.txt'"},
      {{"in.mtg", "--out", "noise"}, 1, "noise' is not a directory"},
      {{"in.mtg"}, 2, "--out is required"},
      {{"--out", "b"}, 2, "INPUT is required"},
      {{"in.mtg", "--out", "b", "--append", "--overwrite"}, 2, "excludes"},
      {{"in.mtg", "--out", "b", "--progress", "--quiet"}, 2, "excludes"},
      {{"in.mtg", "--out", "b", "--durability", "none"}, 2, "none not in {device,process}"},
      {{"in.mtg", "--out", "b", "--set", "Recording/Nonsense=1"}, 2, "unknown setting 'Recording/Nonsense'"},
      {{"in.mtg", "--out", "b", "--set", "nonsense"}, 2, "not of the form KEY=VALUE"},
      {{"in.mtg", "--out", "b", "--config", "bad.conf"}, 2, "bad.conf:1: unknown setting"},
      {{"in.mtg", "--out", "b", "--config", "missing.conf"}, 2, "missing.conf"},
      {{"in.mtg", "--out", "b", "--map", "v"}, 2, "--map"},
      {{"in.mtg", "--out", "/"}, 2, "root directory"},
      {{"in.mtg", "--out", "b", "--nonsense"}, 2, "--nonsense"}};
  for (const auto& row : rows) {
    EXPECT_EQ(record(row.arguments), row.status) << row.error;
    EXPECT_THAT(errors_, HasSubstr(row.error));
  }
  EXPECT_FALSE(std::filesystem::exists(directory_.path() / "b"));
  EXPECT_EQ(test::readWholeFile(directory_.path() / "full" / "notes.txt"), "x");
}

TEST_F(RecordCommandTest, SettingsOfTheCommandLineAreStronger) {
  test::writeWholeFile(directory_.path() / "a.conf", "Recording/FragmentDuration = 0\n");
  EXPECT_EQ(record({"in.mtg", "--out", "a", "--config", "a.conf"}), 1);
  EXPECT_EQ(record({"--set", "Recording/FragmentDuration=0", "--set", "Recording/FragmentDuration=2", "in.mtg", "--out",
                    "a", "--config", "a.conf"}),
            0);
}

TEST_F(RecordCommandTest, AppendAndOverwrite) {
  putRecording("cam1");
  EXPECT_EQ(record({"in.mtg", "--out", "cam1"}), 1);
  EXPECT_EQ(record({"in.mtg", "--out", "cam1", "--append"}), 0);
  EXPECT_THAT(report(), HasSubstr(opened("cam1", 3)));
  EXPECT_TRUE(holdsRecording("cam1"));
  EXPECT_EQ(record({"in.mtg", "--out", "cam1", "--overwrite"}), 0);
  EXPECT_THAT(report(), HasSubstr(opened("cam1", 1)));
  EXPECT_FALSE(holdsRecording("cam1"));
  EXPECT_FALSE(std::filesystem::exists(directory_.path() / "cam1.replaced"));
}

TEST_F(RecordCommandTest, OverwriteThatFailsKeepsTheOldRecording) {
  putRecording("cam1");
  EXPECT_EQ(record({"missing.mtg", "--out", "cam1", "--overwrite"}), 1);
  EXPECT_TRUE(holdsRecording("cam1"));
  EXPECT_EQ(record({"in.mtg", "--out", "cam1", "--overwrite", "--set", "Recording/FragmentDuration=0"}), 1);
  EXPECT_TRUE(holdsRecording("cam1"));
}

TEST_F(RecordCommandTest, SignalsFinishTheRecording) {
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  for (const int signal : {SIGINT, SIGTERM}) {
    const auto image = test::fromHex(std::string(kHeader) + kAudio);
    ASSERT_EQ(::write(ends[1], image.data(), image.size()), static_cast<ssize_t>(image.size()));
    const int saved = ::dup(STDIN_FILENO);
    ::dup2(ends[0], STDIN_FILENO);
    std::filesystem::remove_all(directory_.path() / "cam1");
    std::filesystem::remove(directory_.file("report"));
    std::thread user([&] {
      // Once the first message is in, the next read waits, or is about to.
      while (!std::filesystem::exists(directory_.file("report")) || report().find("record") == std::string::npos) {
        std::this_thread::yield();
      }
      ::kill(::getpid(), signal);
    });
    EXPECT_EQ(record({"-", "--out", "cam1"}), 0);
    user.join();
    ::dup2(saved, STDIN_FILENO);
    ::close(saved);
    EXPECT_EQ(report(), opened("cam1", 1) + "record 8 5 1\nstop\nclose\n");
  }
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST_F(RecordCommandTest, ShowsProgressWhereAsked) {
  EXPECT_EQ(record({"in.mtg", "--out", "cam1", "--progress"}), 0);
  EXPECT_THAT(errors_, HasSubstr("recorded 00:00:00.000"));
}

TEST_F(RecordCommandTest, HelpIsNoFailure) {
  EXPECT_EQ(record({"--help"}), 0);
  for (const char* const option : {"--out", "--append", "--overwrite", "--set", "--config", "--map", "--realtime",
                                   "--no-stop", "--durability", "--progress", "--quiet"}) {
    EXPECT_THAT(output_, HasSubstr(option));
  }
}

TEST_F(RecordCommandTest, SaysWhyAModuleDoesNotLoad) {
  ::setenv("K2R_MODULE", directory_.file("none.so").c_str(), 1);
  EXPECT_EQ(record({"in.mtg", "--out", "cam1"}), 1);
  EXPECT_THAT(errors_, HasSubstr("error: cannot load the module: " + directory_.file("none.so")));
  test::writeWholeFile(directory_.file("none.so"), "no library");
  EXPECT_EQ(record({"in.mtg", "--out", "cam1"}), 1);
  EXPECT_FALSE(std::filesystem::exists(directory_.path() / "cam1"));
}

}  // namespace
}  // namespace host
