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

}  // namespace test
