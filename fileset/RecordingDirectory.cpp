#include "fileset/RecordingDirectory.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

namespace fileset {
namespace {

namespace fs = std::filesystem;
using platform::os::Directory;
using platform::os::DirectoryEntry;
using Type = DirectoryEntry::Type;

std::string nameOf(const fs::path& path) {
  std::error_code error;
  // Canonical, because "." and "dir/.." are no names.
  const fs::path canonical = fs::weakly_canonical(fs::absolute(path), error);
  const fs::path& known = error ? path : canonical;
  return known.has_filename() ? known.filename().string() : known.parent_path().filename().string();
}

/// A directory's name may be that of no file: users rename directories. Then a single bootstrap shows the stem.
std::string chooseStem(const std::vector<DirectoryEntry>& entries, const std::string& directoryName) {
  constexpr std::string_view kBootstrap = kBootstrapSuffix;
  std::vector<std::string> others;
  for (const auto& [name, type] : entries) {
    if (name.starts_with(directoryName + ".") || name.starts_with(directoryName + "Seg")) return directoryName;
    // A recording whose directory was renamed.
    if (type != Type::kOther && name.ends_with(kBootstrap)) {
      others.push_back(name.substr(0, name.size() - kBootstrap.size()));
    }
  }
  return others.size() == 1 ? others.front() : directoryName;
}

void addFile(RecordingDirectory& directory, const FileRole& role, const std::string& name) {
  switch (role.kind) {
    case FileKind::kBootstrap:
      directory.hasBootstrap = true;
      return;
    case FileKind::kControl:
      directory.hasControl = true;
      return;
    case FileKind::kMeta:
      directory.hasMeta = true;
      return;
    case FileKind::kDrmMeta:
      directory.hasDrmMeta = true;
      return;
    case FileKind::kSegment:
      directory.segments.insert(role.segment);
      return;
    case FileKind::kIndex:
      directory.indexes.insert(role.segment);
      return;
    case FileKind::kTemporary:
      directory.temporary.push_back(name);
  }
}

void sortIn(RecordingDirectory& directory, const DirectoryEntry& entry, Directory::Links links) {
  const bool isFile =
      entry.type == Type::kFile || (entry.type == Type::kLinkToFile && links == Directory::Links::kFollow);
  const auto role = roleOf(entry.name, directory.stem);
  if (role && isFile) {
    addFile(directory, *role, entry.name);
    return;
  }
  // Listed also if it only looks like a file of the recording: removing or overwriting it would reach something else.
  directory.foreign.push_back(entry.name + (isFile ? "" : "/"));
  if (role) directory.irregular.push_back(entry.name);
}

RecordingDirectory sorted(const std::string& path, std::string stem, std::vector<DirectoryEntry> entries,
                          Directory::Links links) {
  // So that reports name the same entry first on every file system.
  std::ranges::sort(entries, {}, &DirectoryEntry::name);
  RecordingDirectory directory;
  directory.path = path;
  directory.stem = std::move(stem);
  for (const DirectoryEntry& entry : entries) sortIn(directory, entry, links);
  return directory;
}

}  // namespace

RecordingDirectory readRecordingDirectory(const std::string& path, std::error_code& error) {
  auto listing = platform::os::listDirectory(path);
  error = listing.error;
  const std::string directoryName = nameOf(path);
  const std::string stem = chooseStem(listing.entries, directoryName);
  RecordingDirectory directory = sorted(path, stem, std::move(listing.entries), Directory::Links::kFollow);
  directory.renamed = stem != directoryName;
  return directory;
}

RecordingDirectory examineRecordingDirectory(const std::string& path, const std::string& stem, std::error_code& error) {
  auto listing = Directory(path, Directory::Links::kRefuse).list();
  error = listing.error;
  return sorted(path, stem, std::move(listing.entries), Directory::Links::kRefuse);
}

bool emptyRecording(const std::string& path, const std::string& stem, platform::os::Durability durability) {
  // Opened once: what is removed is what was checked, even if another directory takes the path meanwhile.
  const Directory directory(path, Directory::Links::kRefuse);
  auto [entries, error] = directory.list();
  // A missing directory is empty already.
  if (error) return error == std::errc::no_such_file_or_directory;
  for (const auto& [name, type] : entries) {
    if (type != Type::kFile || !roleOf(name, stem)) return false;
  }
  const auto remove = [&](auto begin, auto end) {
    return std::all_of(begin, end, [&](const DirectoryEntry& entry) { return directory.removeFile(entry.name); });
  };
  // An interruption must not leave a bootstrap that names removed files.
  const auto rest = std::partition(entries.begin(), entries.end(), [&](const DirectoryEntry& entry) {
    return roleOf(entry.name, stem)->kind == FileKind::kBootstrap;
  });
  return remove(entries.begin(), rest) && (rest == entries.begin() || directory.flush(durability)) &&
         remove(rest, entries.end());
}

bool removeRecording(const std::string& path, const std::string& stem, platform::os::Durability durability) {
  return emptyRecording(path, stem, durability) && platform::os::removeDirectory(path, durability);
}

}  // namespace fileset
