#include "host/OutputDirectory.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "host/errors.h"
#include "host/recordingFiles.h"

namespace host {
namespace {

using Kind = DirectoryContent::Kind;

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
  if (mode == OpenMode::kAppend && content.hasBootstrap) return;
  if (!content.foreignEntry.empty()) {
    throw CommandError(fmt::format("'{}' is not (only) a recording, since it holds '{}'; nothing was changed", native_,
                                   content.foreignEntry));
  }
}

ReplacedRecording::ReplacedRecording(const OutputDirectory& place)
    : native_(place.native()), stem_(place.stem()), aside_(place.native() + ".replaced") {
  held_ = std::rename(native_.c_str(), aside_.c_str()) == 0;
  if (held_ || errno == ENOENT) return;
  if (errno == EEXIST || errno == ENOTEMPTY) {
    throw CommandError(
        fmt::format("'{}' is in the way: it may be a recording that an interrupted --overwrite put aside; "
                    "move it back or remove it",
                    aside_));
  }
  throw CommandError(fmt::format("cannot put aside '{}': {}", native_, std::strerror(errno)));
}

ReplacedRecording::~ReplacedRecording() {
  if (!held_) return;
  // What the failed opening left is an empty directory at most.
  removeRecording(native_, stem_, Durability::kProcess);
  std::rename(aside_.c_str(), native_.c_str());
}

bool ReplacedRecording::discard() {
  return !std::exchange(held_, false) || removeRecording(aside_, stem_, Durability::kProcess);
}

}  // namespace host
