#include "host/Settings.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <span>

#include "host/errors.h"
#include "platform/os/durableFiles.h"
#include "platform/os/wipe.h"

namespace host {
namespace {

constexpr std::size_t kMaxFileSize = 1 << 20;
constexpr std::string_view kWhiteSpace = " \t\r\v\f";

constexpr std::string_view kPasswordKey = "Recording/VantryV2/PackagerCredentialPwd";

constexpr std::string_view kKnownKeys[] = {
    "k2r/WarningsAsErrors",
    "k2r/EnableAggMsgs",
    "k2r/MaxAggMsgSize",
    "k2r/MaxEraseRetries",
    "Recording/FragmentDuration",
    "Recording/DurationPrecision",
    "Recording/AllowedDrift",
    "Recording/FrameRate",
    "Recording/FramesPerKeyframeInterval",
    "Recording/KeyframeIntervalsPerFragment",
    "Recording/FramePrecision",
    "Recording/SegmentDuration",
    "Recording/IsProtected",
    "Recording/VantryV2/ContentID",
    "Recording/VantryV2/CommonKeyPath",
    "Recording/VantryV2/LicenseServerURL",
    "Recording/VantryV2/TransportCertPath",
    "Recording/VantryV2/LicenseServerCertPath",
    "Recording/VantryV2/PackagerCredentialPath",
    kPasswordKey,
    "Recording/VantryV2/PolicyPath",
    "Recording/VantryV2/EncryptAudio",
    "Recording/VantryV2/EncryptVideo",
    "Recording/VantryV2/EncryptData",
    "Recording/VantryV2/VideoEncryptLevel",
};

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kWhiteSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

std::string_view withoutComment(std::string_view line) {
  for (std::size_t at = line.find('#'); at != std::string_view::npos; at = line.find('#', at + 1)) {
    if (at == 0 || kWhiteSpace.find(line[at - 1]) != std::string_view::npos) return line.substr(0, at);
  }
  return line;
}

/// A key in an error, where it looks like one. A line of base64 has an equals sign, too, and may be secret.
std::string shownKey(std::string_view key) {
  const bool isKey = (key.starts_with("Recording/") || key.starts_with("k2r/")) &&
                     key.find_first_of(kWhiteSpace) == std::string_view::npos;
  return isKey ? fmt::format(" '{}'", key) : "";
}

std::span<std::byte> bytesOf(std::string& text) {
  return std::as_writable_bytes(std::span(text));
}

/// Wipes what may hold a password at the end of the scope.
class Wiped {
 public:
  explicit Wiped(std::span<std::byte> bytes) : bytes_(bytes) { platform::os::keepPrivate(bytes_); }
  ~Wiped() { platform::os::wipe(bytes_); }
  Wiped(const Wiped&) = delete;
  Wiped& operator=(const Wiped&) = delete;

 private:
  std::span<std::byte> bytes_;
};

}  // namespace

Settings::~Settings() {
  for (auto& [key, value] : values_) platform::os::wipe(bytesOf(value));
}

void Settings::assign(std::string_view assignment) {
  const std::size_t equals = assignment.find('=');
  if (equals == std::string_view::npos) {
    throw UsageError(fmt::format("setting '{}' is not of the form KEY=VALUE", assignment));
  }
  set(assignment.substr(0, equals), assignment.substr(equals + 1));
}

void Settings::readFile(const std::string& path) {
  auto content = platform::os::readFile(path, kMaxFileSize, platform::os::FileKind::kAny);
  if (!content) throw UsageError(fmt::format("cannot read settings from '{}' (a file of at most 1 MiB)", path));
  const Wiped wiped(*content);
  readText({reinterpret_cast<const char*>(content->data()), content->size()}, path);
}

void Settings::readText(std::string_view text, const std::string& name) {
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::string_view line = trimmed(withoutComment(text.substr(0, text.find('\n'))));
    text.remove_prefix(std::min(text.find('\n'), text.size() - 1) + 1);
    if (line.empty()) continue;
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) {
      // Without the line: it may be one of a key that was given by mistake.
      throw UsageError(fmt::format("{}:{}: expected KEY = VALUE", name, number));
    }
    try {
      set(trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)));
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
  if (std::find(std::begin(kKnownKeys), std::end(kKnownKeys), key) == std::end(kKnownKeys)) {
    throw UsageError(fmt::format("unknown setting{}; the settings are {}", shownKey(key), fmt::join(kKnownKeys, ", ")));
  }
  if (value.find('\0') != std::string_view::npos) {
    throw UsageError(fmt::format("the value of setting '{}' holds a zero byte", key));
  }
  std::string& kept = values_[std::string(key)];
  platform::os::wipe(bytesOf(kept));
  kept.assign(value);  // In place, so that no copy is left.
  if (key != kPasswordKey) return;
  platform::os::keepPrivate(bytesOf(kept));
  // The key that it leads to lies in the memory of a library, which knows of no such pages.
  platform::os::makeNoDumps();
}

}  // namespace host
