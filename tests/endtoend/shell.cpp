#include "tests/endtoend/shell.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace test {

CommandResult run(const std::string& line) {
  FILE* const pipe = ::popen(("( " + line + " ) 2>&1 </dev/null").c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("cannot run: " + line);
  CommandResult result;
  std::array<char, 4096> buffer{};
  while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
    result.output.append(buffer.data(), count);
  }
  const int status = ::pclose(pipe);
  if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
  return result;
}

std::string mustRun(const std::string& line) {
  CommandResult result = run(line);
  if (result.status != 0) throw std::runtime_error("failed: " + line + "\n" + result.output);
  return std::move(result.output);
}

void makeClip(const std::string& arguments, const std::string& file) {
  mustRun("ffmpeg -v error -y " + arguments + " 'file:" + file + "'");
}

}  // namespace test
