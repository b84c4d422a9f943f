#include "host/Settings.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <system_error>

#include "host/asciiText.h"
#include "host/errors.h"
#include "host/settingsTable.h"
#include "platform/os/durableFiles.h"
#include "platform/os/wipe.h"

namespace host {
namespace {

constexpr std::size_t kMaxFileSize = 1 << 20;
constexpr std::string_view kWhiteSpace = " \t\r\v\f";

/// A `#` within a word is part of the value, since URLs and passwords have it.
std::string_view withoutComment(std::string_view line) {
  for (std::size_t at = line.find('#'); at != std::string_view::npos; at = line.find('#', at + 1)) {
    if (at == 0 || kWhiteSpace.find(line[at - 1]) != std::string_view::npos) return line.substr(0, at);
  }
  return line;
}

/// Whether a key looks like one. A line of base64 has an equals sign, too, and may be secret.
bool looksLikeKey(std::string_view key) {
  return (key.starts_with("Recording/") || key.starts_with("k2r/")) &&
         key.find_first_of(kWhiteSpace) == std::string_view::npos;
}

/// Says that a key is unknown, and which one is near.
std::string unknownKey(std::string_view key, bool isShown) {
  const std::string near = nearestSetting(key);
  return fmt::format("unknown setting{}; {}", isShown ? fmt::format(" '{}'", key) : "",
                     near.empty() ? "k2r record --help lists the settings" : fmt::format("did you mean {}?", near));
}

std::span<std::byte> bytesOf(std::string& text) {
  return std::as_writable_bytes(std::span(text));
}

/// Wipes at the end of the scope what may contain a password.
class Wiped {
 public:
  explicit Wiped(std::span<std::byte> bytes) : bytes_(bytes) { platform::os::keepPrivate(bytes_); }
  ~Wiped() { platform::os::wipe(bytes_); }
  Wiped(const Wiped&) = delete;
  Wiped& operator=(const Wiped&) = delete;

 private:
  std::span<std::byte> bytes_;
};

/// Does not open the file: a pipe would lose what it gives.
void requireReadable(std::string_view key, std::string_view path) {
  const std::string file(path);
  std::error_code error;
  if (std::filesystem::is_directory(file, error)) error = std::make_error_code(std::errc::is_a_directory);
  if (!error && ::access(file.c_str(), R_OK) != 0) error = {errno, std::generic_category()};
  if (error) throw UsageError(fmt::format("{} = '{}': the file cannot be read: {}", key, path, error.message()));
}

}  // namespace

Settings::~Settings() {
  for (auto& [key, value] : values_) platform::os::wipe(bytesOf(value));
}

void Settings::assign(std::string_view assignment) {
  const std::size_t equals = assignment.find('=');
  if (equals == std::string_view::npos) {
    throw UsageError(fmt::format("setting '{}' is not of the form KEY=VALUE", assignment));
  }
  const std::string_view key = assignment.substr(0, equals);
  // Shown whatever it looks like: a user has typed it, and it is in no file that may be secret.
  if (findSetting(key) == nullptr) throw UsageError(unknownKey(key, true));
  set(key, assignment.substr(equals + 1));
}

void Settings::readFile(const std::string& path) {
  auto content = platform::os::readFile(path, kMaxFileSize, platform::os::AllowedFile::kAny);
  if (!content) throw UsageError(fmt::format("cannot read settings from '{}' (a file of at most 1 MiB)", path));
  // The file may contain the password.
  const Wiped wiped(*content);
  readText({reinterpret_cast<const char*>(content->data()), content->size()}, path);
}

void Settings::readText(std::string_view text, const std::string& name) {
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::string_view line = trimmed(withoutComment(text.substr(0, text.find('\n'))), kWhiteSpace);
    text.remove_prefix(std::min(text.find('\n'), text.size() - 1) + 1);
    if (line.empty()) continue;
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) {
      // Without the line: it may be one of a key that was given by mistake.
      throw UsageError(fmt::format("{}:{}: expected KEY = VALUE", name, number));
    }
    try {
      set(trimmed(line.substr(0, equals), kWhiteSpace), trimmed(line.substr(equals + 1), kWhiteSpace));
    } catch (const UsageError& error) {
      throw UsageError(fmt::format("{}:{}: {}", name, number, error.what()));
    }
  }
}

const std::string* Settings::find(std::string_view key) const {
  const auto found = values_.find(key);
  return found == values_.end() ? nullptr : &found->second;
}

void Settings::set(std::string_view key, std::string_view value) {
  const SettingInfo* const setting = findSetting(key);
  if (setting == nullptr) throw UsageError(unknownKey(key, looksLikeKey(key)));
  checkValue(*setting, value);
  std::string& kept = values_[std::string(key)];
  platform::os::wipe(bytesOf(kept));
  kept.assign(value);  // In place, so that no copy is left.
  normalize(*setting, kept);
  if (setting->kind != SettingKind::kSecret) return;
  platform::os::keepPrivate(bytesOf(kept));
  // The key that it leads to is in the memory of a library, which knows of no such pages.
  platform::os::makeNoDumps();
}

void Settings::requireComplete() const {
  if (number("Recording/FrameRate") > 0) requireFrames();
  if (text("Recording/IsProtected") == "true") requireProtection();
}

std::string_view Settings::text(std::string_view key) const {
  const std::string* const given = find(key);
  return given != nullptr ? std::string_view(*given) : findSetting(key)->fallback;
}

double Settings::number(std::string_view key) const {
  const std::string_view digits = text(key);
  double number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);  // checkValue() has accepted it.
  return number;
}

/// The module computes the length of a fragment from these, in 32 bits, and stops if nothing is left of it.
void Settings::requireFrames() const {
  for (const char* const key :
       {"Recording/FramesPerKeyframeInterval", "Recording/KeyframeIntervalsPerFragment", "Recording/FramePrecision"}) {
    if (number(key) < 1) throw UsageError(fmt::format("{} has to be 1 or more with Recording/FrameRate above 0", key));
  }
  constexpr double kMost = 4294967295.0;
  const double frames =
      number("Recording/FramesPerKeyframeInterval") * number("Recording/KeyframeIntervalsPerFragment");
  const double milliseconds = frames / number("Recording/FrameRate") * 1000;
  if (frames <= kMost && milliseconds >= 1 && milliseconds <= kMost) return;
  throw UsageError(
      fmt::format("Recording/FrameRate, FramesPerKeyframeInterval and KeyframeIntervalsPerFragment make fragments of "
                  "{:g} frames and "
                  "{:g} ms; expected 1 to {} ms, and at most as many frames",
                  frames, milliseconds, static_cast<std::uint32_t>(kMost)));
}

/// The module would find out at the first fragment only, and nothing would be recorded.
void Settings::requireProtection() const {
  using Kind = SettingKind;
  for (const SettingInfo& setting : knownSettings()) {
    if (setting.kind != Kind::kText && setting.kind != Kind::kFile && setting.kind != Kind::kSecret) continue;
    if (text(setting.key).empty()) {
      throw UsageError(fmt::format("{} is needed with Recording/IsProtected = true", setting.key));
    }
    if (setting.kind == Kind::kFile) requireReadable(setting.key, text(setting.key));
  }
}

}  // namespace host
