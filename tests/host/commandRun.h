#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/commands.h"

namespace test {

struct CommandAnswer {
  int status = -1;
  std::string output;
  std::string errors;
};

/// Runs `k2r` with these arguments in this process.
inline CommandAnswer k2r(const std::vector<std::string>& arguments) {
  std::vector<const char*> argv = {"k2r"};
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  const host::ExitStatus status = host::runCommandLine(static_cast<int>(argv.size()), argv.data());
  CommandAnswer answer;
  answer.status = static_cast<int>(status);
  answer.errors = testing::internal::GetCapturedStderr();
  answer.output = testing::internal::GetCapturedStdout();
  return answer;
}

}  // namespace test
