#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>

namespace test {

/// A line in the shell, to its end: its exit status (128 and the signal where one ended it), and all that it printed.
struct ShellAnswer {
  int status = -1;
  std::string output;
};

inline ShellAnswer runShell(const std::string& line) {
  FILE* const pipe = ::popen(("( " + line + " ) 2>&1 </dev/null").c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("cannot run: " + line);
  ShellAnswer answer;
  std::array<char, 4096> buffer{};
  while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
    answer.output.append(buffer.data(), count);
  }
  const int status = ::pclose(pipe);
  answer.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return answer;
}

/// A program that runs beside the test and reads what the test feeds it. It is killed at the end.
class ChildProcess {
 public:
  /// `line` is one command without anything after it.
  explicit ChildProcess(const std::string& line) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    pid_ = ::fork();
    if (pid_ == 0) {
      ::dup2(ends[0], STDIN_FILENO);
      ::execl("/bin/sh", "sh", "-c", ("exec " + line + " >/dev/null 2>&1").c_str(), nullptr);
      ::_exit(127);
    }
    ::close(ends[0]);
    input_ = ends[1];
  }
  ~ChildProcess() { kill(); }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t pid() const { return pid_; }
  void feed(std::string_view bytes) const {
    while (!bytes.empty()) {
      const ssize_t written = ::write(input_, bytes.data(), bytes.size());
      if (written <= 0) throw std::runtime_error("the program reads no more");
      bytes.remove_prefix(static_cast<std::size_t>(written));
    }
  }
  /// Waits until `condition` holds, as it does before long. A condition that held once is not asked again: while the
  /// program goes on, it may hold for a moment only.
  template <typename Condition>
  void waitFor(const Condition& condition) const {
    for (int i = 0; i < 10000; ++i) {
      if (condition()) return;
      ::usleep(1000);
    }
    throw std::runtime_error("waited in vain");
  }
  void kill() {
    if (pid_ == -1) return;
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    ::close(input_);
    pid_ = -1;
  }

 private:
  pid_t pid_ = -1;
  int input_ = -1;
};

}  // namespace test
