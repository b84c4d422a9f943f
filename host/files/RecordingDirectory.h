#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace host {

/// The names in the directory of a recording, sorted by what they are.
struct RecordingDirectory {
  /// Native path.
  std::string path;
  /// What the names of all files begin with.
  std::string stem;
  /// The stem is not the directory's name, as it is where a recording is made.
  bool renamed = false;
  bool hasBootstrap = false;
  bool hasControl = false;
  bool hasMeta = false;
  bool hasDrmMeta = false;
  /// Numbers of the segment files, and of the index files.
  std::set<std::uint32_t> segments;
  std::set<std::uint32_t> indexes;
  /// Small files that were not swapped in.
  std::vector<std::string> temporary;
  /// What is no file of the recording.
  std::vector<std::string> foreign;

  bool empty() const { return !hasBootstrap && !hasControl && segments.empty() && indexes.empty(); }

  // Names of files, whether or not they are there.
  std::string bootstrapName() const { return stem + ".bootstrap"; }
  std::string controlName() const { return stem + ".control"; }
  std::string metaName() const { return stem + ".meta"; }
  std::string drmMetaName() const { return stem + ".drmmeta"; }
  std::string segmentName(std::uint32_t number) const;
  std::string indexName(std::uint32_t number) const;
  /// The native path of one of them.
  std::string pathOf(const std::string& name) const { return path + "/" + name; }
};

/// Reads the names. The stem is the directory's name; where no file begins with that, but there is one bootstrap of
/// another name, then that name. Throws CommandError where `path` is no directory or cannot be read.
RecordingDirectory readRecordingDirectory(const std::string& path);

}  // namespace host
