#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/support/TempDirectory.h"

namespace {

/// What the reader (see commandReader.cpp), in a folder of its own with `logs` in it, leaves there.
std::string logAfter(int kind, const std::string& payload) {
  const test::TempDirectory folder;
  std::filesystem::create_directory(folder.path() / "logs");
  std::filesystem::copy_file(K2R_COMMAND_READER, folder.path() / "reader");
  const std::string command = folder.file("reader") + " " + std::to_string(kind) + " '" + payload + "'";
  EXPECT_EQ(std::system(command.c_str()), 0) << command;
  std::ifstream log(folder.path() / "logs" / "cmdParsingLog.log");
  return {std::istreambuf_iterator<char>(log), {}};
}

TEST(NQCommandLog, TellsHowFarThePayloadWasRead) {
  const struct {
    int kind;
    const char* payload;
    const char* lines;
  } rows[] = {
      {20, "02 0005 61",
       "while parsing buffer with message id 20, failed to read the command type (first arg)\n"
       "Command parsed as \n0: [0](Command data kUndefinedType)( Command args)\n"},
      {20, "02 0004 73656564 00 01",
       "while parsing buffer with message id 20, failed to read the transaction id\n"
       "Command parsed as \n0: seed[0](Command data kUndefinedType)( Command args)\n"},
      {20, "02 0004 7365656b 00 4000000000000000 0e",
       "while parsing buffer with message id 20, failed to read the command data\n"
       "Command parsed as \n2: seek[17](Command data kUndefinedType)( Command args)\n"},
      {18, "02 0001 61 05 0101 02 0009",
       "while parsing buffer with message id 18, failed to read the argument number2\n"
       "Command parsed as \n0: a[0](Command data kUndefinedType)( Command args kNullType,  kboolType true)\n"},
      {15, "",
       "while parsing buffer with message id 15, failed to read the command type (first arg)\n"
       "Command parsed as \n0: [0](Command data kUndefinedType)( Command args)\n"},
  };
  for (const auto& row : rows) {
    const std::string log = logAfter(row.kind, row.payload);
    EXPECT_EQ(log.substr(std::min(log.find("while parsing buffer"), log.size())), row.lines) << log;
  }
}

}  // namespace
