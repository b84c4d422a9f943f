#pragma once

#include "host/files/FileView.h"
#include "host/files/RecordingDirectory.h"
#include "host/files/SegmentMap.h"
#include "host/files/smallFiles.h"
#include "tests/durability/Disk.h"
#include "tests/support/testing.h"
#include "util/bytes.h"

namespace test {

/// Segment and number of a fragment.
using FragmentName = std::pair<std::uint32_t, std::uint32_t>;

inline std::string segmentName(std::uint32_t number) {
  return "cam1Seg" + std::to_string(number) + ".k2r";
}

/// What was written to the files of a recording, to hold against it what is found of them after a failure. The stem of
/// the files is "cam1".
class Reference {
 public:
  /// From what was done, and the recording that came of it.
  Reference(const std::vector<FileOperation>& operations, const std::filesystem::path& directory) {
    Disk disk;
    for (const FileOperation& operation : operations) {
      disk.apply(operation);
      using enum FileOperation::Kind;
      if (operation.kind != kRename && operation.kind != kExchange) continue;
      const DiskState state = disk.now();
      auto& names = versions_[{operation.newName, state.at(operation.newName)}];
      for (const auto& [fragment, position] : namedIn(state)) names.insert(fragment);
    }
    last_ = disk.now();
    for (const std::uint32_t number : host::readRecordingDirectory(directory.string()).segments) {
      host::FileView file((directory / segmentName(number)).string());
      for (const auto& fragment : host::mapSegment(file).fragments) {
        fragments_[{number, fragment.position()}] =
            last_.at(segmentName(number)).substr(fragment.position(), fragment.end() - fragment.position());
      }
    }
  }

  /// What is wrong with a state of the disk: a small file that is none of those that were ever complete, a fragment
  /// that an index or the bootstrap names and that is not there byte for byte. Empty where nothing is.
  std::string faultOf(const DiskState& state) const {
    for (const auto& file : state) {
      const bool isReplaced = isIndex(file.first) || file.first == kBootstrap;
      if (isReplaced && !versions_.contains(file)) return file.first + ": was never like this";
    }
    const auto named = namedIn(state);
    for (const auto& [fragment, position] : named) {
      if (!has(state, fragment, position)) return describe(fragment) + " is not there as it was recorded";
    }
    const auto bootstrap = state.find(kBootstrap);
    if (bootstrap == state.end()) return {};
    for (const FragmentName& fragment : versions_.at(*bootstrap)) {
      if (!named.contains(fragment)) return "no index names " + describe(fragment);
    }
    for (const char* const name : {"cam1.control", "cam1.meta"}) {
      const auto file = state.find(name);
      if (file == state.end() || file->second != last_.at(name)) return std::string(name) + ": not as it was written";
    }
    return {};
  }

  /// What is named in one state and lost or another one in a later state.
  std::string lossBetween(const DiskState& before, const DiskState& after) const {
    const auto named = namedIn(after);
    for (const auto& [fragment, position] : namedIn(before)) {
      const auto kept = named.find(fragment);
      if (kept == named.end() || kept->second != position || !has(after, fragment, position)) return describe(fragment);
    }
    return {};
  }

 private:
  static constexpr const char* kBootstrap = "cam1.bootstrap";

  static bool isIndex(const std::string& name) { return name.ends_with(".k2i"); }
  static std::string describe(const FragmentName& fragment) {
    return "fragment " + std::to_string(fragment.second) + " in segment " + std::to_string(fragment.first);
  }

  /// What the indexes in a state name, and where it begins.
  static std::map<FragmentName, std::uint64_t> namedIn(const DiskState& state) {
    std::map<FragmentName, std::uint64_t> named;
    for (const auto& [name, content] : state) {
      if (!isIndex(name)) continue;
      for (const auto& entry : host::parseAfra(qvs::util::asBytes(content)).globalEntries) {
        if (entry.isWritten()) named[{entry.segment, entry.fragment}] = entry.afraOffset;
      }
    }
    return named;
  }

  /// Whether a fragment is in a state as it was recorded at `position`.
  bool has(const DiskState& state, const FragmentName& fragment, std::uint64_t position) const {
    const auto expected = fragments_.find({fragment.first, position});
    const auto segment = state.find(segmentName(fragment.first));
    return expected != fragments_.end() && segment != state.end() && segment->second.size() >= position &&
           segment->second.compare(position, expected->second.size(), expected->second) == 0;
  }

  /// The content of the directory in the end.
  DiskState last_;
  /// The bytes of each fragment, by segment and position.
  std::map<std::pair<std::uint32_t, std::uint64_t>, std::string> fragments_;
  /// Name and content of each file that was ever moved into place, and which fragments had been written then.
  std::map<std::pair<const std::string, std::string>, std::set<FragmentName>> versions_;
};

}  // namespace test
