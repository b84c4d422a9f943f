#include "host/Log.h"

#include <fmt/format.h>

#include <algorithm>

namespace host {
namespace {

/// Back to the start of the line, and clear it to its end (ECMA-48, 8.3.41).
constexpr std::string_view kEraseLine = "\r\x1b[K";

/// One line of plain text: what came from outside may hold line breaks and escape sequences.
std::string oneLine(std::string_view text) {
  while (!text.empty() && text.back() == '\n') text.remove_suffix(1);
  std::string clean(text);
  const auto isControl = [](char c) { return (c >= '\0' && c < ' ') || c == '\x7f'; };
  std::replace_if(clean.begin(), clean.end(), isControl, ' ');
  return clean;
}

/// From 10 on.
bool isPowerOfTen(std::uint64_t number) {
  while (number >= 10 && number % 10 == 0) {
    number /= 10;
    if (number == 1) return true;
  }
  return false;
}

}  // namespace

Log::~Log() {
  tellRepeats();
  if (!statusLine_.empty()) write("\n");
}

void Log::setStatusLine(std::string_view text) {
  const std::lock_guard lock(mutex_);
  statusLine_ = oneLine(text);
  write(std::string(kEraseLine) + statusLine_);
}

void Log::line(std::string_view prefix, std::string_view text) {
  const std::lock_guard lock(mutex_);
  std::string line = std::string(prefix) + oneLine(text);
  if (line == lastLine_) {
    if (isPowerOfTen(++repeats_)) tellRepeats();
    return;
  }
  tellRepeats();
  repeats_ = repeatsTold_ = 0;
  writeLine(line);
  lastLine_ = std::move(line);
}

void Log::tellRepeats() {
  if (repeats_ == repeatsTold_) return;
  writeLine(repeats_ == 1 ? "(the same once more)" : fmt::format("(the same {} times more)", repeats_));
  repeatsTold_ = repeats_;
}

void Log::writeLine(std::string_view line) {
  std::string bytes;
  if (!statusLine_.empty()) bytes += kEraseLine;
  bytes += line;
  bytes += '\n';
  bytes += statusLine_;
  write(bytes);
}

void Log::write(const std::string& bytes) {
  std::fwrite(bytes.data(), 1, bytes.size(), out_);
  std::fflush(out_);
}

}  // namespace host
