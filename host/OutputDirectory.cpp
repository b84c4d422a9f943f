#include "host/OutputDirectory.h"

#include <fmt/format.h>

#include <algorithm>
#include <climits>
#include <exception>
#include <filesystem>
#include <optional>
#include <system_error>

#include "fileset/RecordingDirectory.h"
#include "host/DirectoryLock.h"
#include "host/errors.h"

namespace host {
namespace {

using fileset::kLongestSuffix;

/// What is in the directory `path`, which may be missing. Nothing if something else is there. Throws std::system_error
/// if it cannot be read.
std::optional<fileset::RecordingDirectory> examine(const std::string& path, const std::string& stem) {
  std::error_code error;
  auto content = fileset::examineRecordingDirectory(path, stem, error);
  if (error == std::errc::not_a_directory || error == std::errc::too_many_symbolic_link_levels) return std::nullopt;
  if (error && error != std::errc::no_such_file_or_directory) throw std::system_error(error, path);
  return content;
}

}  // namespace

OutputDirectory::OutputDirectory(const std::string& given) {
  if (given.empty()) throw UsageError("a recording needs a directory, and the path given is empty");
  std::error_code error;
  const auto absolute = std::filesystem::absolute(given, error);
  // Without links: the same directory must have the same lock and the same stem, however the user names it.
  const auto canonical = error ? absolute : std::filesystem::weakly_canonical(absolute, error);
  if (error) throw CommandError(fmt::format("'{}' is not the path of a directory: {}", given, error.message()));
  native_ = canonical.string();
  while (native_.size() > 1 && native_.back() == '/') native_.pop_back();
  stem_ = native_.substr(native_.rfind('/') + 1);
  if (stem_.empty()) throw UsageError("a recording needs a directory of its own, not the root directory");
  if (native_.find('\\') != std::string::npos) {
    throw UsageError(
        fmt::format("'{}' cannot be the directory of a recording, because its path has a backslash", native_));
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
  const auto content = examine(native_, stem_);
  if (!content) throw CommandError(fmt::format("'{}' is not a directory", native_));
  if (content->hasNoEntry()) return;
  if (mode == OpenMode::kNew) {
    throw CommandError(
        fmt::format("'{}' is not empty; --append continues a recording in it, --overwrite replaces one", native_));
  }
  if (mode == OpenMode::kAppend) requireRegular();
  // With a bootstrap an append removes nothing, so foreign entries are no danger.
  if (mode == OpenMode::kAppend && content->hasBootstrap) return;
  if (!content->foreign.empty()) {
    throw CommandError(fmt::format("'{}' is not a recording, or not only one: it contains '{}'; nothing was changed",
                                   native_, content->foreign.front()));
  }
}

void OutputDirectory::requireRegular() const {
  const auto content = examine(native_, stem_);
  if (!content || content->irregular.empty()) return;
  throw CommandError(
      fmt::format("'{}' cannot be written to, since '{}' in it is not a regular file; nothing was changed", native_,
                  content->irregular.front()));
}

std::string interruptedOverwrite(const OutputDirectory& place) {
  const std::string aside = place.aside();
  const auto old = examine(aside, place.stem());
  // With foreign entries it may be the user's own copy under that name.
  if (!old || old->hasNoEntry() || !old->foreign.empty()) return "";
  // A running --overwrite still has the lock of the old recording.
  if (DirectoryLock(aside).state() == DirectoryLock::State::kTaken) return "";
  const auto current = examine(place.native(), place.stem());
  const char* repaired = "puts it back";
  // With an index the new recording may have its first fragment, which a repair keeps. Only a look into it would show.
  if (current && !current->indexes.empty()) repaired = "finishes the new one if it has a fragment, else puts this back";
  return fmt::format("'{}' contains a recording that an interrupted --overwrite put aside; {}", aside,
                     current && current->hasBootstrap ? "the new one is in its place: move the old one or remove it"
                                                      : fmt::format("k2r repair '{}' {}", place.native(), repaired));
}

void requireNothingAside(const OutputDirectory& place) {
  const std::string text = interruptedOverwrite(place);
  if (!text.empty()) throw CommandError(text);
}

void warnOfInterruptedOverwrite(const std::string& path, Log& log) {
  try {
    const std::string text = interruptedOverwrite(OutputDirectory(path));
    if (!text.empty()) log.warning(text);
  } catch (const std::exception&) {
    // The command that reads the path reports what is wrong with it.
  }
}

}  // namespace host
