#include "host/files/RecordingDirectory.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>

#include "host/errors.h"

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kBootstrap = ".bootstrap";

std::string nameOf(const fs::path& path) {
  std::error_code error;
  const fs::path canonical = fs::weakly_canonical(fs::absolute(path), error);
  const fs::path& known = error ? path : canonical;
  return known.has_filename() ? known.filename().string() : known.parent_path().filename().string();
}

std::vector<std::string> listNames(const std::string& path) {
  std::vector<std::string> names;
  try {
    if (!fs::is_directory(path)) throw CommandError(fmt::format("'{}' is not a directory", path));
    for (const fs::directory_entry& entry : fs::directory_iterator(path)) {
      // A mark that no file name has tells the others from files.
      names.push_back(entry.path().filename().string() + (entry.is_regular_file() ? "" : "/"));
    }
  } catch (const fs::filesystem_error& error) {
    throw CommandError(fmt::format("'{}' cannot be read: {}", path, error.code().message()));
  }
  std::sort(names.begin(), names.end());
  return names;
}

/// N of `Seg<N><extension>`, in plain decimal from 1.
std::optional<std::uint32_t> segmentNumber(std::string_view name, std::string_view extension) {
  if (!name.starts_with("Seg") || !name.ends_with(extension)) return std::nullopt;
  name.remove_prefix(3);
  name.remove_suffix(extension.size());
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
  if (error != std::errc() || end != name.data() + name.size() || name.starts_with('0')) return std::nullopt;
  return number;
}

std::string chooseStem(const std::vector<std::string>& names, const std::string& directoryName) {
  std::vector<std::string> others;
  for (const std::string& name : names) {
    if (name.starts_with(directoryName + ".") || name.starts_with(directoryName + "Seg")) return directoryName;
    if (name.ends_with(kBootstrap)) others.push_back(name.substr(0, name.size() - kBootstrap.size()));
  }
  return others.size() == 1 ? others.front() : directoryName;
}

void sortIn(RecordingDirectory& directory, const std::string& name) {
  if (!name.starts_with(directory.stem)) {
    directory.foreign.push_back(name);
    return;
  }
  const std::string_view rest = std::string_view(name).substr(directory.stem.size());
  if (rest == kBootstrap) {
    directory.hasBootstrap = true;
  } else if (rest == ".control") {
    directory.hasControl = true;
  } else if (rest == ".meta") {
    directory.hasMeta = true;
  } else if (rest == ".drmmeta") {
    directory.hasDrmMeta = true;
  } else if (rest == ".bootstrap.tmp" || rest == ".k2i.tmp") {
    directory.temporary.push_back(name);
  } else if (const auto segment = segmentNumber(rest, ".k2r")) {
    directory.segments.insert(*segment);
  } else if (const auto index = segmentNumber(rest, ".k2i")) {
    directory.indexes.insert(*index);
  } else {
    directory.foreign.push_back(name);
  }
}

}  // namespace

std::string RecordingDirectory::segmentName(std::uint32_t number) const {
  return fmt::format("{}Seg{}.k2r", stem, number);
}

std::string RecordingDirectory::indexName(std::uint32_t number) const {
  return fmt::format("{}Seg{}.k2i", stem, number);
}

RecordingDirectory readRecordingDirectory(const std::string& path) {
  const std::vector<std::string> names = listNames(path);
  const std::string directoryName = nameOf(path);
  RecordingDirectory directory;
  directory.path = path;
  directory.stem = chooseStem(names, directoryName);
  directory.renamed = directory.stem != directoryName;
  for (const std::string& name : names) sortIn(directory, name);
  return directory;
}

}  // namespace host
