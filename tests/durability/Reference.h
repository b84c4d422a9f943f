#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/durability/Disk.h"

namespace test {

/// Segment and number of a fragment.
using FragmentName = std::pair<std::uint32_t, std::uint32_t>;

/// What was written to the files of a recording, to hold against it what is found of them after a failure. The stem of
/// the files is "cam1".
class Reference {
 public:
  /// From what was done, and the recording that came of it.
  Reference(const std::vector<FileOperation>& operations, const std::filesystem::path& directory);

  /// What is wrong with a state of the disk: a small file that is none of those that were ever complete, a fragment
  /// that an index or the bootstrap names and that is not there byte for byte. Empty where nothing is.
  std::string faultOf(const DiskState& state) const;
  /// What the indexes in a state name, and where it begins.
  std::map<FragmentName, std::uint64_t> namedIn(const DiskState& state) const;
  /// The bytes of a fragment that was recorded at `position`.
  std::string_view fragment(std::uint32_t segment, std::uint64_t position) const;

 private:
  void readSegments(const std::filesystem::path& directory);
  std::string indexFault(const DiskState& state, const std::string& name) const;
  std::string bootstrapFault(const DiskState& state) const;

  /// The content of the directory in the end.
  DiskState last_;
  /// Segment and position of each fragment to its size.
  std::map<std::pair<std::uint32_t, std::uint64_t>, std::uint64_t> sizes_;
  /// What each index file was, one time or another.
  std::map<std::string, std::set<std::string>> indexes_;
  /// What the bootstrap was, and which fragments had been written then.
  std::map<std::string, std::set<FragmentName>> bootstraps_;
};

std::string segmentName(std::uint32_t number);

}  // namespace test
