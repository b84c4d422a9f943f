#include "host/settingsTable.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <system_error>
#include <vector>

#include "host/Command.h"
#include "host/errors.h"
#include "host/nearestWord.h"
#include "platform/os/paths.h"

namespace host {
namespace {

using Kind = SettingKind;

/// Times of frames are whole milliseconds, so that there cannot be more.
constexpr std::uint32_t kMostFramesASecond = 1000;
constexpr std::uint32_t kAnyNumber = std::numeric_limits<std::uint32_t>::max();

/// In the order of README.md, which a test compares with it.
constexpr SettingInfo kSettings[] = {
    {"Recording/FragmentDuration", Kind::kMilliseconds, "4000", "grid of the fragments", 1},
    {"Recording/SegmentDuration", Kind::kMilliseconds, "0",
     "0 for one segment file, else the time after which a new one begins"},
    {"Recording/DurationPrecision", Kind::kMilliseconds, "100", "grid to which the bootstrap rounds durations", 1},
    {"Recording/AllowedDrift", Kind::kMilliseconds, "1000",
     "how far a fragment may begin from where the bootstrap predicts it"},
    {"Recording/FrameRate", Kind::kDecimal, "0",
     "frames a second; above 0 durations follow from this and the next three settings", 0, kMostFramesASecond},
    {"Recording/FramesPerKeyframeInterval", Kind::kNumber, "0", "frames from key frame to key frame"},
    {"Recording/KeyframeIntervalsPerFragment", Kind::kNumber, "1", "key frame intervals in a fragment"},
    {"Recording/FramePrecision", Kind::kNumber, "1", "as DurationPrecision, in frames"},
    {"Recording/IsProtected", Kind::kBoolean, "false",
     "whether the samples are encrypted; `k2r keys new` makes a set of what the next settings name"},
    {"Recording/VantryV2/ContentID", Kind::kText, "", "identifier of the content"},
    {"Recording/VantryV2/CommonKeyPath", Kind::kFile, "", "content key, 16 bytes"},
    {"Recording/VantryV2/LicenseServerURL", Kind::kText, "", "address of the license server"},
    {"Recording/VantryV2/LicenseServerCertPath", Kind::kFile, "", "certificate of the license server"},
    {"Recording/VantryV2/TransportCertPath", Kind::kFile, "", "certificate of the license server's transport"},
    {"Recording/VantryV2/PackagerCredentialPath", Kind::kFile, "", "key and certificate of the packager, PKCS #12"},
    {"Recording/VantryV2/PackagerCredentialPwd", Kind::kSecret, "", "password of the packager's credential"},
    {"Recording/VantryV2/PolicyPath", Kind::kFile, "", "policy for the license server"},
    {"Recording/VantryV2/EncryptAudio", Kind::kBoolean, "true", "whether audio is encrypted"},
    {"Recording/VantryV2/EncryptVideo", Kind::kBoolean, "true", "whether video is encrypted"},
    {"Recording/VantryV2/EncryptData", Kind::kBoolean, "true", "whether script data are encrypted"},
    {"Recording/VantryV2/VideoEncryptLevel", Kind::kNumber, "2",
     "level of video encryption (0 key frames, 1 also other reference frames, 2 all frames)", 0, 2},
    {"k2r/MaxEraseRetries", Kind::kNumber, "2", "how often the removal of an old recording is tried again"},
    {"k2r/WarningsAsErrors", Kind::kBoolean, "false", "read by the module, without effect"},
    {"k2r/EnableAggMsgs", Kind::kBoolean, "true", "read by the module, without effect"},
    {"k2r/MaxAggMsgSize", Kind::kNumber, "65536", "read by the module, without effect"},
};

/// ASCII only: the locale must not decide whether a setting is valid.
char lowerCase(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equalsIgnoringCase(std::string_view text, std::string_view lower) {
  return std::ranges::equal(text, lower, {}, lowerCase);
}

/// Stricter than the module: it takes "-1" for 4294967295, and of "2.5" frames only the 2.
bool isNumber(const SettingInfo& setting, std::string_view text) {
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() && number >= setting.least && number <= setting.most;
}

bool isDecimal(const SettingInfo& setting, std::string_view text) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() && std::isfinite(number) && !std::signbit(number) &&
         number >= setting.least && number <= setting.most;
}

bool isValid(const SettingInfo& setting, std::string_view value) {
  switch (setting.kind) {
    case Kind::kMilliseconds:
    case Kind::kNumber:
      return isNumber(setting, value);
    case Kind::kDecimal:
      return isDecimal(setting, value);
    case Kind::kBoolean:
      return equalsIgnoringCase(value, "true") || equalsIgnoringCase(value, "false");
    case Kind::kText:
    case Kind::kFile:
    case Kind::kSecret:
      return true;
  }
  return false;
}

std::string expectation(const SettingInfo& setting) {
  const std::string range = fmt::format("from {} to {}", setting.least, setting.most);
  switch (setting.kind) {
    case Kind::kMilliseconds:
      return "a whole number of milliseconds " + range;
    case Kind::kNumber:
      return "a whole number " + range;
    case Kind::kDecimal:
      return "a number " + range;
    case Kind::kBoolean:
      return "true or false";
    case Kind::kText:
    case Kind::kFile:
    case Kind::kSecret:
      return "a text";
  }
  return "";
}

/// A long value is cut: it may be a line of something that is no setting.
std::string shownValue(std::string_view value) {
  constexpr std::size_t kMostShown = 24;
  return value.size() <= kMostShown ? std::string(value) : std::string(value.substr(0, kMostShown)) + "...";
}

}  // namespace

std::span<const SettingInfo> knownSettings() {
  return kSettings;
}

const SettingInfo* findSetting(std::string_view key) {
  const auto* const found = std::ranges::find(kSettings, key, &SettingInfo::key);
  return found == std::end(kSettings) ? nullptr : found;
}

std::string nearestSetting(std::string_view typed) {
  std::vector<std::string> keys;
  for (const SettingInfo& setting : kSettings) keys.emplace_back(setting.key);
  return nearestWord(typed, keys);
}

void checkValue(const SettingInfo& setting, std::string_view value) {
  if (value.find('\0') != std::string_view::npos) {
    throw UsageError(fmt::format("{}: the value contains a zero byte", setting.key));
  }
  if (isValid(setting, value)) return;
  throw UsageError(fmt::format("{} = '{}': expected {}", setting.key, shownValue(value), expectation(setting)));
}

void normalize(const SettingInfo& setting, std::string& value) {
  if (setting.kind == Kind::kBoolean) std::ranges::transform(value, value.begin(), lowerCase);
  // As the module would open it; its log then shows the path in this form, too.
  if (setting.kind == Kind::kFile) value = platform::os::toNative(value);
}

std::string describe(const SettingInfo& setting) {
  std::string text(setting.text);
  if (setting.kind == Kind::kMilliseconds) text += ", in ms";
  if (setting.most != kAnyNumber) return text + fmt::format(", {} to {}", setting.least, setting.most);
  return setting.least == 0 ? text : text + fmt::format(", {} or more", setting.least);
}

std::string settingsHelp() {
  std::string help;
  for (const SettingInfo& setting : kSettings) {
    const std::string fallback = setting.fallback.empty() ? "" : fmt::format(". Default: {}", setting.fallback);
    help += helpEntry(std::string(setting.key), describe(setting) + fallback);
  }
  return help;
}

}  // namespace host
