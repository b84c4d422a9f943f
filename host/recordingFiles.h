#pragma once

#include <string>
#include <string_view>

namespace host {

/// How far what is written outlives a failure.
enum class Durability {
  /// The end of this process only.
  kProcess,
  /// A loss of power, too: what was written has reached the device.
  kDevice,
};

/// Whether a file of a recording may be called so: `<stem>Seg<N>.k2r` or `.k2i`, N from 1 in plain decimal, the small
/// files, and the temporary names under which two of them are written.
bool isRecordingFile(std::string_view name, std::string_view stem);

/// What stands at the place of a recording.
struct DirectoryContent {
  enum class Kind { kMissing, kDirectory, kOther } kind = Kind::kMissing;
  bool empty = true;
  bool hasBootstrap = false;
  /// The name of an entry that is not a regular file of the recording; empty where there is none.
  std::string foreignEntry;
  /// The name of an entry that is called like a file of the recording and is a link, a pipe or the like.
  std::string irregularFile;
};

/// Looks at a native path without following a link. Throws std::system_error where a directory cannot be read.
DirectoryContent examineDirectory(const std::string& directory, std::string_view stem);

/// Removes the files of a recording, all or nothing: where the directory holds anything but regular files of the
/// recording `stem` it stays as it is. True when it is empty, or missing. The bootstrap goes first, and is gone from
/// the device before the rest with Durability::kDevice, so that a removal that breaks off leaves no recording that
/// claims to be whole. Follows no link.
bool emptyRecording(const std::string& directory, std::string_view stem, Durability durability);
/// The same with the directory itself.
bool removeRecording(const std::string& directory, std::string_view stem, Durability durability);

/// Makes a directory and those above it that are missing. False, with errno, where it cannot, or is there already.
bool makeDirectory(const std::string& directory, Durability durability);

/// Makes durable what has come to or gone from the directory that `path` is in.
bool flushParent(const std::string& path, Durability durability);

}  // namespace host
