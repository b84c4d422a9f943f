#include "host/serve/config/readServeConfig.h"

#include <fmt/format.h>

#include <toml++/toml.h>
#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <string_view>

#include "host/serve/config/ConfigError.h"
#include "host/serve/config/ConfigReader.h"
#include "host/serve/config/secretFiles.h"
#include "platform/os/durableFiles.h"

namespace host::serve {
namespace {

constexpr std::size_t kMaxFileSize = std::size_t{16} << 20;
/// The parser bounds the nesting of values, but not the parts of a key, which are nested tables, too.
constexpr std::size_t kLongestConfigLine = 8192;

void requireShortLines(std::string_view text, ConfigFindings& findings) {
  for (unsigned number = 1; !text.empty(); ++number) {
    const std::size_t length = std::min(text.find('\n'), text.size());
    if (length > kLongestConfigLine) {
      findings.add({.place = {.line = number, .column = kLongestConfigLine + 1},
                    .key = "",
                    .text = fmt::format("a line has at most {} bytes", kLongestConfigLine)});
    }
    text.remove_prefix(std::min(length + 1, text.size()));
  }
}

toml::table parsed(std::string_view text, const std::string& path, ConfigFindings& findings) {
  requireShortLines(text, findings);
  findings.throwIfAny(path);
  try {
    return toml::parse(text);
  } catch (const toml::parse_error& error) {
    const auto place = error.source().begin;
    findings.add(
        {.place = {.line = place.line, .column = place.column}, .key = "", .text = std::string(error.description())});
    findings.throwIfAny(path);
    throw;
  }
}

}  // namespace

ServeConfig readServeConfig(const std::string& path, Log* log) {
  const auto file = platform::os::readFileStart(path, kMaxFileSize, platform::os::AllowedFile::kAny);
  if (file.error) throw UsageError(fmt::format("cannot read '{}': {}", path, file.error.message()));
  if (file.content.size() == kMaxFileSize) throw UsageError(fmt::format("'{}' is too large", path));
  ConfigFindings findings;
  const std::string_view text(reinterpret_cast<const char*>(file.content.data()), file.content.size());
  const toml::table table = parsed(text, path, findings);
  ConfigReader reader(std::filesystem::absolute(path).parent_path().string(), findings);
  ServeConfig config = reader.read(table);
  findings.throwIfAny(path);
  if (log == nullptr) return config;
  for (const std::string& warning : reader.warnings()) log->warning(warning);
  const std::string warning = reader.hasSecrets() ? permissionWarning(path) : "";
  if (!warning.empty()) log->warning(warning);
  return config;
}

}  // namespace host::serve
