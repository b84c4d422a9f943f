#pragma once

#include <string>

namespace test {

/// What a command printed and how it ended.
struct CommandResult {
  /// Exit status, or -1 where the command ended by a signal.
  int status = -1;
  /// Standard output and standard error, as they came.
  std::string output;
};

/// Runs a line in the shell.
CommandResult run(const std::string& line);
/// What it prints. Throws std::runtime_error where it fails.
std::string mustRun(const std::string& line);

/// Makes a media file with the ffmpeg tool: `arguments` go between the quiet options and the name. Throws as mustRun().
void makeClip(const std::string& arguments, const std::string& file);

}  // namespace test
