#include "host/serve/config/secretFiles.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "host/asciiText.h"
#include "host/errors.h"
#include "platform/os/durableFiles.h"

namespace host::serve {
namespace {

constexpr std::size_t kLongestSecret = 4096;
/// Shorter ones can be guessed.
constexpr std::size_t kShortestToken = 16;

}  // namespace

std::string readSecretLine(const std::string& path) {
  const auto file = platform::os::readFileStart(path, 2 * kLongestSecret);
  if (file.error) throw UsageError(fmt::format("cannot read '{}': {}", path, file.error.message()));
  std::string_view text(reinterpret_cast<const char*>(file.content.data()), file.content.size());
  text = trimmed(text, " \t\r\n");
  if (text.empty()) throw UsageError(fmt::format("'{}' is empty", path));
  if (text.size() > kLongestSecret || std::ranges::any_of(text, isControl)) {
    throw UsageError(fmt::format("'{}' is not one line of at most {} bytes", path, kLongestSecret));
  }
  return std::string(text);
}

std::string readToken(const std::string& path) {
  std::string token = readSecretLine(path);
  const auto isVisible = [](char c) {
    return c > ' ' && c < '\x7f' && std::string_view("\",;\\").find(c) == std::string_view::npos;
  };
  if (!std::ranges::all_of(token, isVisible)) {
    throw UsageError(fmt::format(R"('{}': a token is ASCII without spaces and without ", ; , and \)", path));
  }
  if (token.size() < kShortestToken) {
    throw UsageError(fmt::format("'{}': a token has at least {} characters", path, kShortestToken));
  }
  return token;
}

std::string permissionWarning(const std::string& path) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::perms permissions = fs::status(path, error).permissions();
  if (error || (permissions & fs::perms::others_read) == fs::perms::none) return "";
  return fmt::format("'{}' contains a secret and can be read by all users; chmod o-r takes that away", path);
}

}  // namespace host::serve
