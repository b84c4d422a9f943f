#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host::serve {

/// A program that runs for a hook, in a process group of its own, with nothing on its standard input and no other open
/// file of ours. What it prints is given away line by line. Belongs to one thread.
class HookProcess {
 public:
  using TakeLine = std::function<void(std::string_view line)>;

  /// Starts it, found as a shell would find it, without one. `words` has at least one. Throws CommandError if it cannot
  /// be started. `takeLine` gets its output, from readOutput(), result() and the destructor; a long line is cut, and
  /// after many the rest is dropped.
  HookProcess(const std::vector<std::string>& words, TakeLine takeLine);
  /// Kills its group if it still runs, and waits half a second for its end.
  ~HookProcess();
  HookProcess(const HookProcess&) = delete;
  HookProcess& operator=(const HookProcess&) = delete;

  /// To wait for with poll(2): readable once it has ended, and while it has output. The second one is -1 after the end
  /// of the output.
  int endDescriptor() const { return endFd_; }
  int outputDescriptor() const { return outputFd_; }
  /// Takes what it has printed by now.
  void readOutput();
  /// Nothing while it runs; then, once, how it ended: empty for success, or a text such as "exit status 1". What a
  /// program leaves in the background when it ends by itself keeps running.
  std::optional<std::string> result();
  /// Sends a signal that is to end it to all of its group. What is left of the group after its end is killed.
  void endBy(int signal);

 private:
  bool hasEnded() const;
  void spawn(const std::vector<std::string>& words, int output);
  void takeOutput(std::string_view bytes);
  void giveLine();
  void closeOutput();

  TakeLine takeLine_;
  /// -1 once its end was waited for: the number may be another program's then.
  pid_t pid_ = -1;
  bool isToEnd_ = false;
  int endFd_ = -1;
  int outputFd_ = -1;
  /// The begin of a line whose end has not come.
  std::string line_;
  bool isLineCut_ = false;
  int lines_ = 0;
};

}  // namespace host::serve
