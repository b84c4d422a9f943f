#include "host/serve/hooks/RunningHooks.h"

#include <fmt/format.h>
#include <poll.h>

#include <algorithm>
#include <csignal>
#include <string_view>

#include "host/serve/config/maskedSource.h"
#include "host/serve/hooks/hookWords.h"

namespace host::serve {

void RunningHooks::start(const HookJob& job, std::optional<std::chrono::milliseconds> timeLimit) {
  const RecordingPlace& recording = job.recording;
  const auto words = hookWords(job.words, {.directory = recording.folder() + "/" + recording.name,
                                           .stream = recording.stream,
                                           .recording = recording.name});
  const auto takeLine = [this, title = hookTitle(recording)](std::string_view line) {
    log_.note(fmt::format("{}: {}", title, maskedText(line, "")));
  };
  std::optional<Clock::time_point> deadline;
  if (timeLimit) deadline = timing_.now() + *timeLimit;
  hooks_.push_back({.recording = recording,
                    .process = std::make_unique<HookProcess>(words, takeLine),
                    .deadline = deadline,
                    .killAt = {}});
}

std::map<std::string, std::size_t> RunningHooks::countByStream() const {
  std::map<std::string, std::size_t> counts;
  for (const Running& running : hooks_) ++counts[running.recording.stream];
  return counts;
}

std::optional<RunningHooks::Clock::time_point> RunningHooks::nextDeadline() const {
  std::optional<Clock::time_point> next;
  for (const Running& running : hooks_) {
    const auto time = running.killAt ? running.killAt : running.deadline;
    if (time) next = next ? std::min(*next, *time) : *time;
  }
  return next;
}

void RunningHooks::wait(int wakeFd, int timeoutMs) const {
  std::vector<pollfd> watched{{wakeFd, POLLIN, 0}};
  for (const Running& running : hooks_) {
    watched.push_back({running.process->endDescriptor(), POLLIN, 0});
    // poll(2) ignores -1.
    watched.push_back({running.process->outputDescriptor(), POLLIN, 0});
  }
  // EINTR ends the wait like any event.
  ::poll(watched.data(), watched.size(), timeoutMs);
}

std::vector<RunningHooks::Ended> RunningHooks::takeEnded() {
  const auto now = timing_.now();
  std::vector<Ended> ended;
  for (Running& running : hooks_) {
    running.process->readOutput();
    if (auto failure = running.process->result()) {
      running.process.reset();
      ended.push_back({running.recording, running.killAt.has_value(), std::move(*failure)});
    } else {
      endOverdue(running, now);
    }
  }
  std::erase_if(hooks_, [](const Running& running) { return running.process == nullptr; });
  return ended;
}

void RunningHooks::endOverdue(Running& running, Clock::time_point now) const {
  if (running.killAt && now >= *running.killAt) running.process->endBy(SIGKILL);
  if (running.killAt || !running.deadline || now < *running.deadline) return;
  running.process->endBy(SIGTERM);
  running.killAt = now + timing_.grace;
}

void RunningHooks::endAll() {
  for (Running& running : hooks_) running.process->endBy(SIGTERM);
  const auto killAt = timing_.now() + timing_.grace;
  while (!hooks_.empty()) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(killAt - timing_.now()).count();
    pollfd end{hooks_.back().process->endDescriptor(), POLLIN, 0};
    if (left > 0 && ::poll(&end, 1, static_cast<int>(left)) < 1) continue;
    // Not counted, and the marker stays: the next process runs it again. The destructor kills what is left.
    if (left > 0) hooks_.back().process->result();
    hooks_.pop_back();
  }
}

}  // namespace host::serve
