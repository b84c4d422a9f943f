#pragma once

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>
#include <string_view>

namespace host {

/// Lines for the user, each written whole and at once, and below them, on a terminal, one status line that is rewritten
/// in place. A line that is the one before it once more is counted, and told of at its 10th, 100th and so on, and where
/// another line follows. Any thread may write.
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
  void line(std::string_view prefix, std::string_view text);
  void tellRepeats();
  void writeLine(std::string_view line);
  void write(const std::string& bytes);

  std::mutex mutex_;
  std::FILE* out_;
  std::string statusLine_;
  std::string lastLine_;
  /// How often the last line came behind itself, and up to which number that has been told.
  std::uint64_t repeats_ = 0;
  std::uint64_t repeatsTold_ = 0;
};

}  // namespace host
