#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "fileset/FileNames.h"
#include "platform/os/Directory.h"

namespace fileset {

/// The directory of a recording: its entries, sorted by what their names say, and the names of files that are missing.
struct RecordingDirectory : FileNames {
  /// Native path.
  std::string path;
  /// The stem is not the directory's name, as it is where a recording is made.
  bool renamed = false;
  bool hasBootstrap = false;
  bool hasControl = false;
  bool hasMeta = false;
  bool hasDrmMeta = false;
  /// Numbers of the segment files, and of the index files. A segment without its index, or the reverse, is what a crash
  /// may leave.
  std::set<std::uint32_t> segments;
  std::set<std::uint32_t> indexes;
  /// Small files that were not renamed.
  std::vector<std::string> temporary;
  /// What is no file of the recording. What is no file at all has a slash after its name.
  std::vector<std::string> foreign;
  /// Named like a file of the recording, but no regular file. They are in `foreign`, too.
  std::vector<std::string> irregular;

  /// Whether there is no recording, not even the beginning of one. There may be other entries.
  bool empty() const { return !hasBootstrap && !hasControl && segments.empty() && indexes.empty(); }
  /// Whether the directory has no entry at all.
  bool hasNoEntry() const { return empty() && !hasMeta && !hasDrmMeta && temporary.empty() && foreign.empty(); }
  /// The native path of a file with this name.
  std::string pathOf(const std::string& name) const { return path + "/" + name; }
};

/// For a reader: follows links. The stem is the directory's name; if no file begins with that and there is one
/// bootstrap of another name, it is that name. If the directory cannot be read, `error` has the reason.
RecordingDirectory readRecordingDirectory(const std::string& path, std::error_code& error);

/// For a program that is about to write: follows no link, since writing there would write elsewhere. A link is no
/// directory and no file.
RecordingDirectory examineRecordingDirectory(const std::string& path, const std::string& stem, std::error_code& error);

/// Removes the files of a recording, all or nothing: a directory that contains anything but regular files of the
/// recording stays as it is. True if it is empty then, or missing. Follows no link.
///
/// The bootstrap is removed first, and with Durability::kDevice is gone from the device before the rest, so that an
/// interrupted removal leaves no bootstrap that names missing files.
bool emptyRecording(const std::string& path, const std::string& stem, platform::os::Durability durability);
/// The same with the directory itself.
bool removeRecording(const std::string& path, const std::string& stem, platform::os::Durability durability);

}  // namespace fileset
