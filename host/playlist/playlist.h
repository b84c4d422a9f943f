#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/files/RecordingDirectory.h"

namespace host {

/// A fragment as a media segment of a playlist.
struct PlaylistEntry {
  /// Of the segment file.
  std::uint32_t segment = 0;
  std::uint64_t startMs = 0;
  std::uint64_t durationMs = 0;
  /// From its `moof` to the end of its `mdat`.
  std::uint64_t offset = 0;
  std::uint64_t size = 0;
  /// Its time does not go on where the one before it ends.
  bool isDiscontinuity = false;
};

/// What a media playlist tells of a recording.
struct Playlist {
  std::vector<PlaylistEntry> entries;
  /// Bytes of `ftyp` and `moov`, for each segment number in `entries`.
  std::vector<std::pair<std::uint32_t, std::uint64_t>> headerSizes;
  /// Nothing will be added.
  bool ended = false;
};

/// Of the fragments that are on disk, while the recording runs, too. Throws CommandError where there is no recording,
/// one whose samples are protected, or files that are not of their form.
Playlist makePlaylist(const RecordingDirectory& directory);

/// A media playlist (RFC 8216, 4.3) of version 7: each fragment a byte range, the header of its file an EXT-X-MAP.
/// `prefix` stands in front of the names of the segment files; names are percent-encoded (RFC 3986, 2.1).
std::string playlistText(const Playlist& playlist, const RecordingDirectory& directory, const std::string& prefix);

/// Percent-encodes all of a path but letters, digits, `-._~` and slashes.
std::string encodedPath(const std::string& path);

}  // namespace host
