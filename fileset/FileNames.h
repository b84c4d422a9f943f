#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace fileset {

// The names of a recording's files: a stem, then a suffix of those below, or `Seg<N>` and the suffix of a segment or an
// index, where N counts from 1 in plain decimal.

inline constexpr char kBootstrapSuffix[] = ".bootstrap";
inline constexpr char kControlSuffix[] = ".control";
inline constexpr char kMetaSuffix[] = ".meta";
inline constexpr char kDrmMetaSuffix[] = ".drmmeta";
inline constexpr char kSegmentSuffix[] = ".k2r";
inline constexpr char kIndexSuffix[] = ".k2i";
/// Length of the longest text that follows a stem: that of a segment whose number has ten digits.
inline constexpr std::size_t kLongestSuffix = std::string_view("Seg4294967295.k2r").size();

/// Makes the names; whether such files exist is another question. A stem with a directory in front gives paths.
struct FileNames {
  /// What all names begin with.
  std::string stem;

  /// Run tables of all fragments, from which a player finds the segment and the number of a time.
  std::string bootstrapName() const { return stem + kBootstrapSuffix; }
  /// The base time of the recording, four bytes.
  std::string controlName() const { return stem + kControlSuffix; }
  /// The description of the stream, as script data.
  std::string metaName() const { return stem + kMetaSuffix; }
  /// The protection metadata; only of a protected recording.
  std::string drmMetaName() const { return stem + kDrmMetaSuffix; }
  /// The media, and the index that names the fragments in them. `number` is 1 or more.
  std::string segmentName(std::uint32_t number) const;
  std::string indexName(std::uint32_t number) const;
  /// Bootstrap and index are written under these names, and renamed when they are whole. There is one for all indexes,
  /// because only that of the last segment is ever written.
  std::string temporaryBootstrapName() const { return bootstrapName() + ".tmp"; }
  std::string temporaryIndexName() const { return stem + kIndexSuffix + ".tmp"; }
};

/// The names of the recording that a stream with this path makes. Both are in the module's form: the names begin with
/// the path, a backslash, and the text after the path's last backslash, which is empty if the path has none.
FileNames namesOfStream(std::string_view streamPath);

enum class FileKind {
  kBootstrap,
  kControl,
  kMeta,
  kDrmMeta,
  kSegment,
  kIndex,
  /// A bootstrap or an index that was not renamed.
  kTemporary,
};

/// What a name says of its file.
struct FileRole {
  FileKind kind = FileKind::kBootstrap;
  /// Of a segment or an index.
  std::uint32_t segment = 0;
};

/// Nothing if a file with this name does not belong to the recording `stem`. A number with leading zeros, of 0 or above
/// 32 bits is none: the recorder makes no such name, and two names must not mean one segment.
std::optional<FileRole> roleOf(std::string_view name, std::string_view stem);

}  // namespace fileset
