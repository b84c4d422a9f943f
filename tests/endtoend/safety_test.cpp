// What the program must not ruin, shown with the program as it is: recordings that are being written or replaced, files
// of others, secrets.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>

#include "host/files/RecordingDirectory.h"
#include "tests/endtoend/ChildProcess.h"
#include "tests/host/hostTools.h"
#include "tests/support/tagFile.h"

namespace {

namespace fs = std::filesystem;
using namespace test;
using testing::HasSubstr;

/// In a directory of its own, with `in.mtg`, a stream of two fragments, and `cam1`, a recording of it.
class Safety : public InDirectory {
 protected:
  Safety() {
    writeTagStream(av().until(8001), "in.mtg");
    writeTagStream(av().from(12000).withoutHeaders().until(20001), "later.mtg");
    expect("record in.mtg --out cam1", 0);
    old_ = readAllFiles("cam1");
  }

  /// In the shell, with a minute's time; `output_` has what it printed.
  int shell(const std::string& line) {
    const ShellAnswer answer = runShell(line);
    output_ = answer.output;
    return answer.status;
  }
  int k2r(const std::string& arguments) { return shell("timeout 60 " + program_ + " " + arguments); }
  void expect(const std::string& arguments, int status, const std::string& output = "") {
    EXPECT_EQ(k2r(arguments), status) << arguments << "\n" << output_;
    EXPECT_THAT(output_, HasSubstr(output)) << arguments;
  }
  void expectOld(const std::string& what) const {
    EXPECT_TRUE(readAllFiles("cam1") == old_) << what << "\n" << output_;
    EXPECT_FALSE(fs::exists("cam1.replaced")) << what;
  }
  static unsigned mode(const std::string& file) { return static_cast<unsigned>(fs::status(file).permissions()); }

