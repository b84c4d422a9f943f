#include "host/serve/hooks/HookProcess.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <system_error>
#include <utility>

#include "host/errors.h"
#include "platform/os/retried.h"

namespace host::serve {
namespace {

constexpr std::size_t kLongestOutputLine = 500;
constexpr int kMostLines = 100;
/// A program that prints without end must not keep the thread: 1 MiB, more than a pipe contains by default.
constexpr int kMostReads = 256;
constexpr int kLongestEndMs = 500;

std::string errorText(int error) {
  return std::error_code(error, std::generic_category()).message();
}

/// What posix_spawn() needs besides the words.
class SpawnPlan {
 public:
  explicit SpawnPlan(int output) {
    ::posix_spawn_file_actions_init(&actions_);
    ::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions_, output, STDERR_FILENO);
    // Libraries open files without O_CLOEXEC; and one that is locked would stay so while the program runs.
    ::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
    ::posix_spawnattr_init(&attributes_);
    sigset_t signals;
    ::sigemptyset(&signals);
    ::posix_spawnattr_setsigmask(&attributes_, &signals);
    // Signals that this process ignores, too, such as SIGXFSZ.
    ::sigfillset(&signals);
    ::posix_spawnattr_setsigdefault(&attributes_, &signals);
    ::posix_spawnattr_setpgroup(&attributes_, 0);
    ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~SpawnPlan() {
    ::posix_spawnattr_destroy(&attributes_);
    ::posix_spawn_file_actions_destroy(&actions_);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;

  const posix_spawn_file_actions_t* actions() const { return &actions_; }
  const posix_spawnattr_t* attributes() const { return &attributes_; }

 private:
  posix_spawn_file_actions_t actions_{};
  posix_spawnattr_t attributes_{};
};

/// The environment without what the service manager said to this process: a hook must not report in its name.
std::vector<char*> environmentOfHooks() {
  std::vector<char*> variables;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string_view text(*variable);
    if (text.starts_with("NOTIFY_SOCKET=") || text.starts_with("WATCHDOG_")) continue;
    variables.push_back(*variable);
  }
  variables.push_back(nullptr);
  return variables;
}

}  // namespace

HookProcess::HookProcess(const std::vector<std::string>& words, TakeLine takeLine) : takeLine_(std::move(takeLine)) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw CommandError("no pipe: " + errorText(errno));
  outputFd_ = ends[0];
  try {
    spawn(words, ends[1]);
  } catch (...) {
    ::close(ends[1]);
    closeOutput();
    throw;
  }
  ::close(ends[1]);
  // Only our end of the pipe: the program's end must block, or it would lose output.
  ::fcntl(outputFd_, F_SETFL, O_NONBLOCK);
}

void HookProcess::spawn(const std::vector<std::string>& words, int output) {
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  const SpawnPlan plan(output);
  const auto environment = environmentOfHooks();
  const int error =
      ::posix_spawnp(&pid_, arguments[0], plan.actions(), plan.attributes(), arguments.data(), environment.data());
  if (error != 0) {
    pid_ = -1;
    throw CommandError(fmt::format("cannot run '{}': {}", words.front(), errorText(error)));
  }
  endFd_ = static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0));
  if (endFd_ != -1) return;
  const int reason = errno;
  endBy(SIGKILL);
  platform::os::retried([this] { return ::waitpid(pid_, nullptr, 0); });
  throw CommandError(fmt::format("cannot watch '{}': {}", words.front(), errorText(reason)));
}

HookProcess::~HookProcess() {
  if (pid_ != -1) {
    endBy(SIGKILL);
    // A program that waits for a dead file server does not end even now. The service does not wait longer.
    pollfd end{endFd_, POLLIN, 0};
    ::poll(&end, 1, kLongestEndMs);
    ::waitpid(pid_, nullptr, WNOHANG);
  }
  closeOutput();
  if (endFd_ != -1) ::close(endFd_);
}

void HookProcess::readOutput() {
  std::array<char, 4096> buffer{};
  for (int reads = 0; outputFd_ != -1 && reads < kMostReads; ++reads) {
    const ssize_t size = platform::os::retried([&] { return ::read(outputFd_, buffer.data(), buffer.size()); });
    if (size == -1 && errno == EAGAIN) return;
    if (size <= 0) return closeOutput();
    takeOutput({buffer.data(), static_cast<std::size_t>(size)});
  }
}

bool HookProcess::hasEnded() const {
  siginfo_t info{};
  const auto pid = static_cast<id_t>(pid_);
  const int error = platform::os::retried([&] { return ::waitid(P_PID, pid, &info, WEXITED | WNOHANG | WNOWAIT); });
  return error != 0 || info.si_pid != 0;
}

std::optional<std::string> HookProcess::result() {
  if (!hasEnded()) return std::nullopt;
  // Before the system may give the number to another group.
  if (isToEnd_) ::kill(-pid_, SIGKILL);
  int status = 0;
  const bool isKnown = platform::os::retried([&] { return ::waitpid(pid_, &status, 0); }) == pid_;
  pid_ = -1;
  // Programs that it left in the background keep the other end open, perhaps for ever.
  readOutput();
  closeOutput();
  if (!isKnown) return "its end is not known";
  if (WIFSIGNALED(status)) return fmt::format("ended by signal {}", WTERMSIG(status));
  return WEXITSTATUS(status) == 0 ? "" : fmt::format("exit status {}", WEXITSTATUS(status));
}

void HookProcess::endBy(int signal) {
  if (pid_ == -1) return;
  isToEnd_ = true;
  ::kill(-pid_, signal);
}

void HookProcess::takeOutput(std::string_view bytes) {
  for (const char c : bytes) {
    if (c == '\n') {
      giveLine();
    } else if (line_.size() < kLongestOutputLine) {
      line_ += c;
    } else {
      isLineCut_ = true;
    }
  }
}

void HookProcess::giveLine() {
  if (isLineCut_) line_ += "...";
  if (lines_ < kMostLines) takeLine_(line_);
  if (lines_ == kMostLines) takeLine_("(further output is not shown)");
  if (lines_ <= kMostLines) ++lines_;
  line_.clear();
  isLineCut_ = false;
}

void HookProcess::closeOutput() {
  if (outputFd_ == -1) return;
  if (!line_.empty()) giveLine();
  ::close(std::exchange(outputFd_, -1));
}

}  // namespace host::serve
