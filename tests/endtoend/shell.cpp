#include "tests/endtoend/shell.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <stdexcept>

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

}  // namespace test
