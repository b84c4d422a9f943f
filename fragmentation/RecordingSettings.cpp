#include "fragmentation/RecordingSettings.h"

#include <boost/algorithm/string/predicate.hpp>
#include <boost/lexical_cast.hpp>
#include <locale>
#include <span>

#include "platform/os/wipe.h"

namespace ruvo::k2r {
namespace {

constexpr char kSection[] = "recording";
/// Characters of the first buffer, which every usual value fits.
constexpr std::uint32_t kFirstSize = 1024;
// A host that reports ever larger sizes must not hang a stream or take all memory: a longer value, or one that did not
// come after this many attempts, counts as absent.
constexpr std::uint32_t kLongestValue = 1024 * 1024;
constexpr int kMostAttempts = 16;

}  // namespace

std::uint32_t RecordingSettings::readUnsigned(const char* key, std::uint32_t fallback) const {
  const auto value = read(key);
  // lexical_cast and not strtoul: " 4000" and "4000ms" are mistakes that the log should show.
  return value ? boost::lexical_cast<std::uint32_t>(*value) : fallback;
}

double RecordingSettings::readDouble(const char* key, double fallback) const {
  const auto value = read(key);
  return value ? boost::lexical_cast<double>(*value) : fallback;
}

bool RecordingSettings::readBool(const char* key, bool fallback) const {
  const auto value = read(key);
  // The classic locale: the result must not depend on the locale that the host has set.
  return value ? boost::algorithm::iequals(*value, "true", std::locale::classic()) : fallback;
}

std::string RecordingSettings::readString(const char* key, const std::string& fallback) const {
  return read(key).value_or(fallback);
}

std::optional<std::string> RecordingSettings::read(const char* key) const {
  std::uint32_t size = kFirstSize;
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    // One character more than the host may fill, so that the text ends even if the host does not terminate it.
    std::string buffer(std::size_t{size} + 1, '\0');
    const auto neededSize = static_cast<std::uint32_t>(context_.property(kSection, key, buffer.data(), size));
    if (neededSize == 0) {
      std::optional<std::string> value(buffer.c_str());
      platform::os::wipe(std::as_writable_bytes(std::span(buffer)));  // It may be a password.
      return value;
    }
    // Unsigned, so that this includes the negative results, which mean that there is no such key.
    if (neededSize > kLongestValue) return std::nullopt;
    size = neededSize + 1;
  }
  return std::nullopt;
}

}  // namespace ruvo::k2r
