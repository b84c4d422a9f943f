#include "host/Log.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "host/asciiText.h"

namespace host {
namespace {

/// Back to the start of the line, and clear it to its end (ECMA-48, 8.3.41).
constexpr std::string_view kEraseLine = "\r\x1b[K";

/// A decoder that meets damage repeats a few lines in turn, never as many as these.
constexpr std::size_t kRecentLines = 8;

/// A line that comes again after so long is written: a fault that is back the next day must not be a mere count.
constexpr std::chrono::minutes kSilence(10);

/// One line of plain text: names and texts from outside may contain line breaks and escape sequences.
std::string oneLine(std::string_view text) {
  while (!text.empty() && text.back() == '\n') text.remove_suffix(1);
  std::string clean(text);
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
  writeAllRepeats();
  if (!statusLine_.empty()) write("\n");
}

void Log::forget() {
  const std::lock_guard lock(mutex_);
  writeAllRepeats();
  recent_.clear();
  repeatsItself_ = false;
}

void Log::setStatusLine(std::string_view text) {
  const std::lock_guard lock(mutex_);
  statusLine_ = oneLine(text);
  write(std::string(kEraseLine) + statusLine_);
}

void Log::line(std::string_view level, std::string_view text) {
  const std::lock_guard lock(mutex_);
  std::string line = prefix_;
  line += level;
  line += oneLine(filter_ ? filter_(text) : text);
  const auto known =
      std::find_if(recent_.begin(), recent_.end(), [&](const Entry& entry) { return entry.text == line; });
  const Clock::time_point now = now_();
  if (known != recent_.end() && now - std::exchange(known->lastAt, now) < kSilence) return repeat(known);
  makeRoom(known);
  writeLine(line);
  written_ = line;
  recent_.push_front({.text = std::move(line), .lastAt = now});
}

void Log::makeRoom(std::deque<Entry>::iterator known) {
  if (repeatsItself_) writeRepeats(recent_.front());
  repeatsItself_ = false;
  if (known == recent_.end() && recent_.size() == kRecentLines) --known;
  if (known == recent_.end()) return;
  writeRepeats(*known);
  recent_.erase(known);
}

void Log::repeat(const std::deque<Entry>::iterator& entry) {
  repeatsItself_ = entry == recent_.begin();
  std::rotate(recent_.begin(), entry, std::next(entry));
  if (isPowerOfTen(++recent_.front().repeats)) writeRepeats(recent_.front());
}

void Log::writeAllRepeats() {
  for (auto entry = recent_.rbegin(); entry != recent_.rend(); ++entry) writeRepeats(*entry);
}

void Log::writeRepeats(Entry& entry) {
  if (entry.repeats == entry.repeatsWritten) return;
  const std::string count = entry.repeats == 1 ? "once more" : fmt::format("{} times more", entry.repeats);
  if (written_ == entry.text) {
    writeLine(fmt::format("(the same {})", count));
  } else {
    writeLine(fmt::format("({}: {})", count, entry.text));
    written_.clear();
  }
  entry.repeatsWritten = entry.repeats;
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
