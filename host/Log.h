#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace host {

/// Lines for the user, each written whole and at once, and below them, on a terminal, one status line that is rewritten
/// in place. A line that equals one of the last few is counted, not written again, unless it has not come for ten
/// minutes. The count is written at the 10th, 100th repetition and so on, at the end, and before the next new line if
/// the line came twice or more in a row. Any thread may write.
class Log {
 public:
  using Filter = std::function<std::string(std::string_view text)>;
  using Clock = std::chrono::steady_clock;

  /// `out` belongs to the caller and outlives this object. `now` is the clock, which a test may set.
  explicit Log(std::FILE* out, std::function<Clock::time_point()> now = Clock::now) : out_(out), now_(std::move(now)) {}
  /// Each line begins with `prefix`, and its text goes through `filter`, which removes what must not be shown; null for
  /// none. The filter is called by any thread that writes, one at a time. Several logs may have the same `out`.
  Log(std::FILE* out, std::string prefix, Filter filter)
      : out_(out), prefix_(std::move(prefix)), filter_(std::move(filter)) {}
  /// The last status line stays on the screen.
  ~Log();
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  /// Something that was asked for was not done, or media are lost. The line begins with "error: ".
  void error(std::string_view text) { line("error: ", text); }
  /// Something that the user should look at, with which the work continues. The line begins with "warning: ".
  void warning(std::string_view text) { line("warning: ", text); }
  /// Information, without a word in front.
  void note(std::string_view text) { line("", text); }
  /// Writes the counts that are due. The lines up to now then no longer count as written, so that a line that equals
  /// one of them is written whole.
  void forget();
  /// Replaces the status line. For terminals only.
  void setStatusLine(std::string_view text);

 private:
  /// A line, when it came last, how often it came again, and the last number that was written.
  struct Entry {
    std::string text;
    Clock::time_point lastAt;
    std::uint64_t repeats = 0;
    std::uint64_t repeatsWritten = 0;
  };

  void line(std::string_view level, std::string_view text);
  /// Makes room for a new line that equals `known`, or none of the last few.
  void makeRoom(std::deque<Entry>::iterator known);
  void writeAllRepeats();
  /// Counts the repetition, and writes the count if it is a power of ten.
  void repeat(const std::deque<Entry>::iterator& entry);
  void writeRepeats(Entry& entry);
  void writeLine(std::string_view line);
  /// Flushes at once: the line must be there if the process is killed.
  void write(const std::string& bytes);

  /// Guards everything below: libav logs from its own threads.
  std::mutex mutex_;
  std::FILE* out_;
  std::function<Clock::time_point()> now_ = Clock::now;
  std::string prefix_;
  Filter filter_;
  /// Empty if there is none on the screen.
  std::string statusLine_;
  /// The last lines, newest first.
  std::deque<Entry> recent_;
  /// The newest line came twice in a row.
  bool repeatsItself_ = false;
  /// What was written last, to which "the same" would refer.
  std::string written_;
};

}  // namespace host
