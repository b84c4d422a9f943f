#include "host/OutputDirectory.h"

#include <fmt/format.h>

#include <algorithm>
#include <climits>
#include <exception>
#include <filesystem>
#include <system_error>

#include "host/DirectoryLock.h"
#include "host/errors.h"
#include "host/recordingFiles.h"

namespace host {
namespace {

using Kind = DirectoryContent::Kind;

/// The longest that follows a stem: with the 10 digits of the highest segment number.
constexpr std::size_t kLongestSuffix = std::string_view("Seg4294967295.k2r").size();

}  // namespace

OutputDirectory::OutputDirectory(const std::string& given) {
  std::error_code error;
  const auto absolute = std::filesystem::absolute(given, error);
  const auto canonical = error ? absolute : std::filesystem::weakly_canonical(absolute, error);
  if (error) throw UsageError(fmt::format("'{}' is no path of a directory: {}", given, error.message()));
  native_ = canonical.string();
  while (native_.size() > 1 && native_.back() == '/') native_.pop_back();
  stem_ = native_.substr(native_.rfind('/') + 1);
  if (stem_.empty()) throw UsageError("a recording needs a directory of its own, not the root directory");
  if (native_.find('\\') != std::string::npos) {
    throw UsageError(fmt::format("'{}' cannot hold a recording, since there is a backslash in its path", native_));
  }
  if (stem_.size() + kLongestSuffix > NAME_MAX || native_.size() + 1 + stem_.size() + kLongestSuffix >= PATH_MAX) {
    throw UsageError(
        fmt::format("'{}' is too long a name for a recording, whose files are named after it: at most {} "
                    "bytes in the last part, {} in all",
                    native_, NAME_MAX - kLongestSuffix, PATH_MAX - 2 - kLongestSuffix - stem_.size()));
  }
}

std::string OutputDirectory::modulePath() const {
  std::string path = native_;
  std::replace(path.begin(), path.end(), '/', '\\');
  return path;
}

void OutputDirectory::require(OpenMode mode) const {
  const DirectoryContent content = examineDirectory(native_, stem_);
  if (content.kind == Kind::kOther) throw CommandError(fmt::format("'{}' is not a directory", native_));
  if (content.kind == Kind::kMissing || content.empty) return;
  if (mode == OpenMode::kNew) {
    throw CommandError(
        fmt::format("'{}' is not empty; --append continues a recording in it, --overwrite replaces one", native_));
  }
  if (mode == OpenMode::kAppend) requireRegular();
  if (mode == OpenMode::kAppend && content.hasBootstrap) return;
  if (!content.foreignEntry.empty()) {
    throw CommandError(fmt::format("'{}' is not (only) a recording, since it holds '{}'; nothing was changed", native_,
                                   content.foreignEntry));
  }
}

void OutputDirectory::requireRegular() const {
  const DirectoryContent content = examineDirectory(native_, stem_);
  if (content.irregularFile.empty()) return;
  throw CommandError(fmt::format("'{}' cannot be written to, since '{}' in it is no regular file; nothing was changed",
                                 native_, content.irregularFile));
}

std::string interruptedOverwrite(const OutputDirectory& place) {
  const std::string aside = place.aside();
  const DirectoryContent old = examineDirectory(aside, place.stem());
  if (old.kind != Kind::kDirectory || old.empty || !old.foreignEntry.empty()) return "";
  if (DirectoryLock(aside).state() == DirectoryLock::State::kTaken) return "";
  const bool replaced = examineDirectory(place.native(), place.stem()).hasBootstrap;
  return fmt::format("'{}' holds a recording that an interrupted --overwrite put aside; {}", aside,
                     replaced ? "the new one is in its place: move the old one or remove it"
                              : fmt::format("k2r repair '{}' puts it back", place.native()));
}

void requireNothingAside(const OutputDirectory& place) {
  const std::string told = interruptedOverwrite(place);
  if (!told.empty()) throw CommandError(told);
}

void tellInterruptedOverwrite(const std::string& path, Log& log) {
  try {
    const std::string told = interruptedOverwrite(OutputDirectory(path));
    if (!told.empty()) log.warning(told);
  } catch (const std::exception&) {
    // What is wrong with the path is told by whoever reads there.
  }
}

}  // namespace host