  const std::string program_ = K2R_PROGRAM;
  std::map<std::string, std::string> old_;
  std::string output_;
};

TEST_F(Safety, AllowsOneRecorderPerDirectory) {
  fs::create_directory("new");
  for (const std::string options : {"--out new", "--out missing", "--out cam1 --append", "--out cam1 --overwrite"}) {
    SCOPED_TRACE(options);
    const std::string place = options.substr(6, options.find(' ', 6) - 6);
    ChildProcess recorder(program_ + " record - " + options);
    // Not by a look at the lock: that would take it for a moment.
    recorder.waitFor([&] {
      return readWholeFile("/proc/locks").find(' ' + std::to_string(recorder.pid()) + ' ') != std::string::npos;
    });
    const auto expectAllRefused = [&] {
      for (const char* const command :
           {"record in.mtg --out ", "record in.mtg --append --out ", "record in.mtg --overwrite --out ", "repair "}) {
        const bool isRefusedFirst = std::string(command) == "record in.mtg --out " && !fs::is_empty(place);
        if (isRefusedFirst) continue;
        expect(command + place, 1, place + "' is in use: process " + std::to_string(recorder.pid()) + " (k2r)");
      }
    };
    expectAllRefused();
    recorder.feed(textOf(tagFile(av().from(20000).until(32001))));
    recorder.waitFor([&] { return host::readRecordingDirectory(place).hasBootstrap; });
    expectAllRefused();
    // Readers are free; between two of the recorder's writes they see a recording that could be repaired.
    recorder.waitFor([&] { return k2r("verify " + place) == 0; });
    recorder.kill();
    expect("repair " + place, 0);
    expect("verify " + place, 0);
  }
}

TEST_F(Safety, OverwriteKeepsTheOldRecordingUntilThereIsANewOne) {
  fs::permissions("cam1", fs::perms(0750));
  writeWholeFile("cut.mtg", readWholeFile("in.mtg").substr(0, 13));
  expect("keys new keys", 0);
  const std::string rows[] = {"cut.mtg", "missing.mtg", "cam1/cam1Seg1.k2r",
                              "in.mtg --config keys/recording.conf --set Recording/VantryV2/PackagerCredentialPwd=x",
                              "in.mtg --tail drop --set Recording/FragmentDuration=99999999"};
  for (const std::string& row : rows) {
    k2r("record " + row + " --out cam1 --overwrite");
    expectOld(row);
  }
  fs::create_directory("cam1.replaced");
  expect("record in.mtg --out cam1 --overwrite", 1, "cam1.replaced' is in the way");
  fs::remove("cam1.replaced");  // Fails where it has gone or something is in it.
  expectOld("an empty directory of somebody else");
  expect("record in.mtg --out cam1 --overwrite", 0);
  EXPECT_EQ(mode("cam1"), 0750U);
  writeTagStream(av().until(2001), "short.mtg");
  expect("record short.mtg --out cam1 --overwrite", 0);
  EXPECT_THAT(output_, testing::Not(HasSubstr("the old recording"))) << "the only fragment is written at the end";
}

TEST_F(Safety, AnInterruptedOverwriteIsReportedAndTakenBack) {
  fs::rename("cam1", "cam1.replaced");
  fs::create_directory("cam1");
  for (const char* const command :
       {"verify cam1", "playlist cam1", "record in.mtg --out cam1 --append", "record in.mtg --out cam1 --overwrite"}) {
    k2r(command);
    EXPECT_THAT(output_, HasSubstr("an interrupted --overwrite put aside; k2r repair '")) << command;
  }
  expect("repair cam1", 0);
  expectOld("put back");
  // A kill between the first index and the first bootstrap.
  k2r("record in.mtg --set Recording/FragmentDuration=99999 --out new/cam1");
  fs::remove("new/cam1/cam1.bootstrap");
  fs::rename("cam1", "cam1.replaced");
  fs::rename("new/cam1", "cam1");
  k2r("verify cam1");
  EXPECT_THAT(output_, HasSubstr("k2r repair '" + fs::absolute("cam1").string() + "' finishes the new one if"));
  expect("repair cam1", 0);
  EXPECT_EQ(readAllFiles("cam1.replaced"), old_);
}

TEST_F(Safety, FilesOfOthersStayAsTheyAre) {
  fs::create_directory("mine");
  const char* const names[] = {"a.mp4.part", "a.mtg.part", "list.m3u8.tmp", "notes.txt", "target"};
  for (const char* const name : names) writeWholeFile(std::string("mine/") + name, "mine");
  fs::create_symlink("target", "mine/link.m3u8");
  fs::create_symlink("nowhere", "mine/link.mp4");
  const std::tuple<const char*, int, const char*> rows[] = {
      {"export cam1 --out mine/a.mp4", 0, ""},
      {"export cam1 --out mine/a.mtg", 0, ""},
      {"export cam1 --out mine/a.mp4", 1, "exists already"},
      {"export cam1 --out mine/link.mp4", 1, "exists already"},
      {"export cam1 --out cam1/a.mp4", 1, "lies among the files of a recording"},
      {"export cam1 --out no/a.mp4", 1, "cannot be written"},
      {"playlist cam1 --out mine/list.m3u8", 0, ""},
      {"playlist cam1 --out mine/list.m3u8", 0, ""},
      {"playlist cam1 --out mine/link.m3u8", 1, "is not a playlist"},
      {"playlist cam1 --out mine/notes.txt", 1, "is not a playlist"},
      {"playlist cam1 --plain cam1/plain", 1, "lies among the files of a recording"},
      {"playlist cam1 --out cam1/list.m3u8", 1, "lies among the files of a recording"}};
  for (const auto& [command, status, output] : rows) {
    expect(command, status, output);
  }
  for (const char* const name : names) EXPECT_EQ(readWholeFile(std::string("mine/") + name), "mine") << name;
  EXPECT_EQ(shell("ls -A mine"), 0);
  EXPECT_EQ(output_,
            "a.mp4\na.mp4.part\na.mtg\na.mtg.part\nlink.m3u8\nlink.mp4\nlist.m3u8\nlist.m3u8.tmp\nnotes.txt\n"
            "target\n");
  fs::create_directory("cam1/folder");
  expect("export cam1 --out cam1/folder/a.mp4", 1, "lies among the files of a recording");
  fs::rename("cam1/folder", "cam1/cam1Seg9.k2i");
  expect("playlist cam1", 1, "cam1Seg9.k2i' is not a regular file");
  fs::remove("cam1/cam1Seg9.k2i");
  expectOld("the recording");
}

TEST_F(Safety, AnAppendFollowsNoLinkAndWaitsForNoPipe) {
  for (const char* const suffix :
       {".bootstrap", ".control", ".meta", ".drmmeta", "Seg1.k2r", "Seg1.k2i", ".k2i.tmp", ".bootstrap.tmp"}) {
    SCOPED_TRACE(suffix);
    const std::string file = std::string("cam1/cam1") + suffix;
    const std::string content = old_.contains("cam1" + std::string(suffix)) ? readWholeFile(file) : "mine";
    writeWholeFile("outside", content);
    fs::remove(file);
    fs::create_symlink(fs::absolute("outside"), file);
    expect("record later.mtg --out cam1 --append", 1, "is not a regular file");
    expect("repair cam1", 1);
    EXPECT_EQ(readWholeFile("outside"), content);
    fs::remove(file);
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    for (const char* const command :
         {"record later.mtg --append --out ", "repair ", "verify ", "inspect ", "playlist "}) {
      EXPECT_LT(k2r(std::string(command) + "cam1"), 10) << command << " waits for a pipe";
    }
    fs::remove_all("cam1");
    writeAllFiles("cam1", old_);
  }
}

TEST_F(Safety, FilesHaveThePermissionsThatTheyShould) {
  for (const unsigned mask : {022U, 027U, 077U}) {
    fs::remove_all("cam2");
    shell(fmt::format("umask {:03o}; {} record in.mtg --out cam2", mask, program_));
    for (const auto& [name, content] : readAllFiles("cam2")) EXPECT_EQ(mode("cam2/" + name), 0666U & ~mask) << name;
  }
  fs::permissions("cam1/cam1Seg1.k2r", fs::perms(0640));
  expect("export cam1 --out a.mp4", 0);
  EXPECT_EQ(mode("a.mp4"), 0640U);

  expect("keys new keys", 0);
  expect("record in.mtg --out secret --config keys/recording.conf", 0);
  EXPECT_EQ(mode("secret/secretSeg1.k2r"), 0644U);
  expect("export secret --out secret.mp4", 1);
  EXPECT_FALSE(fs::exists("secret.mp4"));
  expect("unprotect secret --key keys/license-server.key --out clear", 0);
  EXPECT_EQ(mode("clear"), 0700U) << "so that nothing in it was for others at any time";
  for (const auto& [name, content] : readAllFiles("clear")) EXPECT_EQ(mode("clear/" + name), 0600U) << name;
}

TEST_F(Safety, KeepsSecretsOnceInMemoryAndInNoMessage) {
  expect("keys new keys", 0);
  for (const char* const file : {"license-server.key", "common.key", "packager.p12"}) {
    expect("record in.mtg --out cam2 --config keys/" + std::string(file), 2);
    std::istringstream lines(readWholeFile("keys/" + std::string(file)));
    for (std::string line; std::getline(lines, line);) {
      EXPECT_TRUE(line.size() < 8 || output_.find(line.substr(0, line.find('=', 8))) == std::string::npos) << file;
    }
  }
  const std::string settings = readWholeFile("keys/recording.conf");
  const auto at = settings.find("PackagerCredentialPwd = ") + 24;
  const std::string password = settings.substr(at, settings.find('\n', at) - at);
  ChildProcess recorder(program_ + " record - --out secret --config keys/recording.conf");
  recorder.feed(textOf(tagFile(av().until(8001))));
  recorder.waitFor([] { return fs::exists("secret/secret.bootstrap"); });

  const std::string process = "/proc/" + std::to_string(recorder.pid());
  std::ifstream maps(process + "/smaps");
  const int memory = ::open((process + "/mem").c_str(), O_RDONLY | O_CLOEXEC);
  if (memory == -1) GTEST_SKIP() << "the memory of a process with secrets is closed to others, but for root";
  std::map<std::string, int> found;
  bool isHere = false;
  for (std::string line; std::getline(maps, line);) {
    unsigned long start = 0, end = 0;
    char access[5] = "";
    if (std::sscanf(line.c_str(), "%lx-%lx %4s", &start, &end, access) == 3) {
      isHere = false;
      constexpr unsigned long kLargest = 1UL << 30;  // A sanitizer keeps terabytes of notes.
      std::string bytes(access[1] == 'w' && end - start < kLargest ? end - start : 0, '\0');
      if (::pread(memory, bytes.data(), bytes.size(), static_cast<off_t>(start)) <= 0) continue;
      for (const std::string& secret : {password, readWholeFile("keys/common.key")}) {
        for (auto place = bytes.find(secret); place != std::string::npos; place = bytes.find(secret, place + 1)) {
          ++found[secret == password ? "password" : "key"];
          isHere = isHere || secret == password;
        }
      }
    } else if (line.starts_with("VmFlags:") && isHere) {
      EXPECT_THAT(line, HasSubstr(" dd"));
#ifdef K2R_HARDENED  // Sanitizers lock no memory.
      EXPECT_THAT(line, HasSubstr(" lo"));
#endif
    }
  }
  ::close(memory);
  EXPECT_EQ(found["password"], 1);
  EXPECT_EQ(found["key"], 1);
}

TEST_F(Safety, AnAppendRefusesADamagedRecordingAndTakesUpAnInterruptedOne) {
  const auto append = [&](const std::string& options = "") {
    return k2r("record later.mtg --out cam1 --append --set Recording/FragmentDuration=4000 " + options);
  };
  const MadeRecording made({.messages = av().until(12001), .stop = false});
  const auto put = [](const MadeRecording& recording) {
    fs::remove_all("cam1");
    fs::copy(recording.directory(), "cam1");
  };
  const std::string segment = made.read("Seg1.k2r");
  const auto last = made.boxesOf("Seg1.k2r").fragments.back();
  const std::tuple<const char*, const char*, std::string> damages[] = {
      {"Seg1.k2r", "cam1Seg1.k2r: offset", segment.substr(0, last.end() - 100)},
      {"Seg1.k2r", "cam1Seg1.k2r: missing", ""},
      {"Seg1.k2i", "cam1Seg1.k2i: offset", "x"},
      {".bootstrap", "cam1.bootstrap: offset", made.read(".bootstrap").substr(0, 60)},
      {".meta", "cam1.meta: missing", ""}};
  for (const auto& [suffix, finding, content] : damages) {
    put(made);
    const std::string file = std::string("cam1/cam1") + suffix;
    content.empty() ? static_cast<void>(fs::remove(file)) : writeWholeFile(file, content);
    const auto before = readAllFiles("cam1");
    EXPECT_EQ(append(), 1) << finding;
    EXPECT_THAT(output_, testing::AllOf(HasSubstr("is damaged: "), HasSubstr(finding)));
    EXPECT_TRUE(readAllFiles("cam1") == before) << finding;
  }
  EXPECT_EQ(append("--force"), 0) << output_;
  EXPECT_THAT(output_, HasSubstr("is damaged: cam1.meta: missing"));

  // Killed between the index and the bootstrap of the first fragment.
  const MadeRecording first({.messages = av().until(4001), .stop = false});
  put(first);
  fs::remove("cam1/cam1.bootstrap");
  EXPECT_EQ(append(), 0) << output_;
  expect("verify cam1", 0, "from 0:00:00.000");

  // The index could be written once, the bootstrap never, and the segment had no such trouble.
  made.changeIndex("Seg1.k2i", [](auto& entries) { entries.resize(1); });
  put(made);
  fs::remove("cam1/cam1.bootstrap");
  expect("repair cam1", 0);
  expect("verify cam1", 0, " 1 fragment,");

  // Killed before the first fragment: its base time is not that of the new recording.
  fs::remove_all("cam1");
  fs::create_directory("cam1");
  writeWholeFile("cam1/cam1.control", std::string("\xFF\xFF\xFF\0", 4));
  writeTagStream(av().until(12001), "later.mtg");
  EXPECT_EQ(append(), 0) << output_;
  EXPECT_EQ(readWholeFile("cam1/cam1.control"), std::string(4, '\0'));
  expect("verify cam1", 0);
}

TEST_F(Safety, ReportsLimitsAndWrongNames) {
  const std::string stem(238, 'n');
  expect("record in.mtg --out " + stem + " --set Recording/SegmentDuration=4000", 0);
  expect("record in.mtg --out " + stem + "n", 2, "is too long a name");
  EXPECT_FALSE(fs::exists(stem + "n"));
  // A tenth of a megabyte a file.
  writeTagStream(stream().keyFramesEvery(1000).frameBytes(2000).until(20001), "large.mtg");
  EXPECT_LT(shell("ulimit -f 200; " + program_ + " record large.mtg --out cam2"), 10) << output_;
  EXPECT_THAT(output_, HasSubstr("File too large"));
  expect("repair cam2", 0);
  expect("verify cam2", 0);
  EXPECT_EQ(shell("(printf ABC; tail -c +4 in.mtg) | " + program_ + " record - --out cam3"), 1);
  EXPECT_THAT(output_, HasSubstr("standard input is not a tag stream: MTG"));
}

#ifdef K2R_HARDENED
TEST(Hardening, IsInTheProgramAndTheModule) {
  for (const char* const file : {K2R_PROGRAM, K2R_MODULE}) {
    SCOPED_TRACE(file);
    const std::string name = file;
    const auto printed = [&](const std::string& command) { return runShell(command + " '" + name + "'").output; };
    EXPECT_THAT(printed("readelf -Wd"), HasSubstr("BIND_NOW"));
    EXPECT_THAT(printed("readelf -Wl"), testing::AllOf(HasSubstr("GNU_RELRO"), testing::Not(HasSubstr("RWE"))));
    EXPECT_THAT(printed("readelf -W --dyn-syms"), testing::AllOf(HasSubstr("__stack_chk_fail"), HasSubstr("_chk@")));
    EXPECT_THAT(printed("readelf -n"), HasSubstr("SHSTK"));
    EXPECT_THAT(printed("objdump -d --no-show-raw-insn"), HasSubstr("endbr64"));
  }
}
#endif

}  // namespace
