#pragma once

#include <cstdint>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>

namespace host {

/// Lines for the user, each written whole and at once, and below them, on a terminal, one status line that is rewritten
/// in place. A line that is one of the last few once more, whether at once or in a cycle with others, is counted, and
/// told of at its 10th, 100th and so on, and at the end; one that repeats itself also where a new line follows. Any
/// thread may write.
class Log {
 public:
  /// `out` stays the caller's.
  explicit Log(std::FILE* out) : out_(out) {}
  /// The status line stays on the screen as it was last.
  ~Log();
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  void error(std::string_view text) { line("error: ", text); }
  void warning(std::string_view text) { line("warning: ", text); }
  void note(std::string_view text) { line("", text); }
  /// Puts `text` in the place of the old status line. For terminals only.
  void setStatusLine(std::string_view text);

 private:
  /// A line, how often it came again, and up to which number that has been told.
  struct Entry {
    std::string text;
    std::uint64_t repeats = 0;
    std::uint64_t repeatsTold = 0;
  };

  void line(std::string_view prefix, std::string_view text);
  void repeat(std::deque<Entry>::iterator entry);
  void tellRepeats(Entry& entry);
  void writeLine(std::string_view line);
  void write(const std::string& bytes);

  std::mutex mutex_;
  std::FILE* out_;
  std::string statusLine_;
  /// The last lines, the one that came last in front.
  std::deque<Entry> recent_;
  /// That one came behind itself.
  bool repeatsItself_ = false;
  /// What was written last. "The same" is this line.
  std::string written_;
};

}  // namespace host
