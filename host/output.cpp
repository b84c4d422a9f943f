#include "host/output.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <ctime>

#include "host/errors.h"

namespace host {
namespace {

void write(std::string_view text) {
  // Flushed here, since an error of a full disk would be lost at the exit.
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
    throw CommandError("standard output cannot be written");
  }
}

}  // namespace

void printJson(const Json& document) {
  constexpr int kIndent = 2;
  write(document.dump(kIndent, ' ', false, Json::error_handler_t::replace) + "\n");
}

void printText(std::string_view text) {
  std::string clean;
  for (const char c : text) {
    const auto code = static_cast<unsigned char>(c);
    // Bytes from 0x80 on are parts of UTF-8 and stay.
    const bool control = (code < ' ' && c != '\n') || code == 0x7F;
    clean += control ? fmt::format("\\x{:02x}", code) : std::string(1, c);
  }
  write(clean);
}

std::string timeText(std::uint64_t milliseconds) {
  const std::uint64_t seconds = milliseconds / 1000;
  return fmt::format("{}:{:02}:{:02}.{:03}", seconds / 3600, seconds / 60 % 60, seconds % 60, milliseconds % 1000);
}

std::string utcText(std::int64_t milliseconds) {
  const std::chrono::sys_time time{std::chrono::milliseconds(milliseconds)};
  const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
  // As a number: fmt would count a time point in nanoseconds, which 64 bits have only until 2262.
  const auto calendar = fmt::gmtime(std::time_t{seconds.time_since_epoch().count()});
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", calendar, (time - seconds).count());
}

std::string hexText(std::span<const std::byte> bytes) {
  std::string text;
  for (const std::byte byte : bytes) text += fmt::format("{:02x}", std::to_integer<unsigned>(byte));
  return text;
}

}  // namespace host
