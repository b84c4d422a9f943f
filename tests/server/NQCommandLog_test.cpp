#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/support/TempDirectory.h"

namespace {

/// A folder with the reader in it (see commandReader.cpp), whose log goes into `logs` beside it.
class Reader {
 public:
  Reader() { std::filesystem::copy_file(K2R_COMMAND_READER, folder_.path() / "reader"); }

  void read(int kind, const std::string& payload) const {
    const std::string command = folder_.file("reader") + " " + std::to_string(kind) + " '" + payload + "'";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
  }
  std::filesystem::path logs() const { return folder_.path() / "logs"; }
  std::string log() const {
    std::ifstream log(logs() / "cmdParsingLog.log");
    return {std::istreambuf_iterator<char>(log), {}};
  }

 private:
  test::TempDirectory folder_;
};

TEST(NQCommandLog, NeedsItsFolder) {
  const Reader reader;
  reader.read(20, "02");
  EXPECT_FALSE(std::filesystem::exists(reader.logs()));
}

TEST(NQCommandLog, TellsHowFarTheLastPayloadWasRead) {
  const struct {
    int kind;
    const char* payload;
    const char* unread;
    const char* command;
  } rows[] = {
      {20, "02 0005 61", "command type (first arg)", "0: [0](Command data kUndefinedType)( Command args)"},
      {20, "02 0004 73656564 00 01", "transaction id", "0: seed[0](Command data kUndefinedType)( Command args)"},
      {20, "02 0004 7365656b 00 4000000000000000 0e", "command data",
       "2: seek[17](Command data kUndefinedType)( Command args)"},
      {18, "02 0001 61 05 0101 02 0009", "argument number2",
       "0: a[0](Command data kUndefinedType)( Command args kNullType,  kboolType true)"},
      {15, "", "command type (first arg)", "0: [0](Command data kUndefinedType)( Command args)"},
  };
  const Reader reader;
  std::filesystem::create_directory(reader.logs());
  for (const auto& row : rows) {
    reader.read(row.kind, row.payload);
    const std::string log = reader.log();
    EXPECT_EQ(log.substr(std::min(log.find("while parsing"), log.size())),
              "while parsing buffer with message id " + std::to_string(row.kind) + ", failed to read the " +
                  row.unread + "\nCommand parsed as \n" + row.command + "\n");
  }
}

}  // namespace
